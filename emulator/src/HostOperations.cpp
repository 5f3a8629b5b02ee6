// HostOperations.cpp: the 13 entries of the host's function table that the add-on calls. Each
// finds its session through the token, answers, and traces the call with its status; no
// exception leaves an entry but the ones the add-on's own command throws, which become a status.
//
// Choices of this host, beyond the records' layout:
// - GetElementList replaces the list's contents; GetElementMemo fills only the parameter block.
// - The parameter set of CallUtility is a working copy: it changes no element; ChangeElement
//   does. Opening a set while one is open replaces it.
// - ChangeElement takes the memo's parameter block whatever the memo mask says, and only inside
//   a command scope; the add-on is not told of its own changes.
// - Every handle handed out is the caller's; the library part's location stays the host's.
#include "charcode/CharCode.h"
#include "emulator/HostSessionState.h"
#include "emulator/ParameterRecords.h"
#include "emulator/Trace.h"
#include "hostkit/GSMemory.h"
#include "hostkit/UniString.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvhost {

namespace {

constexpr uint64_t kMemoParamsBit = 0x40;

// The brief arguments of a call, for the trace; nothing is built when no trace is written, so
// that a project of many elements pays nothing for it.
class CallArgs {
public:
    CallArgs() {
        if (tracing) {
            value = Json::Value(Json::objectValue);  // allocates; a null value does not
        }
    }
    bool Tracing() const { return tracing; }
    const Json::Value& Value() const { return value; }

    template <typename T> void Set(const char* key, const T& item) {
        if (tracing) {
            value[key] = Json::Value(item);
        }
    }
    void Set(const char* key, const API_Guid& guid) {
        if (tracing) {
            value[key] = GuidText(guid);
        }
    }
    void Set(const char* key, const std::u16string& text) {
        if (tracing) {
            value[key] = charcode::Utf16ToUtf8(text);
        }
    }

private:
    bool tracing = Trace::Instance().IsOpen();
    Json::Value value;
};

// Runs one entry: finds the session, calls `body`, traces the call. A host failure (which the
// add-on cannot be blamed for) is reported and becomes HostError::General.
template <typename Body>
int32_t Answer(API_Token token, const char* entry, CallArgs& args, Body&& body) {
    int32_t status = HostError::General;
    if (token != nullptr) {
        try {
            status = body(HostSession::FromToken(token).GetState());
        } catch (const std::exception& exception) {
            std::fprintf(stderr, "orvhost: %s failed: %s\n", entry, exception.what());
            status = HostError::General;
        }
    }
    if (args.Tracing()) {
        Json::Value line(Json::objectValue);
        line["kind"] = "call";
        line["entry"] = entry;
        line["args"] = args.Value();
        line["status"] = status;
        TraceLine(line);
    }
    return status;
}

bool SameNameIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        // Bytes that are the same need no case folding, which is a call each.
        if (a[i] != b[i] && std::tolower(static_cast<unsigned char>(a[i])) !=
                                std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

// How a record spells the parameter name `name`; `converted` holds the text when the name is not
// plain ASCII, which alone can be read in place.
std::string_view RecordSpelling(const std::string& name, std::string& converted) {
    if (const std::optional<std::string_view> ascii = AsciiRecordName(name)) {
        return *ascii;
    }
    converted = RecordName(name);
    return converted;
}

// The parameter that a record's 8-bit name means. Names are compared as the records spell them,
// and without regard to ASCII case, as GDL does.
const Parameter* FindByRecordName(const std::vector<Parameter>& parameters,
                                  std::string_view recordName) {
    std::string converted;
    for (const Parameter& parameter : parameters) {
        if (SameNameIgnoringCase(RecordSpelling(parameter.name, converted), recordName)) {
            return &parameter;
        }
    }
    return nullptr;
}

Parameter* FindByRecordName(std::vector<Parameter>& parameters, std::string_view recordName) {
    return const_cast<Parameter*>(FindByRecordName(std::as_const(parameters), recordName));
}

// The 8-bit text in a field of `capacity` bytes, as it stands.
std::string_view RawName(const std::byte* field, std::size_t capacity) {
    std::size_t length = 0;
    while (length < capacity && field[length] != std::byte{0}) {
        ++length;
    }
    return {reinterpret_cast<const char*>(field), length};
}

std::u16string TerminatedText(const GS::UniChar* text) {
    std::u16string result;
    for (; *text != 0; ++text) {
        result.push_back(*text);
    }
    return result;
}

std::string CodeText(int32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>((static_cast<uint32_t>(code) >> shift) & 0xFF);
        if (!std::isprint(static_cast<unsigned char>(c))) {
            char hex[16];
            std::snprintf(hex, sizeof hex, "0x%08X", static_cast<uint32_t>(code));
            return hex;
        }
        text.push_back(c);
    }
    return text;
}

// ---- The parameter set of CallUtility ----

int32_t OpenParameters(HostSession::State& state, void* first, CallArgs& args) {
    if (first == nullptr) {
        return HostError::BadParameters;
    }
    const auto& record = *static_cast<const OpenParametersRecord*>(first);
    const API_Guid guid = GetField<API_Guid>(record, OpenParametersField::Guid);
    const int32_t type = GetField<int32_t>(record, OpenParametersField::Type);
    args.Set("guid", guid);
    args.Set("type", type);
    const Element* element = state.project.FindElement(guid);
    if (element == nullptr) {
        return HostError::BadId;
    }
    if (element->type != type) {
        return HostError::BadParameters;
    }
    // The add-on may leave a set open after an error; the new one takes its place.
    state.openSet =
        HostSession::State::OpenSet{guid, type, state.project.EffectiveParameters(*element)};
    return NoError;
}

int32_t ChangeParameter(HostSession::State& state, void* first, CallArgs& args) {
    if (first == nullptr || !state.openSet.has_value()) {
        return HostError::BadParameters;
    }
    const auto& record = *static_cast<const ChangeParameterRecord*>(first);
    const std::string_view name =
        RawName(record.bytes + ChangeParameterField::Name, ChangeParameterField::kNameBytes);
    if (args.Tracing()) {
        args.Set("name", NameFromRecordBytes(record.bytes + ChangeParameterField::Name,
                                             ChangeParameterField::kNameBytes));
    }
    Parameter* parameter = FindByRecordName(state.openSet->parameters, name);
    if (parameter == nullptr) {
        return HostError::BadName;
    }
    if (parameter->isArray) {
        return HostError::BadParameters;
    }
    if (ParameterType::IsText(parameter->type)) {
        const auto* text = GetField<const GS::UniChar*>(record, ChangeParameterField::TextValue);
        if (text == nullptr) {
            return HostError::BadParameters;
        }
        std::u16string value = TerminatedText(text);
        args.Set("value", value);
        parameter->value.numbers.clear();
        parameter->value.texts.assign(1, std::move(value));
    } else {
        const double value = GetField<double>(record, ChangeParameterField::RealValue);
        args.Set("value", value);
        parameter->value.texts.clear();
        parameter->value.numbers.assign(1, value);
    }
    return NoError;
}

int32_t GetParameters(HostSession::State& state, void* first, CallArgs& args) {
    if (first == nullptr || !state.openSet.has_value()) {
        return HostError::BadParameters;
    }
    auto& record = *static_cast<GetParametersRecord*>(first);
    args.Set("count", static_cast<Json::UInt64>(state.openSet->parameters.size()));
    SetField<GSHandle>(record, GetParametersField::Params,
                       MakeParameterBlock(state.openSet->parameters));
    return NoError;
}

// ---- The entries ----

int32_t CallUndoable(API_Token token, const GS::UniString& title,
                     const std::function<int32_t()>& command) {
    CallArgs args;
    const std::string titleText = title.ToCStr(CC_UTF8).Get();
    args.Set("title", titleText);
    return Answer(token, "CallUndoable", args, [&](HostSession::State& state) {
        return state.RunCommand(titleText, [&]() -> int32_t {
            try {
                return command();
            } catch (const std::exception& exception) {
                ReportException("undoable command", exception.what());
            } catch (...) {
                ReportException("undoable command", "an exception of unknown type");
            }
            return HostError::CommandThrew;
        });
    });
}

int32_t CallUtility(API_Token token, int32_t code, void* first, void* /*second*/, void* /*third*/) {
    CallArgs args;
    if (args.Tracing()) {
        args.Set("code", CodeText(code));
    }
    return Answer(token, "CallUtility", args, [&](HostSession::State& state) -> int32_t {
        switch (code) {
        case UtilityCode::OpenParameters:
            return OpenParameters(state, first, args);
        case UtilityCode::ChangeParameter:
            return ChangeParameter(state, first, args);
        case UtilityCode::GetParameters:
            return GetParameters(state, first, args);
        case UtilityCode::CloseParameters:
            if (!state.openSet.has_value()) {
                return HostError::BadParameters;
            }
            state.openSet.reset();
            return NoError;
        default:
            return HostError::NotSupported;
        }
    });
}

int32_t GetLibPartCount(API_Token token, int32_t* count) {
    CallArgs args;
    return Answer(token, "GetLibPartCount", args, [&](HostSession::State& state) -> int32_t {
        if (count == nullptr) {
            return HostError::BadParameters;
        }
        *count = static_cast<int32_t>(state.project.Parts().size());
        return NoError;
    });
}

int32_t GetLibPart(API_Token token, LibPartRecord* part) {
    CallArgs args;
    return Answer(token, "GetLibPart", args, [&](HostSession::State& state) -> int32_t {
        if (part == nullptr) {
            return HostError::BadParameters;
        }
        const int32_t index = GetField<int32_t>(*part, LibPartField::Index);
        args.Set("index", index);
        const LibraryPart* found = state.project.PartAt(index);
        if (found == nullptr) {
            return HostError::BadIndex;
        }
        const std::u16string name =
            CutText(found->documentName, LibPartField::kDocumentNameUnits - 1);
        std::memcpy(part->bytes + LibPartField::DocumentName, name.c_str(), 2 * (name.size() + 1));
        SetField<IO::Location*>(*part, LibPartField::Location, found->location.get());
        return NoError;
    });
}

const Parameter* FindNumber(const std::vector<Parameter>& parameters, const char* name) {
    for (const Parameter& parameter : parameters) {
        if (SameNameIgnoringCase(parameter.name, name) && !parameter.isArray &&
            !ParameterType::IsText(parameter.type) && !parameter.value.numbers.empty()) {
            return &parameter;
        }
    }
    return nullptr;
}

int32_t GetLibPartParams(API_Token token, int32_t index, double* a, double* b, int32_t* count,
                         GSHandle* params) {
    CallArgs args;
    args.Set("index", index);
    return Answer(token, "GetLibPartParams", args, [&](HostSession::State& state) -> int32_t {
        const LibraryPart* part = state.project.PartAt(index);
        if (part == nullptr) {
            return HostError::BadIndex;
        }
        const Parameter* parameterA = FindNumber(part->parameters, "A");
        const Parameter* parameterB = FindNumber(part->parameters, "B");
        if (a != nullptr) {
            *a = parameterA != nullptr ? parameterA->value.numbers.front() : 0.0;
        }
        if (b != nullptr) {
            *b = parameterB != nullptr ? parameterB->value.numbers.front() : 0.0;
        }
        if (count != nullptr) {
            *count = static_cast<int32_t>(part->parameters.size());
        }
        if (params != nullptr) {
            *params = MakeParameterBlock(part->parameters);
        }
        return NoError;
    });
}

int32_t GetElement(API_Token token, ElementRecord* element, int32_t /*mask*/) {
    CallArgs args;
    return Answer(token, "GetElement", args, [&](HostSession::State& state) -> int32_t {
        if (element == nullptr) {
            return HostError::BadParameters;
        }
        const API_Guid guid = GetField<API_Guid>(*element, ElementField::Guid);
        args.Set("guid", guid);
        const Element* found = state.project.FindElement(guid);
        if (found == nullptr) {
            return HostError::BadId;
        }
        SetField<int32_t>(*element, ElementField::Type, found->type);
        SetField<API_Guid>(*element, ElementField::Guid, found->guid);
        const std::size_t libIndexOffset = ElementField::LibIndexOffset(found->type);
        if (libIndexOffset != 0) {
            SetField<int32_t>(*element, libIndexOffset, found->libIndex);
        }
        return NoError;
    });
}

int32_t GetElementMemo(API_Token token, const ElementHeader* header, ElementMemo* memo,
                       uint64_t mask) {
    CallArgs args;
    return Answer(token, "GetElementMemo", args, [&](HostSession::State& state) -> int32_t {
        if (header == nullptr || memo == nullptr) {
            return HostError::BadParameters;
        }
        const API_Guid guid = GetField<API_Guid>(*header, ElementHeaderField::Guid);
        args.Set("guid", guid);
        if (args.Tracing()) {
            char maskText[32];
            std::snprintf(maskText, sizeof maskText, "0x%llX",
                          static_cast<unsigned long long>(mask));
            args.Set("mask", maskText);
        }
        const Element* found = state.project.FindElement(guid);
        if (found == nullptr) {
            return HostError::BadId;
        }
        if ((mask & kMemoParamsBit) != 0) {
            SetField<GSHandle>(*memo, MemoField::Params,
                               MakeParameterBlockFromViews(state.project.EffectiveView(*found)));
        }
        return NoError;
    });
}

int32_t GetElementList(API_Token token, int32_t type, GS::Array<API_Guid>* list,
                       int32_t /*variation*/, void* /*reserved*/,
                       const GS::Guid& /*renovationFilter*/) {
    CallArgs args;
    args.Set("type", type);
    return Answer(token, "GetElementList", args, [&](HostSession::State& state) -> int32_t {
        if (type < ElementType::Wall || type > ElementType::Slab || list == nullptr) {
            return HostError::BadParameters;
        }
        list->Clear();
        for (const Element& element : state.project.Elements()) {
            if (element.type == type) {
                list->Push(element.guid);
            }
        }
        args.Set("count", list->GetSize());
        return NoError;
    });
}

int32_t ChangeElement(API_Token token, ElementRecord* element, const ElementRecord* /*mask*/,
                      const ElementMemo* memo, uint32_t memoMask, bool /*withDelete*/) {
    CallArgs args;
    args.Set("memoMask", memoMask);
    return Answer(token, "ChangeElement", args, [&](HostSession::State& state) -> int32_t {
        if (element == nullptr) {
            return HostError::BadParameters;
        }
        const API_Guid guid = GetField<API_Guid>(*element, ElementField::Guid);
        args.Set("guid", guid);
        if (!state.InCommandScope()) {
            return HostError::NeedsUndoScope;
        }
        Element* found = state.project.FindElement(guid);
        if (found == nullptr) {
            return HostError::BadId;
        }
        const GSHandle block =
            memo == nullptr ? nullptr : GetField<GSHandle>(*memo, MemoField::Params);
        if (block == nullptr) {
            return NoError;
        }
        std::vector<Parameter> parameters;
        try {
            parameters = ReadParameterBlock(block);
        } catch (const ParameterRecordError& error) {
            args.Set("error", error.what());
            return HostError::BadParameters;
        }
        // Names came through 8-bit text; give back the spelling the element knows, its part's.
        if (const LibraryPart* part = state.project.PartAt(found->libIndex)) {
            std::string converted;
            for (Parameter& parameter : parameters) {
                const std::string_view spelling = RecordSpelling(parameter.name, converted);
                if (const Parameter* same = FindByRecordName(part->parameters, spelling)) {
                    parameter.name = same->name;
                }
            }
        }
        args.Set("parameters", static_cast<Json::UInt64>(parameters.size()));
        state.BeforeChange(*found);
        state.project.SetParameters(*found, parameters);
        return NoError;
    });
}

int32_t AttachObserver(API_Token token, const ElementHeader* header, int32_t /*flags*/) {
    CallArgs args;
    return Answer(token, "AttachObserver", args, [&](HostSession::State& state) -> int32_t {
        if (header == nullptr) {
            return HostError::BadParameters;
        }
        const API_Guid guid = GetField<API_Guid>(*header, ElementHeaderField::Guid);
        args.Set("guid", guid);
        if (state.project.FindElement(guid) == nullptr) {
            return HostError::BadId;
        }
        if (state.IsObserved(guid)) {
            return HostError::LinkExists;
        }
        state.observed.push_back(guid);
        return NoError;
    });
}

int32_t CatchProjectEvent(API_Token token, int32_t mask, ProjectEventHandlerFn handler) {
    CallArgs args;
    args.Set("mask", mask);
    args.Set("handler", handler != nullptr);
    return Answer(token, "CatchProjectEvent", args, [&](HostSession::State& state) -> int32_t {
        state.projectHandler = handler;
        state.projectMask = handler != nullptr ? mask : 0;
        return NoError;
    });
}

int32_t CatchNewElement(API_Token token, const int32_t* typeFilter, ElementEventHandlerFn handler) {
    CallArgs args;
    args.Set("type", typeFilter != nullptr ? Json::Value(*typeFilter) : Json::Value());
    args.Set("handler", handler != nullptr);
    return Answer(token, "CatchNewElement", args, [&](HostSession::State& state) -> int32_t {
        state.newElementHandler = handler;
        state.newElementFilter.reset();
        if (typeFilter != nullptr) {
            state.newElementFilter = *typeFilter;
        }
        return NoError;
    });
}

int32_t InstallElementObserver(API_Token token, ElementEventHandlerFn handler) {
    CallArgs args;
    args.Set("handler", handler != nullptr);
    return Answer(token, "InstallElementObserver", args, [&](HostSession::State& state) -> int32_t {
        state.observerHandler = handler;
        return NoError;
    });
}

template <typename Fn> void Put(HostFunctionTable& table, std::size_t entry, Fn function) {
    table[entry] = reinterpret_cast<void*>(function);
}

}  // namespace

HostFunctionTable HostOperationsTable() {
    HostFunctionTable table{};
    // Each entry is checked against the signature the add-on calls it with.
    Put<HostEntry::CallUndoableFn>(table, HostEntry::CallUndoable, &CallUndoable);
    Put<HostEntry::CallUtilityFn>(table, HostEntry::CallUtility, &CallUtility);
    Put<HostEntry::GetLibPartCountFn>(table, HostEntry::GetLibPartCount, &GetLibPartCount);
    Put<HostEntry::GetLibPartFn>(table, HostEntry::GetLibPart, &GetLibPart);
    Put<HostEntry::GetLibPartParamsFn>(table, HostEntry::GetLibPartParams, &GetLibPartParams);
    Put<HostEntry::GetElementFn>(table, HostEntry::GetElement, &GetElement);
    Put<HostEntry::GetElementMemoFn>(table, HostEntry::GetElementMemo, &GetElementMemo);
    Put<HostEntry::GetElementListFn>(table, HostEntry::GetElementList, &GetElementList);
    Put<HostEntry::ChangeElementFn>(table, HostEntry::ChangeElement, &ChangeElement);
    Put<HostEntry::AttachObserverFn>(table, HostEntry::AttachObserver, &AttachObserver);
    Put<HostEntry::CatchProjectEventFn>(table, HostEntry::CatchProjectEvent, &CatchProjectEvent);
    Put<HostEntry::CatchNewElementFn>(table, HostEntry::CatchNewElement, &CatchNewElement);
    Put<HostEntry::InstallElementObserverFn>(table, HostEntry::InstallElementObserver,
                                             &InstallElementObserver);
    return table;
}

}  // namespace orvhost
