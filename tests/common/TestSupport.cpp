// TestSupport.cpp: fixtures shared by the common runtime's tests.
#include "TestSupport.h"

#include "common/CUtils.h"
#include "common/Logger.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

namespace testsupport {

namespace fs = std::filesystem;

ScopedCurrentFolder::ScopedCurrentFolder(const fs::path& folder) : previous(fs::current_path()) {
    fs::current_path(folder);
}

ScopedCurrentFolder::~ScopedCurrentFolder() { fs::current_path(previous); }

uint64_t FixedClock::microseconds = 0;

FixedClock::FixedClock(int year, int month, int day, int hour, int minute, int second) {
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    const time_t seconds = std::mktime(&local);
    microseconds = (static_cast<uint64_t>(seconds) + 11644473600ull) * 1000000ull;
    GetPlatformHooks().clock = &FixedClock::Now;
}

FixedClock::~FixedClock() { GetPlatformHooks().clock = nullptr; }

uint64_t FixedClock::Now() { return microseconds; }

std::vector<RecordedPlatform::Alert> RecordedPlatform::alerts;
std::vector<WString> RecordedPlatform::debugLines;

RecordedPlatform::RecordedPlatform() : saved(GetPlatformHooks()) {
    alerts.clear();
    debugLines.clear();
    GetPlatformHooks().messageBox = [](void*, const WString& caption, const WString& text,
                                       uint32_t type) {
        alerts.push_back({caption, text, type});
    };
    GetPlatformHooks().debugOutput = [](const WString& text) { debugLines.push_back(text); };
}

RecordedPlatform::~RecordedPlatform() { GetPlatformHooks() = saved; }

IsolatedLog::IsolatedLog() : saved(CUtils::GetModulePath()) {
    CUtils::SetModulePathOverride(folder.WideAt("module"));
}

IsolatedLog::~IsolatedLog() { CUtils::SetModulePathOverride(saved); }

std::string IsolatedLog::Text() const {
    Logger* logger = Logger::Instance();
    return logger != nullptr ? testfiles::ReadFileText(testfiles::Narrow(logger->GetLogFilePath()))
                             : std::string();
}

size_t CountOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

}  // namespace testsupport
