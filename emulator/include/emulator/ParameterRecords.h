// ParameterRecords.h: the emulator's parameters as the host's parameter records, and back.
//
// A record holds the type id, the form (0 plain, 2 array), the name as 8-bit text in the default
// character code, the description in UTF-16 and the value: a double, or a UTF-16 text of at most
// 255 units. An array keeps its dimensions in the record and its values in a handle of its own;
// its descriptions handle stays null. A block of N records is one handle of N * 1600 bytes.
#pragma once

#include "emulator/Project.h"
#include "hostkit/GSTypes.h"
#include "hostkit/HostABI.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orvhost {

// A record or block that does not hold what its fields claim.
class ParameterRecordError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The 8-bit form of a parameter name in a record: the default character code, at most 31 bytes.
std::string RecordName(const std::string& utf8Name);
// The same without a conversion, for a name whose kept bytes are ASCII (nearly every name): its
// first bytes, in place. None for a name that needs converting.
std::optional<std::string_view> AsciiRecordName(const std::string& utf8Name);
// The name at ParameterField::Name (or any 8-bit name field of `capacity` bytes), as UTF-8.
std::string NameFromRecordBytes(const std::byte* field, std::size_t capacity);

// Fills `record`, which the caller zeroed. An array's values go into a new handle at
// ParameterField::ArrayValues, owned by the record from then on (FreeParameterRecord).
void WriteParameterRecord(const Parameter& parameter, ParameterRecord& record);
void WriteParameterRecord(const ParameterView& parameter, ParameterRecord& record);
// Reads one record; throws ParameterRecordError for a malformed one.
Parameter ReadParameterRecord(const ParameterRecord& record);
// Frees the handles an array record holds and clears them.
void FreeParameterRecord(ParameterRecord& record);

// A new handle of the records of `parameters`, or null when there are none; the caller owns it
// (FreeParameterBlock).
GSHandle MakeParameterBlock(const std::vector<Parameter>& parameters);
GSHandle MakeParameterBlockFromViews(const std::vector<ParameterView>& parameters);
// Reads a block; null is an empty block. Throws ParameterRecordError when its size is not a whole
// number of records or a record is malformed.
std::vector<Parameter> ReadParameterBlock(GSConstHandle block);
// Frees a block with the handles of its array records, and clears `block`.
void FreeParameterBlock(GSHandle& block);

// Terminated UTF-16 text of at most `units` units: a surrogate pair is never cut in two.
std::u16string CutText(const std::u16string& text, std::size_t units);

}  // namespace orvhost
