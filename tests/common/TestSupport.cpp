// TestSupport.cpp: fixtures shared by the common runtime's tests.
#include "TestSupport.h"

#include "common/CUtils.h"
#include "common/Logger.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <unistd.h>

namespace testsupport {

namespace fs = std::filesystem;

WString TempFolder::WidePath() const { return CUtils::StringUTF8ToWstring(path); }

WString TempFolder::WideAt(const std::string& name) const {
    return CUtils::StringUTF8ToWstring(At(name));
}

ScopedCurrentFolder::ScopedCurrentFolder(const std::string& folder)
    : previous(fs::current_path().string()) {
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
    return logger != nullptr ? ReadFile(CUtils::WstringToStringUTF8(logger->GetLogFilePath()))
                             : std::string();
}

size_t CountOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
}

bool Exists(const std::string& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

std::vector<std::string> ListNames(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace testsupport
