// HostTestSupport.cpp: the sample project, the recording handlers and the add-on's side of the
// calls for the host side's tests.
#include "HostTestSupport.h"

#include "GdlPartXml.h"
#include "TestFiles.h"
#include "hostkit/GSGuid.h"
#include "hostkit/UniString.h"

#include <cstring>
#include <stdexcept>

namespace orvhost::test {

const char* const kDoorGuid = "11111111-0000-4000-8000-000000000001";
const char* const kChairGuid = "11111111-0000-4000-8000-000000000002";
const char* const kWallGuid = "11111111-0000-4000-8000-000000000003";
const char* const kChair2Guid = "11111111-0000-4000-8000-000000000004";
const char* const kLampGuid = "11111111-0000-4000-8000-000000000005";
const std::string kLongUrl = "http://x/check?id=" + std::string(282, 'c');

namespace {

// A file of the project; failing to write it stops the test.
void WriteFile(const std::filesystem::path& file, const std::string& content) {
    if (!testfiles::WriteFileBytes(testfiles::Utf8Of(file), content)) {
        throw std::runtime_error("cannot write " + testfiles::Utf8Of(file));
    }
}

// The check_url parameter, and a numeric parameter described by its name, as the sample's parts
// have them.
std::string CheckUrl(const std::string& url) {
    return testfiles::GdlTextParameter("check_url", url, "Check URL");
}

std::string Number(const std::string& type, const std::string& name, double value) {
    return testfiles::GdlNumberParameter(name, value, type, name);
}

std::string ElementJson(const char* guid, int type, const std::string& rest) {
    return std::string("{\"guid\": \"") + guid + "\", \"type\": " + std::to_string(type) + rest +
           "}";
}

void MakeProject(const std::filesystem::path& folder) {
    const std::filesystem::path library = folder / "Library";
    WriteFile(library / "Doors/D01.xml",
              testfiles::GdlPartXml({CheckUrl("http://x/check?id=1&version=1"),
                                     Number("RealNum", "uptodate", 0), Number("Length", "A", 0.9),
                                     Number("Length", "B", 2.1)}));
    WriteFile(library / "Objects/Chair.xml",
              testfiles::GdlPartXml(
                  {CheckUrl(kLongUrl), Number("Integer", "uptodate", 0),
                   "<RealNum Name=\"grid\"><ArrayValues FirstDimension=\"2\" "
                   "SecondDimension=\"3\">"
                   "<AVal Column=\"1\" Row=\"1\">11</AVal><AVal Column=\"2\" Row=\"1\">12</AVal>"
                   "<AVal Column=\"3\" Row=\"1\">13</AVal><AVal Column=\"1\" Row=\"2\">21</AVal>"
                   "<AVal Column=\"2\" Row=\"2\">22</AVal><AVal Column=\"3\" Row=\"2\">23</AVal>"
                   "</ArrayValues></RealNum>",
                   "<String Name=\"names\"><ArrayValues FirstDimension=\"2\" "
                   "SecondDimension=\"0\"><AVal Row=\"1\"><![CDATA[\"Dveře\"]]></AVal>"
                   "<AVal Row=\"2\"><![CDATA[\"\"]]></AVal></ArrayValues></String>",
                   "<Title Name=\"title\"><Description><![CDATA[\"Size\"]]></Description>"
                   "</Title>"}));
    WriteFile(library / "Objects/Lamp.xml",
              testfiles::GdlPartXml({Number("RealNum", "uptodate", 0)}));
    const std::string json =
        "{\"format\": \"orvhost-project/1\", \"library\": \"Library\", \"elements\": [\n" +
        ElementJson(kDoorGuid, 5,
                    ", \"part\": \"Doors/D01.xml\", \"parameters\": {\"uptodate\": 2}") +
        ",\n" + ElementJson(kChairGuid, 6, ", \"part\": \"Objects/Chair.xml\"") + ",\n" +
        ElementJson(kWallGuid, 1, "") + ",\n" +
        ElementJson(kChair2Guid, 6, ", \"part\": \"Objects/Chair.xml\"") + ",\n" +
        ElementJson(kLampGuid, 7, ", \"part\": \"Objects/Lamp.xml\"") + "]}\n";
    WriteFile(folder / "project.json", json);
}

void RecordElementEvent(const ElementEventRecord* event, const char* handler) {
    Received received;
    received.number = GetField<int32_t>(*event, ElementEventField::Event);
    received.type = GetField<int32_t>(*event, ElementEventField::Type);
    received.guid = GetField<API_Guid>(*event, ElementEventField::Guid);
    received.handler = handler;
    HandlerLog::events.push_back(received);
    if (HandlerLog::onElementEvent) {
        HandlerLog::onElementEvent(*event);
    }
}

}  // namespace

API_Guid GuidOf(const std::string& text) {
    GS::Guid guid;
    if (!guid.FromString(text)) {
        throw std::invalid_argument("not an identifier: " + text);
    }
    return guid.ToAPIGuid();
}

std::string TextOf(const API_Guid& guid) { return GS::Guid(guid).ToString(); }

std::vector<Received> HandlerLog::events;
std::function<void(const ElementEventRecord&)> HandlerLog::onElementEvent;
std::function<void(int32_t, uint32_t)> HandlerLog::onProjectEvent;

void HandlerLog::Clear() {
    events.clear();
    onElementEvent = nullptr;
    onProjectEvent = nullptr;
}

int32_t RecordingProjectHandler(int32_t event, uint32_t parameter) {
    Received received;
    received.number = event;
    received.type = static_cast<int32_t>(parameter);
    received.handler = "project";
    HandlerLog::events.push_back(received);
    if (HandlerLog::onProjectEvent) {
        HandlerLog::onProjectEvent(event, parameter);
    }
    return 0;
}

int32_t RecordingNewElementHandler(const ElementEventRecord* event) {
    RecordElementEvent(event, "new");
    return 0;
}

int32_t RecordingObserverHandler(const ElementEventRecord* event) {
    RecordElementEvent(event, "observer");
    return 0;
}

void FreeBlockAsAddOn(GSHandle block) {
    if (block == nullptr) {
        return;
    }
    const GSSize count = BMGetHandleSize(block) / static_cast<GSSize>(ParameterRecord::kSize);
    for (GSSize i = 0; i < count; ++i) {
        char* record = *block + i * static_cast<GSSize>(ParameterRecord::kSize);
        int16_t form;
        std::memcpy(&form, record + ParameterField::Form, sizeof form);
        if (form == ParameterField::kFormArray) {
            for (const std::size_t offset :
                 {ParameterField::ArrayDescriptions, ParameterField::ArrayValues}) {
                GSHandle inner;
                std::memcpy(&inner, record + offset, sizeof inner);
                if (inner != nullptr) {
                    BMKillHandle(&inner);
                }
            }
        }
    }
    BMKillHandle(&block);
}

std::vector<ParameterRecord> RecordsOf(GSConstHandle block) {
    std::vector<ParameterRecord> records;
    if (block == nullptr) {
        return records;
    }
    const std::size_t size = static_cast<std::size_t>(BMGetHandleSize(block));
    EXPECT_EQ(size % ParameterRecord::kSize, 0u);
    records.resize(size / ParameterRecord::kSize);
    for (std::size_t i = 0; i < records.size(); ++i) {
        std::memcpy(records[i].bytes, *block + i * ParameterRecord::kSize, ParameterRecord::kSize);
    }
    return records;
}

std::string NameOf(const ParameterRecord& record) {
    return reinterpret_cast<const char*>(record.bytes + ParameterField::Name);
}

std::u16string TextValueOf(const ParameterRecord& record) {
    std::u16string text;
    for (std::size_t i = 0;; ++i) {
        char16_t unit;
        std::memcpy(&unit, record.bytes + ParameterField::Value + 2 * i, 2);
        if (unit == 0) {
            return text;
        }
        text.push_back(unit);
    }
}

const ParameterRecord& Named(const std::vector<ParameterRecord>& records, const std::string& name) {
    for (const ParameterRecord& record : records) {
        if (NameOf(record) == name) {
            return record;
        }
    }
    ADD_FAILURE() << "no parameter record named " << name;
    static const ParameterRecord empty{};
    return empty;
}

void HostTest::SetUp() {
    MakeProject(folder.Path());
    std::vector<std::string> warnings;
    project = std::make_unique<Project>(Project::Load(folder.Path(), warnings));
    EXPECT_TRUE(warnings.empty()) << warnings.front();
    session = std::make_unique<HostSession>(*project);
    table = session->Table();
    token = session->Token();
    HandlerLog::Clear();
    liveBlocksAtStart = BMLiveBlockCount();
}

void HostTest::TearDown() {
    // Whatever the host handed over was freed by the test: nothing of it is left alive.
    EXPECT_EQ(BMLiveBlockCount(), liveBlocksAtStart);
    HandlerLog::Clear();
    session.reset();
    project.reset();
}

int32_t HostTest::CallUndoable(const std::string& title, const std::function<int32_t()>& command) {
    return Entry<HostEntry::CallUndoableFn>(HostEntry::CallUndoable)(
        token, GS::UniString(title.c_str(), CC_UTF8), command);
}

int32_t HostTest::CallUtility(int32_t code, void* first) {
    return Entry<HostEntry::CallUtilityFn>(HostEntry::CallUtility)(token, code, first, nullptr,
                                                                   nullptr);
}

int32_t HostTest::GetElement(ElementRecord& element, const std::string& guid) {
    ZeroRecord(element);
    SetField<API_Guid>(element, ElementField::Guid, GuidOf(guid));
    return Entry<HostEntry::GetElementFn>(HostEntry::GetElement)(token, &element, 0);
}

int32_t HostTest::GetMemo(const std::string& guid, ElementMemo& memo, uint64_t mask) {
    ElementHeader header;
    ZeroRecord(header);
    SetField<API_Guid>(header, ElementHeaderField::Guid, GuidOf(guid));
    ZeroRecord(memo);
    return Entry<HostEntry::GetElementMemoFn>(HostEntry::GetElementMemo)(token, &header, &memo,
                                                                         mask);
}

int32_t HostTest::ChangeElement(const std::string& guid, const ElementMemo& memo) {
    ElementRecord element;
    ZeroRecord(element);
    SetField<API_Guid>(element, ElementField::Guid, GuidOf(guid));
    ElementRecord mask;
    ZeroRecord(mask);
    return Entry<HostEntry::ChangeElementFn>(HostEntry::ChangeElement)(token, &element, &mask,
                                                                       &memo, 4, true);
}

int32_t HostTest::AttachObserver(const std::string& guid) {
    ElementHeader header;
    ZeroRecord(header);
    SetField<API_Guid>(header, ElementHeaderField::Guid, GuidOf(guid));
    return Entry<HostEntry::AttachObserverFn>(HostEntry::AttachObserver)(token, &header, 0);
}

int32_t HostTest::GetElementList(int32_t type, GS::Array<API_Guid>& list) {
    return Entry<HostEntry::GetElementListFn>(HostEntry::GetElementList)(token, type, &list, 0,
                                                                         nullptr, GS::NULLGuid);
}

int32_t HostTest::WriteNumber(const std::string& guid, const std::string& name, double value) {
    ElementRecord element;
    int32_t status = GetElement(element, guid);
    if (status != 0) {
        return status;
    }
    ElementMemo memo;
    status = GetMemo(guid, memo);
    if (status != 0) {
        return status;
    }
    const auto freeMemo = [&] {
        FreeBlockAsAddOn(GetField<GSHandle>(memo, MemoField::Params));
        SetField<GSHandle>(memo, MemoField::Params, nullptr);
    };
    OpenParametersRecord open;
    ZeroRecord(open);
    SetField<API_Guid>(open, OpenParametersField::Guid, GuidOf(guid));
    SetField<int32_t>(open, OpenParametersField::Type,
                      GetField<int32_t>(element, ElementField::Type));
    status = CallUtility(UtilityCode::OpenParameters, &open);
    if (status != 0) {
        freeMemo();
        return status;
    }
    ChangeParameterRecord change;
    ZeroRecord(change);
    std::strncpy(reinterpret_cast<char*>(change.bytes + ChangeParameterField::Name), name.c_str(),
                 ChangeParameterField::kNameBytes - 1);
    SetField<double>(change, ChangeParameterField::RealValue, value);
    status = CallUtility(UtilityCode::ChangeParameter, &change);
    if (status != 0) {
        freeMemo();
        return status;
    }
    GetParametersRecord result;
    ZeroRecord(result);
    if (CallUtility(UtilityCode::GetParameters, &result) == 0) {
        freeMemo();
        SetField<GSHandle>(memo, MemoField::Params,
                           GetField<GSHandle>(result, GetParametersField::Params));
    }
    status = CallUtility(UtilityCode::CloseParameters, nullptr);
    if (status == 0) {
        status = ChangeElement(guid, memo);
    }
    freeMemo();
    return status;
}

double HostTest::NumberOf(const std::string& guid, const std::string& name) {
    const Element* element = project->FindElement(GuidOf(guid));
    if (element == nullptr) {
        ADD_FAILURE() << "no element " << guid;
        return -1;
    }
    for (const Parameter& parameter : project->EffectiveParameters(*element)) {
        if (parameter.name == name && !parameter.value.numbers.empty()) {
            return parameter.value.numbers.front();
        }
    }
    ADD_FAILURE() << "no number " << name << " in " << guid;
    return -1;
}

}  // namespace orvhost::test
