// MonitorOnFakeHost.h: the fixture of the in-process tests of the real monitor behind the shell:
// the recording host table installed, and no monitor before or after a test.
#pragma once

#include "AddOn.h"
#include "FakeHost.h"
#include "addon/ObjectsMonitor.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

class MonitorOnFakeHost : public ::testing::Test {
protected:
    void SetUp() override {
        MonitorDestroy();
        fakehost::Reset();
        const HostFunctionTable table = fakehost::MakeTable();
        SetImportedFuncAddrs(table.data());
        HostToken = fakehost::kToken;
    }

    void TearDown() override {
        MonitorDestroy();
        HostToken = nullptr;
    }
};

// How often the add-on called the host's `entry`.
inline long CallsOf(const std::string& entry) {
    const auto entries = fakehost::Current().Entries();
    return std::count(entries.begin(), entries.end(), entry);
}
