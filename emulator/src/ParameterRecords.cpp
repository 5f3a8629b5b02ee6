// ParameterRecords.cpp: the emulator's parameters as the host's parameter records, and back.
#include "emulator/ParameterRecords.h"

#include "hostkit/GSMemory.h"
#include "hostkit/UniString.h"

#include <cstring>

namespace orvhost {

namespace {

constexpr std::size_t kRecordSize = ParameterRecord::kSize;

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }

// Writes `text` (already cut) and its terminator at `offset`.
void PutText(ParameterRecord& record, std::size_t offset, const std::u16string& text) {
    std::memcpy(record.bytes + offset, text.c_str(), 2 * (text.size() + 1));
}

// The terminated UTF-16 text at `offset`, at most `units` units before the terminator.
std::u16string GetText(const ParameterRecord& record, std::size_t offset, std::size_t units) {
    std::u16string text;
    for (std::size_t i = 0; i < units; ++i) {
        char16_t unit;
        std::memcpy(&unit, record.bytes + offset + 2 * i, 2);
        if (unit == 0) {
            return text;
        }
        text.push_back(unit);
    }
    return text;
}

std::size_t ValueCount(const Parameter& parameter) {
    return static_cast<std::size_t>(parameter.dimension1) *
           static_cast<std::size_t>(parameter.dimension2);
}

GSHandle MakeArrayValues(const Parameter& parameter) {
    const std::size_t count = ValueCount(parameter);
    if (ParameterType::IsText(parameter.type)) {
        std::u16string joined;
        for (std::size_t i = 0; i < count; ++i) {
            if (i < parameter.value.texts.size()) {
                joined += parameter.value.texts[i];
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
    for (std::size_t i = 0; i < count && i < parameter.value.numbers.size(); ++i) {
        std::memcpy(*handle + sizeof(double) * i, &parameter.value.numbers[i], sizeof(double));
    }
    return handle;
}

void ReadArrayValues(const ParameterRecord& record, Parameter& parameter) {
    const GSHandle values = GetField<GSHandle>(record, ParameterField::ArrayValues);
    const std::size_t count = ValueCount(parameter);
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
    if (text.size() <= units) {
        return text;
    }
    std::size_t length = units;
    if (length > 0 && IsHighSurrogate(text[length - 1])) {
        --length;
    }
    return text.substr(0, length);
}

std::string RecordName(const std::string& utf8Name) {
    std::string name = GS::UniString(utf8Name.c_str(), CC_UTF8).ToCStr().Get();
    if (name.size() > ParameterField::kNameBytes - 1) {
        name.resize(ParameterField::kNameBytes - 1);
    }
    return name;
}

std::string NameFromRecordBytes(const std::byte* field, std::size_t capacity) {
    std::string name;
    for (std::size_t i = 0; i < capacity; ++i) {
        const char c = static_cast<char>(field[i]);
        if (c == '\0') {
            break;
        }
        name.push_back(c);
    }
    return GS::UniString(name.c_str()).ToCStr(CC_UTF8).Get();
}

void WriteParameterRecord(const Parameter& parameter, ParameterRecord& record) {
    SetField<int32_t>(record, ParameterField::Type, parameter.type);
    SetField<int16_t>(record, ParameterField::Form,
                      parameter.isArray ? ParameterField::kFormArray : ParameterField::kFormPlain);
    const std::string name = RecordName(parameter.name);
    std::memcpy(record.bytes + ParameterField::Name, name.c_str(), name.size() + 1);
    PutText(record, ParameterField::Description,
            CutText(parameter.description, ParameterField::kDescriptionUnits - 1));
    if (parameter.isArray) {
        SetField<int32_t>(record, ParameterField::Dimension1, parameter.dimension1);
        SetField<int32_t>(record, ParameterField::Dimension2, parameter.dimension2);
        SetField<GSHandle>(record, ParameterField::ArrayDescriptions, nullptr);
        SetField<GSHandle>(record, ParameterField::ArrayValues, MakeArrayValues(parameter));
    } else if (ParameterType::IsText(parameter.type)) {
        const std::u16string text =
            parameter.value.texts.empty() ? std::u16string() : parameter.value.texts.front();
        PutText(record, ParameterField::Value, CutText(text, ParameterField::kTextValueUnits));
    } else {
        const double number =
            parameter.value.numbers.empty() ? 0.0 : parameter.value.numbers.front();
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

GSHandle MakeParameterBlock(const std::vector<Parameter>& parameters) {
    if (parameters.empty()) {
        return nullptr;
    }
    GSHandle block =
        BMAllocateHandle(static_cast<GSSize>(kRecordSize * parameters.size()), ALLOCATE_CLEAR, 0);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    // Records are made one by one on the side, so that a failure half-way frees what was made.
    try {
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            ParameterRecord record;
            ZeroRecord(record);
            WriteParameterRecord(parameters[i], record);
            std::memcpy(*block + kRecordSize * i, record.bytes, kRecordSize);
        }
    } catch (...) {
        FreeParameterBlock(block);
        throw;
    }
    return block;
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
    for (std::size_t i = 0; i < size / kRecordSize; ++i) {
        ParameterRecord record;
        std::memcpy(record.bytes, *block + kRecordSize * i, kRecordSize);
        parameters.push_back(ReadParameterRecord(record));
    }
    return parameters;
}

void FreeParameterBlock(GSHandle& block) {
    if (block == nullptr) {
        return;
    }
    const std::size_t count = static_cast<std::size_t>(BMGetHandleSize(block)) / kRecordSize;
    for (std::size_t i = 0; i < count; ++i) {
        ParameterRecord record;
        std::memcpy(record.bytes, *block + kRecordSize * i, kRecordSize);
        FreeParameterRecord(record);
    }
    BMKillHandle(&block);
    block = nullptr;
}

}  // namespace orvhost
