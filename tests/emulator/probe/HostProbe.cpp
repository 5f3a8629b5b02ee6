// HostProbe.cpp: a module that plays an add-on to test the emulator from the add-on's side. At
// the open event it calls each host operation through the table and checks what comes back,
// writing one line per check to the file named by ORV_PROBE_REPORT: "ok NAME" or
// "FAIL NAME: what came back". With ORV_PROBE_MODE=write-all it instead writes uptodate = 1 into
// every element of types 4 to 7 inside one undoable command, the way the add-on does, and reports
// "elements N" and "seconds S".
//
// The project it expects: part 1 "Plain" (check_url, uptodate 0), part 2 "Arrays" (a 3 by 2
// RealNum array "grid", a String "long" of 300 characters), an object on part 1 and a window on
// part 2, and a wall.
#include "hostkit/GSMemory.h"
#include "hostkit/HostABI.h"
#include "hostkit/IOLocation.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

HostFunctionTable table{};
API_Token token = nullptr;
std::ofstream report;

template <typename Fn> Fn Entry(std::size_t position) {
    return reinterpret_cast<Fn>(table[position]);
}

void Check(const std::string& name, bool ok, const std::string& detail = "") {
    report << (ok ? "ok " : "FAIL ") << name << (ok ? "" : ": " + detail) << '\n';
}

std::string Status(int32_t status) {
    std::ostringstream text;
    text << "status 0x" << std::hex << static_cast<uint32_t>(status);
    return text.str();
}

// The parameter records of a block, by name.
const std::byte* FindParameter(GSHandle block, const std::string& name) {
    const GSSize count = BMGetHandleSize(block) / ParameterRecord::kSize;
    for (GSSize i = 0; i < count; ++i) {
        const std::byte* record = reinterpret_cast<std::byte*>(*block) + i * ParameterRecord::kSize;
        if (name == reinterpret_cast<const char*>(record + ParameterField::Name)) {
            return record;
        }
    }
    return nullptr;
}

template <typename T> T Read(const std::byte* bytes, std::size_t offset) {
    T value;
    std::memcpy(&value, bytes + offset, sizeof(T));
    return value;
}

void FreeBlock(GSHandle block) {
    const GSSize count = BMGetHandleSize(block) / ParameterRecord::kSize;
    for (GSSize i = 0; i < count; ++i) {
        std::byte* record = reinterpret_cast<std::byte*>(*block) + i * ParameterRecord::kSize;
        if (Read<int16_t>(record, ParameterField::Form) == ParameterField::kFormArray) {
            for (std::size_t offset :
                 {ParameterField::ArrayDescriptions, ParameterField::ArrayValues}) {
                GSHandle inner = Read<GSHandle>(record, offset);
                BMKillHandle(&inner);
            }
        }
    }
    BMKillHandle(&block);
}

GS::Array<API_Guid> ElementsOf(int32_t type) {
    GS::Array<API_Guid> list;
    Entry<HostEntry::GetElementListFn>(HostEntry::GetElementList)(token, type, &list, 0, nullptr,
                                                                  GS::NULLGuid);
    return list;
}

// The element's uptodate through its memo; -1 when it cannot be read.
double UpToDateOf(const API_Guid& guid) {
    ElementHeader header;
    ZeroRecord(header);
    SetField(header, ElementHeaderField::Guid, guid);
    ElementMemo memo;
    ZeroRecord(memo);
    if (Entry<HostEntry::GetElementMemoFn>(HostEntry::GetElementMemo)(token, &header, &memo,
                                                                      kMemoAllMask) != 0) {
        return -1;
    }
    GSHandle params = GetField<GSHandle>(memo, MemoField::Params);
    const std::byte* record = params != nullptr ? FindParameter(params, "uptodate") : nullptr;
    const double value = record != nullptr ? Read<double>(record, ParameterField::Value) : -1;
    if (params != nullptr) {
        FreeBlock(params);
    }
    return value;
}

// The add-on's road of writing one parameter: memo, OPAR, CHGP, GPAR, CPAR, change.
int32_t WriteUpToDate(const API_Guid& guid, int32_t type, double value) {
    auto utility = Entry<HostEntry::CallUtilityFn>(HostEntry::CallUtility);
    ElementRecord element;
    ZeroRecord(element);
    SetField(element, ElementField::Guid, guid);
    int32_t status = Entry<HostEntry::GetElementFn>(HostEntry::GetElement)(token, &element, 0);
    if (status != 0) {
        return status;
    }
    ElementHeader header;
    ZeroRecord(header);
    SetField(header, ElementHeaderField::Guid, guid);
    ElementMemo memo;
    ZeroRecord(memo);
    status = Entry<HostEntry::GetElementMemoFn>(HostEntry::GetElementMemo)(token, &header, &memo,
                                                                           kMemoAllMask);
    if (status != 0) {
        return status;
    }
    OpenParametersRecord open;
    ZeroRecord(open);
    SetField(open, OpenParametersField::Guid, guid);
    SetField(open, OpenParametersField::Type, type);
    ChangeParameterRecord change;
    ZeroRecord(change);
    std::strcpy(reinterpret_cast<char*>(change.bytes + ChangeParameterField::Name), "uptodate");
    SetField(change, ChangeParameterField::RealValue, value);
    GetParametersRecord get;
    ZeroRecord(get);
    status = utility(token, UtilityCode::OpenParameters, &open, nullptr, nullptr);
    if (status == 0) {
        status = utility(token, UtilityCode::ChangeParameter, &change, nullptr, nullptr);
    }
    if (status == 0 && utility(token, UtilityCode::GetParameters, &get, nullptr, nullptr) == 0) {
        FreeBlock(GetField<GSHandle>(memo, MemoField::Params));
        SetField(memo, MemoField::Params, GetField<GSHandle>(get, GetParametersField::Params));
    }
    const int32_t closed = utility(token, UtilityCode::CloseParameters, nullptr, nullptr, nullptr);
    if (status == 0) {
        status = closed;
    }
    if (status == 0) {
        ElementRecord mask;
        ZeroRecord(mask);
        status = Entry<HostEntry::ChangeElementFn>(HostEntry::ChangeElement)(token, &element, &mask,
                                                                             &memo, 4, true);
    }
    if (GSHandle params = GetField<GSHandle>(memo, MemoField::Params)) {
        FreeBlock(params);
    }
    return status;
}

void ProbeLibrary() {
    int32_t count = 0;
    const int32_t status =
        Entry<HostEntry::GetLibPartCountFn>(HostEntry::GetLibPartCount)(token, &count);
    Check("lib part count", status == 0 && count == 2,
          Status(status) + " count " + std::to_string(count));

    auto getPart = Entry<HostEntry::GetLibPartFn>(HostEntry::GetLibPart);
    LibPartRecord part;
    ZeroRecord(part);
    SetField(part, LibPartField::Index, int32_t{1});
    const int32_t partStatus = getPart(token, &part);
    const GS::UniString name(
        reinterpret_cast<const GS::UniChar*>(part.bytes + LibPartField::DocumentName));
    const auto* location = GetField<const IO::Location*>(part, LibPartField::Location);
    Check("lib part name", partStatus == 0 && name == "Plain", name.ToCStr(CC_UTF8).Get());
    Check("lib part location", location != nullptr && location->ToPath().FindFirst(GS::UniString(
                                                          "Plain.xml")) != GS::MaxUSize);
    for (int32_t index : {0, 3, -1}) {
        ZeroRecord(part);
        SetField(part, LibPartField::Index, index);
        const int32_t bad = getPart(token, &part);
        Check("lib part index " + std::to_string(index) + " refused", bad == HostError::BadIndex,
              Status(bad));
    }

    auto getParams = Entry<HostEntry::GetLibPartParamsFn>(HostEntry::GetLibPartParams);
    double a = -1, b = -1;
    GSHandle params = nullptr;
    int32_t paramCount = 0;
    int32_t paramsStatus = getParams(token, 1, &a, &b, &paramCount, &params);
    const std::byte* url = params != nullptr ? FindParameter(params, "check_url") : nullptr;
    const std::byte* upToDate = params != nullptr ? FindParameter(params, "uptodate") : nullptr;
    Check("plain parameters",
          paramsStatus == 0 && paramCount == 2 && url != nullptr && upToDate != nullptr &&
              BMGetHandleSize(params) == 2 * ParameterRecord::kSize,
          Status(paramsStatus));
    if (url != nullptr && upToDate != nullptr) {
        const GS::UniString text(reinterpret_cast<const GS::UniChar*>(url + ParameterField::Value));
        Check("text value",
              Read<int16_t>(url, ParameterField::Form) == 0 &&
                  Read<int32_t>(url, ParameterField::Type) == ParameterType::String &&
                  text == "http://127.0.0.1:1/check?id=1&version=1",
              text.ToCStr(CC_UTF8).Get());
        Check("number value",
              Read<double>(upToDate, ParameterField::Value) == 0.0 &&
                  Read<int32_t>(upToDate, ParameterField::Type) == ParameterType::RealNum);
    }
    if (params != nullptr) {
        FreeBlock(params);
    }

    params = nullptr;
    paramsStatus = getParams(token, 2, &a, &b, &paramCount, &params);
    const std::byte* grid = params != nullptr ? FindParameter(params, "grid") : nullptr;
    const std::byte* longText = params != nullptr ? FindParameter(params, "long") : nullptr;
    Check("array parameters found", paramsStatus == 0 && grid != nullptr && longText != nullptr,
          Status(paramsStatus));
    if (grid != nullptr) {
        GSHandle values = Read<GSHandle>(grid, ParameterField::ArrayValues);
        const bool shape =
            Read<int16_t>(grid, ParameterField::Form) == ParameterField::kFormArray &&
            Read<int32_t>(grid, ParameterField::Dimension1) == 3 &&
            Read<int32_t>(grid, ParameterField::Dimension2) == 2 && values != nullptr &&
            BMGetHandleSize(values) == 6 * static_cast<GSSize>(sizeof(double));
        Check("array as form 2", shape);
        if (shape) {
            const double* numbers = reinterpret_cast<const double*>(*values);
            Check("array values row by row", numbers[0] == 1 && numbers[1] == 2 && numbers[5] == 6);
        }
    }
    if (longText != nullptr) {
        const auto* units = reinterpret_cast<const GS::UniChar*>(longText + ParameterField::Value);
        const GS::UniString text(units);
        Check("long text cut at 255 units", text.GetLength() == 255,
              std::to_string(text.GetLength()));
    }
    if (params != nullptr) {
        FreeBlock(params);
    }
    Check("bad part index for parameters",
          getParams(token, 9, &a, &b, &paramCount, &params) == HostError::BadIndex);
}

void ProbeElements() {
    GS::Array<API_Guid> list;
    list.Push(API_Guid{});
    const int32_t status = Entry<HostEntry::GetElementListFn>(HostEntry::GetElementList)(
        token, ElementType::Object, &list, 0, nullptr, GS::NULLGuid);
    Check("element list replaced", status == 0 && list.GetSize() == 1 && list[0] != API_Guid{},
          Status(status) + " size " + std::to_string(list.GetSize()));
    if (list.GetSize() != 1) {
        return;
    }
    const API_Guid object = list[0];

    ElementRecord element;
    ZeroRecord(element);
    SetField(element, ElementField::Guid, object);
    const int32_t got = Entry<HostEntry::GetElementFn>(HostEntry::GetElement)(token, &element, 0);
    Check("element record",
          got == 0 && GetField<int32_t>(element, ElementField::Type) == 6 &&
              GetField<int32_t>(element, ElementField::ObjectLibIndex) == 1,
          Status(got));
    const GS::Array<API_Guid> windows = ElementsOf(ElementType::Window);
    if (windows.GetSize() == 1) {
        ZeroRecord(element);
        SetField(element, ElementField::Guid, windows[0]);
        Entry<HostEntry::GetElementFn>(HostEntry::GetElement)(token, &element, 0);
        Check("window library index at byte 184",
              GetField<int32_t>(element, ElementField::OpeningLibIndex) == 2);
    } else {
        Check("one window", false, std::to_string(windows.GetSize()));
    }
    Check("memo parameters", UpToDateOf(object) == 0.0);

    ElementRecord mask;
    ZeroRecord(mask);
    ElementMemo memo;
    ZeroRecord(memo);
    const int32_t outside = Entry<HostEntry::ChangeElementFn>(HostEntry::ChangeElement)(
        token, &element, &mask, &memo, 4, true);
    Check("change outside a command refused", outside == HostError::NeedsUndoScope,
          Status(outside));

    auto undoable = Entry<HostEntry::CallUndoableFn>(HostEntry::CallUndoable);
    const int32_t done =
        undoable(token, "Probe write", [&] { return WriteUpToDate(object, 6, 2); });
    Check("write inside a command", done == 0 && UpToDateOf(object) == 2.0, Status(done));
    const int32_t failed = undoable(token, "Probe rollback", [&] {
        WriteUpToDate(object, 6, 3);
        return int32_t{5};
    });
    Check("failed command rolled back", failed == 5 && UpToDateOf(object) == 2.0, Status(failed));

    ElementHeader header;
    ZeroRecord(header);
    SetField(header, ElementHeaderField::Guid, object);
    SetField(header, ElementHeaderField::Type, int32_t{6});
    auto attach = Entry<HostEntry::AttachObserverFn>(HostEntry::AttachObserver);
    const int32_t first = attach(token, &header, 0);
    const int32_t second = attach(token, &header, 0);
    Check("observer attached once", first == 0 && second == HostError::LinkExists,
          Status(first) + " then " + Status(second));
    const int32_t unknownCode = Entry<HostEntry::CallUtilityFn>(HostEntry::CallUtility)(
        token, 0x41424344, nullptr, nullptr, nullptr);
    Check("unknown utility code", unknownCode == HostError::NotSupported, Status(unknownCode));
}

void WriteAll() {
    const auto start = std::chrono::steady_clock::now();
    long written = 0;
    const int32_t status =
        Entry<HostEntry::CallUndoableFn>(HostEntry::CallUndoable)(token, "Write all", [&written] {
            for (int32_t type :
                 {ElementType::Object, ElementType::Window, ElementType::Door, ElementType::Lamp}) {
                for (const API_Guid& guid : ElementsOf(type)) {
                    written += WriteUpToDate(guid, type, 1) == 0 ? 1 : 0;
                }
            }
            return int32_t{0};
        });
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    report << "status " << status << "\nelements " << written << "\nseconds " << seconds.count()
           << '\n';
}

int32_t OnProjectEvent(int32_t event, uint32_t) {
    if (event != ProjectEvent::OpenProject) {
        return 0;
    }
    const char* mode = std::getenv("ORV_PROBE_MODE");
    if (mode != nullptr && std::string(mode) == "write-all") {
        WriteAll();
    } else {
        ProbeLibrary();
        ProbeElements();
    }
    report.flush();
    return 0;
}

int32_t Describe(EnvironmentRecord*) { return 2; }
int32_t Register(void*) { return 0; }
int32_t Start(API_Token given) {
    token = given;
    if (const char* path = std::getenv("ORV_PROBE_REPORT")) {
        report.open(path, std::ios::trunc);
    }
    int answered = 0;
    for (void* entry : table) {
        answered += entry != nullptr ? 1 : 0;
    }
    Check("13 entries answered", answered == 13, std::to_string(answered));
    return Entry<HostEntry::CatchProjectEventFn>(HostEntry::CatchProjectEvent)(
        token, ProjectEvent::OpenProject, &OnProjectEvent);
}
int32_t Stop() {
    report.close();
    return 0;
}

}  // namespace

extern "C" int32_t GetExportedFuncAddrs(ExportRecord* record) {
    ZeroRecord(*record);
    SetField(*record, ExportField::Version, ExportField::kVersionValue);
    SetField(*record, ExportField::Describe, &Describe);
    SetField(*record, ExportField::Register, &Register);
    SetField(*record, ExportField::Start, &Start);
    SetField(*record, ExportField::Stop, &Stop);
    return 0;
}

extern "C" int32_t SetImportedFuncAddrs(const void* given) {
    std::memcpy(table.data(), given, kHostTableBytes);
    return 0;
}
