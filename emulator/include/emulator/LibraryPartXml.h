// LibraryPartXml.h: reading the parameters of one GDL library-part XML file (target
// library_part_xml): the emulator's project reads its parts with it, and orvservice publish judges
// a part with it before it is offered, so that both read a part alike.
#pragma once

#include "emulator/Project.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orvhost {

// A library-part file that cannot be used; the message says why, without the file's name.
class LibraryPartXmlError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The parameters of the library part in `xml`; nothing when its root is not <Symbol>. Throws
// LibraryPartXmlError for a document that does not parse or a parameter that is broken.
std::optional<std::vector<Parameter>> ParseLibraryPartXml(std::string_view xml);
// The same for the file at `file`; a file that cannot be read throws LibraryPartXmlError too.
std::optional<std::vector<Parameter>> ReadLibraryPartXml(const std::filesystem::path& file);

// The element name of a parameter type in the XML form ("Integer", "String", ...); null for an
// unknown type.
const char* ParameterTypeXmlName(int32_t type);

}  // namespace orvhost
