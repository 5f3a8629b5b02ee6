// ShellFixture.h: puts the add-on's process-wide values back to their state at load before each
// test, and hands the shell the recording host.
#pragma once

#include "AddOn.h"
#include "FakeHost.h"
#include "RecordingMonitor.h"
#include "addon/ObjectsMonitor.h"

#include <gtest/gtest.h>

class ShellTest : public ::testing::Test {
protected:
    void SetUp() override {
        MonitorDestroy();
        HostTable = {};
        HostTableLoaded = 0;
        HostToken = nullptr;
        fakehost::Reset();
        monitor_record::Calls().clear();
    }
    void TearDown() override {
        MonitorDestroy();
        HostToken = nullptr;
    }

    // The host's start: table, describe, register, start.
    void StartWithFakeHost() {
        const HostFunctionTable table = fakehost::MakeTable();
        SetImportedFuncAddrs(table.data());
        AddOnStart(fakehost::kToken);
        fakehost::Current().calls.clear();
        monitor_record::Calls().clear();
    }
};
