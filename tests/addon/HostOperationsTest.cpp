// HostOperationsTest.cpp: the wrappers around the host table, and the freeing of a memo.
#include "HostOperations.h"

#include "ShellFixture.h"
#include "hostkit/GSMemory.h"

#include <cstring>

namespace {

using HostOperationsTest = ShellTest;

constexpr int32_t kNotSupported = static_cast<int32_t>(0x81060387u);

// Every wrapper once, with harmless arguments; the statuses in call order.
std::vector<int32_t> CallEveryWrapper() {
    int32_t count = 0;
    double a = 0, b = 0;
    GSHandle params = nullptr;
    LibPartRecord part;
    ZeroRecord(part);
    ElementRecord element;
    ZeroRecord(element);
    ElementRecord mask;
    ZeroRecord(mask);
    ElementMemo memo;
    ZeroRecord(memo);
    ElementHeader header;
    ZeroRecord(header);
    GS::Array<API_Guid> list;
    return {
        HostCallUndoable("title", [] { return 0; }),
        HostCallUtility(UtilityCode::OpenParameters, nullptr, nullptr, nullptr),
        HostGetLibPartCount(&count),
        HostGetLibPart(&part),
        HostGetLibPartParams(1, &a, &b, &count, &params),
        HostGetElementList(6, &list),
        HostGetElement(&element),
        HostGetElementMemo(API_Guid{}, &memo, kMemoAllMask),
        HostChangeElement(&element, &mask, &memo, 4, true),
        HostAttachObserver(&header, 0),
        HostCatchProjectEvent(kProjectEventMask, &ProjectEventHandler),
        HostCatchNewElement(nullptr, &ElementEventHandler),
        HostInstallElementObserver(&ElementEventHandler),
    };
}

TEST_F(HostOperationsTest, EveryWrapperWithANullEntryAnswersNotSupportedAndCallsNothing) {
    const HostFunctionTable empty{};
    SetImportedFuncAddrs(empty.data());
    HostToken = fakehost::kToken;
    for (int32_t status : CallEveryWrapper()) {
        EXPECT_EQ(status, kNotSupported);
    }
}

TEST_F(HostOperationsTest, EveryWrapperCallsItsOwnEntryWithTheToken) {
    StartWithFakeHost();
    for (int32_t status : CallEveryWrapper()) {
        EXPECT_EQ(status, 0);
    }
    const fakehost::Host& host = fakehost::Current();
    EXPECT_EQ(host.Entries(),
              (std::vector<std::string>{"CallUndoable", "CallUtility", "GetLibPartCount",
                                        "GetLibPart", "GetLibPartParams", "GetElementList",
                                        "GetElement", "GetElementMemo", "ChangeElement",
                                        "AttachObserver", "CatchProjectEvent", "CatchNewElement",
                                        "InstallElementObserver"}));
    for (const fakehost::Call& call : host.calls) {
        EXPECT_EQ(call.token, fakehost::kToken) << call.entry;
    }
}

TEST_F(HostOperationsTest, ErrorCodesPassThroughUnchanged) {
    StartWithFakeHost();
    const int32_t odd = static_cast<int32_t>(0x810600CAu);
    for (const char* entry :
         {"CallUndoable", "CallUtility", "GetLibPartCount", "GetLibPart", "GetLibPartParams",
          "GetElementList", "GetElement", "GetElementMemo", "ChangeElement", "AttachObserver",
          "CatchProjectEvent", "CatchNewElement", "InstallElementObserver"}) {
        fakehost::Current().statuses[entry] = odd;
    }
    for (int32_t status : CallEveryWrapper()) {
        EXPECT_EQ(status, odd);
    }
}

TEST_F(HostOperationsTest, UndoableCommandReachesTheHostAsGiven) {
    StartWithFakeHost();
    int runs = 0;
    HostCallUndoable("title", [&runs] { return ++runs; });
    ASSERT_TRUE(fakehost::Current().lastCommand);
    EXPECT_EQ(fakehost::Current().lastCommand(), 1);
}

TEST_F(HostOperationsTest, LibPartParamsWithANullEntryClearsTheOutHandle) {
    const HostFunctionTable empty{};
    SetImportedFuncAddrs(empty.data());
    GSHandle params = reinterpret_cast<GSHandle>(0x1234);
    int32_t count = -1;
    EXPECT_EQ(HostGetLibPartParams(3, nullptr, nullptr, &count, &params), kNotSupported);
    EXPECT_EQ(params, nullptr);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(HostGetLibPartParams(3, nullptr, nullptr, &count, nullptr), kNotSupported);
}

TEST_F(HostOperationsTest, LibPartParamsClearsTheOutHandleBeforeTheHostAnswers) {
    StartWithFakeHost();
    GSHandle params = reinterpret_cast<GSHandle>(0x1234);
    int32_t count = -1;
    EXPECT_EQ(HostGetLibPartParams(3, nullptr, nullptr, &count, &params), 0);
    EXPECT_EQ(params, nullptr);
    EXPECT_EQ(fakehost::Current().calls[0].numbers, (std::vector<long long>{3}));
}

TEST_F(HostOperationsTest, ElementMemoWithANullEntryIsZeroedSoDisposingItFreesNothing) {
    const HostFunctionTable empty{};
    SetImportedFuncAddrs(empty.data());
    ElementMemo memo;
    std::memset(memo.bytes, 0xCD, sizeof(memo.bytes));
    EXPECT_EQ(HostGetElementMemo(API_Guid{}, &memo, kMemoAllMask), kNotSupported);
    for (std::byte byte : memo.bytes) {
        ASSERT_EQ(byte, std::byte{0});
    }
    const GSSize live = BMLiveBlockCount();
    HostDisposeMemo(&memo);
    EXPECT_EQ(BMLiveBlockCount(), live);
}

TEST_F(HostOperationsTest, ElementMemoHandsTheHostAZeroedMemoAndAHeaderWithTheIdentifier) {
    StartWithFakeHost();
    ElementMemo memo;
    std::memset(memo.bytes, 0xCD, sizeof(memo.bytes));
    API_Guid guid;
    std::memset(static_cast<void*>(&guid), 0x17, sizeof(guid));
    EXPECT_EQ(HostGetElementMemo(guid, &memo, kMemoAllMask), 0);
    const fakehost::Host& host = fakehost::Current();
    for (std::byte byte : host.memoSeen.bytes) {
        ASSERT_EQ(byte, std::byte{0});
    }
    EXPECT_EQ(GetField<API_Guid>(host.lastHeader, 16), guid);
    for (std::size_t i = 0; i < ElementHeader::kSize; ++i) {
        if (i < 16 || i >= 32) {
            EXPECT_EQ(host.lastHeader.bytes[i], std::byte{0}) << "byte " << i;
        }
    }
    EXPECT_EQ(host.calls[0].numbers, (std::vector<long long>{0x1EFFFFFFF}));
}

TEST_F(HostOperationsTest, ElementListAsksForTheTypeWithNoFilters) {
    StartWithFakeHost();
    GS::Array<API_Guid> list;
    EXPECT_EQ(HostGetElementList(7, &list), 0);
    const fakehost::Host& host = fakehost::Current();
    EXPECT_EQ(host.calls[0].numbers, (std::vector<long long>{7, 0}));
    EXPECT_EQ(host.reservedSeen, nullptr);
    EXPECT_TRUE(host.guidFilterWasNull);
}

// ---- HostDisposeMemo ----

int deletedObjects = 0;

struct CountedObject : GS::Object {
    ~CountedObject() override { ++deletedObjects; }
};

void PutPointer(std::byte* bytes, std::size_t offset, const void* value) {
    std::memcpy(bytes + offset, &value, sizeof(value));
}

GSHandle ParameterBlock() {
    GSHandle block = BMAllocateHandle(3 * ParameterRecord::kSize, ALLOCATE_CLEAR, 0);
    auto* records = reinterpret_cast<std::byte*>(*block);
    // A plain record, an array with both handles, an array without descriptions.
    std::byte* array = records + ParameterRecord::kSize;
    const int16_t form = ParameterField::kFormArray;
    std::memcpy(array + ParameterField::Form, &form, sizeof(form));
    PutPointer(array, ParameterField::ArrayDescriptions, BMAllocateHandle(16, 0, 0));
    PutPointer(array, ParameterField::ArrayValues, BMAllocateHandle(16, 0, 0));
    std::byte* bare = records + 2 * ParameterRecord::kSize;
    std::memcpy(bare + ParameterField::Form, &form, sizeof(form));
    PutPointer(bare, ParameterField::ArrayValues, BMAllocateHandle(8, 0, 0));
    return block;
}

GSHandle RecordBlock(const MemoFieldInfo& field, int records) {
    GSHandle block = BMAllocateHandle(field.recordSize * records, ALLOCATE_CLEAR, 0);
    for (int i = 0; i < records; ++i) {
        std::byte* record = reinterpret_cast<std::byte*>(*block) + i * field.recordSize;
        if (field.innerKind == MemoInnerKind::Handle && i != 1) {  // record 1 left empty
            PutPointer(record, field.innerOffset, BMAllocateHandle(4, 0, 0));
        } else if (field.innerKind == MemoInnerKind::Object) {
            PutPointer(record, field.innerOffset, new CountedObject);
        }
    }
    return block;
}

// A memo with something in every field the host may fill; the number of objects in it.
int FillMemo(ElementMemo& memo) {
    ZeroRecord(memo);
    int objects = 0;
    for (std::size_t i = 0; i < MemoField::kFieldCount; ++i) {
        const MemoFieldInfo& field = kMemoFields[i];
        const std::size_t offset = i * sizeof(void*);
        switch (field.kind) {
        case MemoFieldKind::Empty:
            break;
        case MemoFieldKind::Handle:
            PutPointer(memo.bytes, offset, BMAllocateHandle(24, 0, 0));
            break;
        case MemoFieldKind::Pointer:
            PutPointer(memo.bytes, offset, BMAllocatePtr(24, 0, 0));
            break;
        case MemoFieldKind::Object:
            PutPointer(memo.bytes, offset, new CountedObject);
            ++objects;
            break;
        case MemoFieldKind::ParameterHandle:
            PutPointer(memo.bytes, offset, ParameterBlock());
            break;
        case MemoFieldKind::RecordHandle:
            PutPointer(memo.bytes, offset, RecordBlock(field, 3));
            objects += field.innerKind == MemoInnerKind::Object ? 3 : 0;
            break;
        }
    }
    return objects;
}

TEST_F(HostOperationsTest, MemoTableHasTheParameterBlockAtByte48AndItsNestedBlocks) {
    EXPECT_EQ(kMemoFields[MemoField::Params / sizeof(void*)].kind, MemoFieldKind::ParameterHandle);
    std::vector<int32_t> sizes;
    int objectFields = 0;
    for (const MemoFieldInfo& field : kMemoFields) {
        if (field.kind == MemoFieldKind::RecordHandle) {
            sizes.push_back(field.recordSize);
        }
        objectFields += field.kind == MemoFieldKind::Object ? 1 : 0;
    }
    EXPECT_EQ(sizes, (std::vector<int32_t>{96, 112, 56, 32, 192, 432}));
    EXPECT_EQ(objectFields, 2);
}

TEST_F(HostOperationsTest, DisposeMemoFreesEveryBlockAndObjectAndZeroesTheMemo) {
    const GSSize live = BMLiveBlockCount();
    ElementMemo memo;
    const int objects = FillMemo(memo);
    ASSERT_GT(BMLiveBlockCount(), live);
    deletedObjects = 0;
    HostDisposeMemo(&memo);
    EXPECT_EQ(BMLiveBlockCount(), live);
    EXPECT_EQ(deletedObjects, objects);
    for (std::byte byte : memo.bytes) {
        ASSERT_EQ(byte, std::byte{0});
    }
}

TEST_F(HostOperationsTest, DisposeMemoSkipsEmptyFields) {
    // Every free call accepts null, so only their count shows that the empty fields are skipped:
    // the memo's disposal makes the calls of its parameter block's and none more.
    GSHandle alone = ParameterBlock();
    GSSize kills = BMKillCallCount();
    HostDisposeParameterBlock(&alone);
    const GSSize blockKills = BMKillCallCount() - kills;

    const GSSize live = BMLiveBlockCount();
    ElementMemo memo;
    ZeroRecord(memo);
    PutPointer(memo.bytes, MemoField::Params, ParameterBlock());
    kills = BMKillCallCount();
    HostDisposeMemo(&memo);
    EXPECT_EQ(BMLiveBlockCount(), live);
    EXPECT_EQ(BMKillCallCount() - kills, blockKills);
    kills = BMKillCallCount();
    HostDisposeMemo(&memo);
    EXPECT_EQ(BMKillCallCount(), kills);
}

TEST_F(HostOperationsTest, DisposeParameterBlockFreesArrayHandlesAndClearsTheVariable) {
    const GSSize live = BMLiveBlockCount();
    GSHandle block = ParameterBlock();
    HostDisposeParameterBlock(&block);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(BMLiveBlockCount(), live);
    HostDisposeParameterBlock(&block);
}

}  // namespace
