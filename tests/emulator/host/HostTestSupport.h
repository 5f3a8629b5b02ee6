// HostTestSupport.h: a small project in a temporary folder, a host session over it, and the
// table's entries called the way the add-on calls them, for the host side's tests.
#pragma once

#include "TestFiles.h"
#include "emulator/HostSession.h"
#include "emulator/Project.h"
#include "hostkit/GSMemory.h"
#include "hostkit/HostABI.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace orvhost::test {

// The sample project. Library parts, in index order:
//   1 Doors/D01.xml      check_url, uptodate (RealNum 0), A (Length 0.9), B (Length 2.1)
//   2 Objects/Chair.xml  check_url of 300 characters, uptodate (Integer 0), grid (RealNum array
//                        2 x 3), names (String array of 2), title (Title)
//   3 Objects/Lamp.xml   uptodate (RealNum 0) only
// Elements, in project order: a door on D01 with its own uptodate 2, a chair, a wall, a second
// chair, a lamp.
extern const char* const kDoorGuid;
extern const char* const kChairGuid;
extern const char* const kWallGuid;
extern const char* const kChair2Guid;
extern const char* const kLampGuid;
constexpr int32_t kDoorPart = 1;
constexpr int32_t kChairPart = 2;
constexpr int32_t kLampPart = 3;
extern const std::string kLongUrl;  // the chair's check_url, 300 characters

API_Guid GuidOf(const std::string& text);
std::string TextOf(const API_Guid& guid);

// What the static handlers below received, and what they do on an event.
struct Received {
    int32_t number = 0;   // event number
    int32_t type = 0;     // element type, or the project event's parameter
    API_Guid guid;        // element events
    std::string handler;  // "project", "new", "observer"
};
struct HandlerLog {
    static std::vector<Received> events;
    // Called by the element handlers after recording, with the event record.
    static std::function<void(const ElementEventRecord&)> onElementEvent;
    // Called by the project handler after recording.
    static std::function<void(int32_t, uint32_t)> onProjectEvent;
    static void Clear();
};
int32_t RecordingProjectHandler(int32_t event, uint32_t parameter);
int32_t RecordingNewElementHandler(const ElementEventRecord* event);
int32_t RecordingObserverHandler(const ElementEventRecord* event);

// Frees a block of parameter records as the add-on does: record by record, the two handles of
// an array record, then the block.
void FreeBlockAsAddOn(GSHandle block);
// The records of a block, copied out.
std::vector<ParameterRecord> RecordsOf(GSConstHandle block);
// The 8-bit name and the UTF-16 value of a record.
std::string NameOf(const ParameterRecord& record);
std::u16string TextValueOf(const ParameterRecord& record);
// The record of `name` in `records`; fails the test when there is none.
const ParameterRecord& Named(const std::vector<ParameterRecord>& records, const std::string& name);

class HostTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // The entry at `index` as the add-on sees it.
    template <typename Fn> Fn Entry(std::size_t index) const {
        return reinterpret_cast<Fn>(table[index]);
    }

    // The calls of the add-on, through the table.
    int32_t CallUndoable(const std::string& title, const std::function<int32_t()>& command);
    int32_t CallUtility(int32_t code, void* first);
    int32_t GetElement(ElementRecord& element, const std::string& guid);
    int32_t GetMemo(const std::string& guid, ElementMemo& memo, uint64_t mask = kMemoAllMask);
    int32_t ChangeElement(const std::string& guid, const ElementMemo& memo);
    int32_t AttachObserver(const std::string& guid);
    int32_t GetElementList(int32_t type, GS::Array<API_Guid>& list);
    // What the add-on does to write one parameter of an element: get the element and its memo,
    // open its parameters, change the one, take the result, close, change the element, free the
    // memo. Returns the first failing status, or 0.
    int32_t WriteNumber(const std::string& guid, const std::string& name, double value);

    // The element's effective value of a numeric parameter, as the project holds it.
    double NumberOf(const std::string& guid, const std::string& name);

    testfiles::TempFolder folder;  // holds the sample project
    std::unique_ptr<Project> project;
    std::unique_ptr<HostSession> session;
    HostFunctionTable table{};
    API_Token token = nullptr;
    GSSize liveBlocksAtStart = 0;
};

}  // namespace orvhost::test
