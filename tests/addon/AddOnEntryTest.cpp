// AddOnEntryTest.cpp: the two exports and the four entry functions, with their guards.
#include "ShellFixture.h"
#include "hostkit/GSMemory.h"

#include <cstring>

namespace {

using AddOnEntryTest = ShellTest;

constexpr int32_t kTableNotLoaded = static_cast<int32_t>(0x81060001u);

std::string TextAt(const EnvironmentRecord& record, std::size_t offset) {
    return reinterpret_cast<const char*>(record.bytes + offset);
}

TEST_F(AddOnEntryTest, ExportRecordHoldsVersionEntryFunctionsAndRelease) {
    ExportRecord record;
    std::memset(record.bytes, 0xAB, sizeof(record.bytes));
    EXPECT_EQ(GetExportedFuncAddrs(&record), 0);
    EXPECT_EQ(GetField<int32_t>(record, 0), 0x00140001);
    EXPECT_EQ(GetField<int32_t>(record, 4), 0);
    EXPECT_EQ(GetField<void*>(record, 8), reinterpret_cast<void*>(&AddOnDescribe));
    EXPECT_EQ(GetField<void*>(record, 16), reinterpret_cast<void*>(&AddOnRegister));
    EXPECT_EQ(GetField<void*>(record, 24), reinterpret_cast<void*>(&AddOnStart));
    EXPECT_EQ(GetField<void*>(record, 32), reinterpret_cast<void*>(&AddOnStop));
    EXPECT_EQ(GetField<int32_t>(record, 40), 20000);
    for (std::size_t i = 44; i < ExportRecord::kSize; ++i) {
        EXPECT_EQ(record.bytes[i], std::byte{0}) << "byte " << i;
    }
}

TEST_F(AddOnEntryTest, SetImportedFuncAddrsCopiesTheWholeTableAndSetsTheFlag) {
    HostFunctionTable table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = reinterpret_cast<void*>(i + 1);
    }
    EXPECT_EQ(SetImportedFuncAddrs(table.data()), 0);
    EXPECT_EQ(HostTableLoaded, 1);
    EXPECT_EQ(HostTable, table);
}

TEST_F(AddOnEntryTest, EntryFunctionsBeforeTheTableAnswerTableNotLoaded) {
    EnvironmentRecord environment;
    ZeroRecord(environment);
    SetField(environment, EnvironmentField::ApplicationKind, int32_t{1});
    EXPECT_EQ(AddOnDescribe(&environment), 0);
    EXPECT_EQ(TextAt(environment, EnvironmentField::Name), "");
    EXPECT_EQ(AddOnRegister(nullptr), kTableNotLoaded);
    EXPECT_EQ(AddOnStart(fakehost::kToken), kTableNotLoaded);
    EXPECT_EQ(HostToken, nullptr);
    EXPECT_EQ(AddOnStop(), kTableNotLoaded);
    EXPECT_TRUE(fakehost::Current().calls.empty());
}

TEST_F(AddOnEntryTest, DescribeInAnotherApplicationReturns0AndWritesNothing) {
    SetImportedFuncAddrs(fakehost::MakeTable().data());
    EnvironmentRecord environment;
    std::memset(environment.bytes, 0x5A, sizeof(environment.bytes));
    SetField(environment, EnvironmentField::ApplicationKind, int32_t{2});
    const EnvironmentRecord before = environment;
    EXPECT_EQ(AddOnDescribe(&environment), 0);
    EXPECT_EQ(std::memcmp(before.bytes, environment.bytes, sizeof(before.bytes)), 0);
}

TEST_F(AddOnEntryTest, DescribeWritesNameAndDescriptionInTheDefaultCodeAndReturns2) {
    SetImportedFuncAddrs(fakehost::MakeTable().data());
    EnvironmentRecord environment;
    ZeroRecord(environment);
    SetField(environment, EnvironmentField::ApplicationKind, int32_t{1});
    EXPECT_EQ(AddOnDescribe(&environment), 2);
    EXPECT_EQ(TextAt(environment, 128), "OrvUpdate Brennerstein");
    // Windows-1250: "á" is 0xE1 and "í" is 0xED.
    EXPECT_EQ(TextAt(environment, 384), "Automatick\xE1 kontorla aktualizac\xED knihoven GDL");
    EXPECT_TRUE(AddOnName == GS::UniString(u"OrvUpdate Brennerstein"));
}

TEST_F(AddOnEntryTest, RegisterRegistersNothing) {
    SetImportedFuncAddrs(fakehost::MakeTable().data());
    EXPECT_EQ(AddOnRegister(nullptr), 0);
    EXPECT_TRUE(fakehost::Current().calls.empty());
}

TEST_F(AddOnEntryTest, StartStoresTheTokenAndSubscribesInOrder) {
    SetImportedFuncAddrs(fakehost::MakeTable().data());
    EXPECT_EQ(AddOnStart(fakehost::kToken), 0);
    EXPECT_EQ(HostToken, fakehost::kToken);
    const fakehost::Host& host = fakehost::Current();
    EXPECT_EQ(host.Entries(), (std::vector<std::string>{"CatchNewElement", "InstallElementObserver",
                                                        "CatchProjectEvent"}));
    EXPECT_EQ(host.typeFilter, nullptr);
    EXPECT_EQ(host.newElementHandler, &ElementEventHandler);
    EXPECT_EQ(host.observerHandler, &ElementEventHandler);
    EXPECT_EQ(host.projectHandler, &ProjectEventHandler);
    EXPECT_EQ(host.calls[2].numbers, (std::vector<long long>{0x00200027}));
    for (const fakehost::Call& call : host.calls) {
        EXPECT_EQ(call.token, fakehost::kToken);
    }
}

TEST_F(AddOnEntryTest, StartAnswersWhatTheProjectSubscriptionAnswersAndIgnoresTheOthers) {
    SetImportedFuncAddrs(fakehost::MakeTable().data());
    fakehost::Current().statuses["CatchNewElement"] = HostError::General;
    fakehost::Current().statuses["InstallElementObserver"] = HostError::General;
    EXPECT_EQ(AddOnStart(fakehost::kToken), 0);
    fakehost::Current().statuses["CatchProjectEvent"] = HostError::BadParameters;
    EXPECT_EQ(AddOnStart(fakehost::kToken), HostError::BadParameters);
}

TEST_F(AddOnEntryTest, StartWithoutTheSubscriptionEntriesAnswersNotSupported) {
    const HostFunctionTable empty{};
    SetImportedFuncAddrs(empty.data());
    EXPECT_EQ(AddOnStart(fakehost::kToken), static_cast<int32_t>(0x81060387u));
    EXPECT_EQ(HostToken, fakehost::kToken);
}

TEST_F(AddOnEntryTest, StopDestroysTheMonitorThenClearsTheToken) {
    StartWithFakeHost();
    ProjectEventHandler(ProjectEvent::OpenProject, 0);
    ASSERT_TRUE(monitor_record::MonitorExists());
    EXPECT_EQ(AddOnStop(), 0);
    EXPECT_FALSE(monitor_record::MonitorExists());
    EXPECT_EQ(monitor_record::Calls().back(), "destroy");
    EXPECT_EQ(HostToken, nullptr);
}

}  // namespace
