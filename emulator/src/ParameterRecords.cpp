// ParameterRecords.cpp: the emulator's parameters as the host's parameter records, and back.
#include "emulator/ParameterRecords.h"

#include "hostkit/GSMemory.h"
#include "hostkit/UniString.h"

#include <algorithm>
#include <cstring>

namespace orvhost {

namespace {

constexpr std::size_t kRecordSize = ParameterRecord::kSize;

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }

bool IsAscii(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return false;
        }
    }
    return true;
}

// How many units of `text` stay when it is cut to at most `units`: a surrogate pair is never cut
// in two.
std::size_t CutLength(std::u16string_view text, std::size_t units) {
    if (text.size() <= units) {
        return text.size();
    }
    return units > 0 && IsHighSurrogate(text[units - 1]) ? units - 1 : units;
}

// Writes `text`, cut to at most `units` units, and its terminator at `offset`.
void PutText(ParameterRecord& record, std::size_t offset, std::u16string_view text,
             std::size_t units) {
    const std::size_t length = CutLength(text, units);
    if (length > 0) {
        std::memcpy(record.bytes + offset, text.data(), 2 * length);
    }
    std::memset(record.bytes + offset + 2 * length, 0, 2);
}

// The terminated UTF-16 text at `offset`, at most `units` units before the terminator.
std::u16string GetText(const ParameterRecord& record, std::size_t offset, std::size_t units) {
    std::size_t length = 0;
    for (; length < units; ++length) {
        char16_t unit;
        std::memcpy(&unit, record.bytes + offset + 2 * length, 2);
        if (unit == 0) {
            break;
        }
    }
    std::u16string text(length, u'\0');
    std::memcpy(text.data(), record.bytes + offset, 2 * length);
    return text;
}

std::size_t ValueCount(int32_t dimension1, int32_t dimension2) {
    return static_cast<std::size_t>(dimension1) * static_cast<std::size_t>(dimension2);
}

GSHandle MakeArrayValues(const ParameterView& parameter) {
    const std::size_t count = ValueCount(parameter.dimension1, parameter.declared->dimension2);
    const ParameterValue& value = *parameter.value;
    if (ParameterType::IsText(parameter.declared->type)) {
        std::u16string joined;
        for (std::size_t i = 0; i < count; ++i) {
            if (i < value.texts.size()) {
                joined += value.texts[i];
            }
            joined.push_back(u'\0');
        }
        GSHandle handle =
            BMAllocateHandle(static_cast<GSSize>(2 * joined.size()), ALLOCATE_CLEAR, 0);
        if (handle == nullptr) {
            throw std::bad_alloc();
        }
        std::memcpy(*handle, joined.data(), 2 * joined.size());
        return handle;
    }
    GSHandle handle =
        BMAllocateHandle(static_cast<GSSize>(sizeof(double) * count), ALLOCATE_CLEAR, 0);
    if (handle == nullptr) {
        throw std::bad_alloc();
    }
    const std::size_t given = std::min(count, value.numbers.size());
    if (given > 0) {
        std::memcpy(*handle, value.numbers.data(), sizeof(double) * given);
    }
    return handle;
}

void ReadArrayValues(const ParameterRecord& record, Parameter& parameter) {
    const GSHandle values = GetField<GSHandle>(record, ParameterField::ArrayValues);
    const std::size_t count = ValueCount(parameter.dimension1, parameter.dimension2);
    const std::size_t size =
        values == nullptr ? 0 : static_cast<std::size_t>(BMGetHandleSize(values));
    if (count > 0 && values == nullptr) {
        throw ParameterRecordError("array parameter \"" + parameter.name + "\" has no values");
    }
    if (ParameterType::IsText(parameter.type)) {
        const std::size_t units = size / 2;
        std::size_t at = 0;
        for (std::size_t i = 0; i < count; ++i) {
            std::u16string text;
            for (;;) {
                if (at >= units) {
                    throw ParameterRecordError("array parameter \"" + parameter.name +
                                               "\" has fewer texts than its dimensions");
                }
                char16_t unit;
                std::memcpy(&unit, *values + 2 * at, 2);
                ++at;
                if (unit == 0) {
                    break;
                }
                text.push_back(unit);
            }
            parameter.value.texts.push_back(std::move(text));
        }
        return;
    }
    if (size < sizeof(double) * count) {
        throw ParameterRecordError("array parameter \"" + parameter.name +
                                   "\" has fewer values than its dimensions");
    }
    parameter.value.numbers.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(&parameter.value.numbers[i], *values + sizeof(double) * i, sizeof(double));
    }
}

}  // namespace

std::u16string CutText(const std::u16string& text, std::size_t units) {
    return text.substr(0, CutLength(text, units));
}

std::optional<std::string_view> AsciiRecordName(const std::string& utf8Name) {
    // The conversion reads up to the first NUL and gives one byte for each ASCII character, so
    // the bytes the record keeps need be ASCII, and no more of them.
    std::size_t length = 0;
    for (; length < utf8Name.size() && length < ParameterField::kNameBytes - 1; ++length) {
        const auto c = static_cast<unsigned char>(utf8Name[length]);
        if (c == 0) {
            break;
        }
        if (c >= 0x80) {
            return std::nullopt;
        }
    }
    return std::string_view(utf8Name.data(), length);
}

std::string RecordName(const std::string& utf8Name) {
    if (const std::optional<std::string_view> ascii = AsciiRecordName(utf8Name)) {
        return std::string(*ascii);
    }
    std::string name = GS::UniString(utf8Name.c_str(), CC_UTF8).ToCStr().Get();
    if (name.size() > ParameterField::kNameBytes - 1) {
        name.resize(ParameterField::kNameBytes - 1);
    }
    return name;
}

std::string NameFromRecordBytes(const std::byte* field, std::size_t capacity) {
    std::size_t length = 0;
    while (length < capacity && field[length] != std::byte{0}) {
        ++length;
    }
    std::string name(reinterpret_cast<const char*>(field), length);
    if (IsAscii(name)) {
        return name;  // the same in both character codes
    }
    return GS::UniString(name.c_str()).ToCStr(CC_UTF8).Get();
}

void WriteParameterRecord(const Parameter& parameter, ParameterRecord& record) {
    WriteParameterRecord(ParameterView{&parameter, &parameter.value, parameter.dimension1}, record);
}

void WriteParameterRecord(const ParameterView& parameter, ParameterRecord& record) {
    const Parameter& declared = *parameter.declared;
    const ParameterValue& value = *parameter.value;
    SetField<int32_t>(record, ParameterField::Type, declared.type);
    SetField<int16_t>(record, ParameterField::Form,
                      declared.isArray ? ParameterField::kFormArray : ParameterField::kFormPlain);
    std::byte* name = record.bytes + ParameterField::Name;
    if (const std::optional<std::string_view> ascii = AsciiRecordName(declared.name)) {
        std::memcpy(name, ascii->data(), ascii->size());
        name[ascii->size()] = std::byte{0};
    } else {
        const std::string converted = RecordName(declared.name);
        std::memcpy(name, converted.c_str(), converted.size() + 1);
    }
    PutText(record, ParameterField::Description, declared.description,
            ParameterField::kDescriptionUnits - 1);
    if (declared.isArray) {
        SetField<int32_t>(record, ParameterField::Dimension1, parameter.dimension1);
        SetField<int32_t>(record, ParameterField::Dimension2, declared.dimension2);
        SetField<GSHandle>(record, ParameterField::ArrayDescriptions, nullptr);
        SetField<GSHandle>(record, ParameterField::ArrayValues, MakeArrayValues(parameter));
    } else if (ParameterType::IsText(declared.type)) {
        const std::u16string_view text =
            value.texts.empty() ? std::u16string_view() : std::u16string_view(value.texts.front());
        PutText(record, ParameterField::Value, text, ParameterField::kTextValueUnits);
    } else {
        const double number = value.numbers.empty() ? 0.0 : value.numbers.front();
        SetField<double>(record, ParameterField::Value, number);
    }
}

Parameter ReadParameterRecord(const ParameterRecord& record) {
    Parameter parameter;
    parameter.type = GetField<int32_t>(record, ParameterField::Type);
    const int16_t form = GetField<int16_t>(record, ParameterField::Form);
    parameter.name =
        NameFromRecordBytes(record.bytes + ParameterField::Name, ParameterField::kNameBytes);
    parameter.description =
        GetText(record, ParameterField::Description, ParameterField::kDescriptionUnits - 1);
    if (form == ParameterField::kFormArray) {
        parameter.isArray = true;
        parameter.dimension1 = GetField<int32_t>(record, ParameterField::Dimension1);
        parameter.dimension2 = GetField<int32_t>(record, ParameterField::Dimension2);
        if (parameter.dimension1 < 0 || parameter.dimension2 < 0) {
            throw ParameterRecordError("array parameter \"" + parameter.name +
                                       "\" has negative dimensions");
        }
        ReadArrayValues(record, parameter);
    } else if (form == ParameterField::kFormPlain) {
        if (ParameterType::IsText(parameter.type)) {
            parameter.value.texts.push_back(
                GetText(record, ParameterField::Value, ParameterField::kTextValueUnits));
        } else {
            parameter.value.numbers.push_back(GetField<double>(record, ParameterField::Value));
        }
    } else {
        throw ParameterRecordError("parameter \"" + parameter.name + "\" has form " +
                                   std::to_string(form));
    }
    return parameter;
}

void FreeParameterRecord(ParameterRecord& record) {
    if (GetField<int16_t>(record, ParameterField::Form) != ParameterField::kFormArray) {
        return;
    }
    for (const std::size_t offset :
         {ParameterField::ArrayDescriptions, ParameterField::ArrayValues}) {
        GSHandle handle = GetField<GSHandle>(record, offset);
        if (handle != nullptr) {
            BMKillHandle(&handle);
        }
        SetField<GSHandle>(record, offset, nullptr);
    }
}

namespace {

// The records of a block lie one after the other in its bytes; a handle's bytes are aligned for
// any record.
ParameterRecord* RecordsOf(GSHandle block) { return reinterpret_cast<ParameterRecord*>(*block); }

// A block of `count` records, each written in place by `write(i, record)`.
template <typename Write> GSHandle MakeBlock(std::size_t count, Write&& write) {
    if (count == 0) {
        return nullptr;
    }
    GSHandle block = BMAllocateHandle(static_cast<GSSize>(kRecordSize * count), ALLOCATE_CLEAR, 0);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    // A failure half-way leaves the records before it whole and the rest zero, which frees alike.
    try {
        for (std::size_t i = 0; i < count; ++i) {
            write(i, RecordsOf(block)[i]);
        }
    } catch (...) {
        FreeParameterBlock(block);
        throw;
    }
    return block;
}

}  // namespace

GSHandle MakeParameterBlock(const std::vector<Parameter>& parameters) {
    return MakeBlock(parameters.size(), [&](std::size_t i, ParameterRecord& record) {
        WriteParameterRecord(parameters[i], record);
    });
}

GSHandle MakeParameterBlockFromViews(const std::vector<ParameterView>& parameters) {
    return MakeBlock(parameters.size(), [&](std::size_t i, ParameterRecord& record) {
        WriteParameterRecord(parameters[i], record);
    });
}

std::vector<Parameter> ReadParameterBlock(GSConstHandle block) {
    std::vector<Parameter> parameters;
    if (block == nullptr) {
        return parameters;
    }
    const std::size_t size = static_cast<std::size_t>(BMGetHandleSize(block));
    if (size % kRecordSize != 0) {
        throw ParameterRecordError("a parameter block of " + std::to_string(size) +
                                   " bytes is not a whole number of records");
    }
    const auto* records = reinterpret_cast<const ParameterRecord*>(*block);
    parameters.reserve(size / kRecordSize);
    for (std::size_t i = 0; i < size / kRecordSize; ++i) {
        parameters.push_back(ReadParameterRecord(records[i]));
    }
    return parameters;
}

void FreeParameterBlock(GSHandle& block) {
    if (block == nullptr) {
        return;
    }
    const std::size_t count = static_cast<std::size_t>(BMGetHandleSize(block)) / kRecordSize;
    for (std::size_t i = 0; i < count; ++i) {
        FreeParameterRecord(RecordsOf(block)[i]);
    }
    BMKillHandle(&block);
    block = nullptr;
}

}  // namespace orvhost
