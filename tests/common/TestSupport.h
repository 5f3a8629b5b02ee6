// TestSupport.h: fixtures shared by the common runtime's tests.
#pragma once

#include "TestFiles.h"
#include "common/Config.h"
#include "common/PlatformHooks.h"
#include "common/WideString.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

namespace testsupport {

// Runs the test in another current folder.
class ScopedCurrentFolder {
public:
    explicit ScopedCurrentFolder(const std::filesystem::path& folder);
    ~ScopedCurrentFolder();

private:
    std::filesystem::path previous;
};

// Stands in a fixed local time for the system clock while it lives.
class FixedClock {
public:
    FixedClock(int year, int month, int day, int hour, int minute, int second);
    ~FixedClock();
    static uint64_t Now();

private:
    static uint64_t microseconds;
};

// Records message boxes and debug output instead of writing them to standard error.
class RecordedPlatform {
public:
    struct Alert {
        WString caption;
        WString text;
        uint32_t type;
    };
    RecordedPlatform();
    ~RecordedPlatform();

    static std::vector<Alert> alerts;
    static std::vector<WString> debugLines;

private:
    PlatformHooks saved;
};

// A configuration read from a file, as a configured build would have it.
class FileConfig : public ConfigImpl {
public:
    explicit FileConfig(const WString& path) : ConfigImpl(path) { Init(); }
};

// Sends the log to a file of this test alone, so that entries of tests running in parallel
// processes never mix with the ones checked here. The log file follows the module's path.
class IsolatedLog {
public:
    IsolatedLog();
    ~IsolatedLog();
    IsolatedLog(const IsolatedLog&) = delete;
    IsolatedLog& operator=(const IsolatedLog&) = delete;

    // What the process's log file holds now.
    std::string Text() const;

private:
    testfiles::TempFolder folder;
    WString saved;
};

// How often `part` stands in `text`, overlaps included.
size_t CountOf(const std::string& text, const std::string& part);

}  // namespace testsupport
