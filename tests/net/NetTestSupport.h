// NetTestSupport.h: what the network tests share: text conversions, a listener that records
// what it is told, a stand-in clock, and the failure a request ends with.
#pragma once

#include "NetTestPlatform.h"
#include "common/PlatformHooks.h"
#include "common/WideString.h"
#include "hostkit/UniString.h"
#include "net/HttpGet.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace nettest {

inline GS::UniString Uni(const std::string& utf8) { return GS::UniString(utf8.c_str(), CC_UTF8); }
inline WString Wide(const GS::UniString& text) {
    return WString(text.ToUStr().Get(), text.GetLength());
}
inline std::string Utf8(const GS::UniString& text) { return text.ToCStr(CC_UTF8).Get(); }

// Records each call in order.
class RecordingListener final : public GetProgressListener {
public:
    struct Progress {
        uint32_t received;
        int32_t total;
        int32_t percent;
    };
    void OnProgress(uint32_t received, int32_t total, int32_t percent) override {
        progress.push_back({received, total, percent});
        calls.push_back("progress");
    }
    void OnFileName(const GS::UniString& name) override {
        names.push_back(Wide(name));
        calls.push_back("name");
    }

    std::vector<Progress> progress;
    std::vector<WString> names;
    std::vector<std::string> calls;
};

// While alive, CUtils::GetTimeMicroseconds advances by `step` microseconds at every reading, so
// the 50 ms rule of the progress reports can be steered.
class SteppingClock {
public:
    explicit SteppingClock(uint64_t step) : previous(GetPlatformHooks().clock) {
        Step() = step;
        Now() = 13'000'000'000'000'000ull;
        Count() = 0;
        GetPlatformHooks().clock = [] {
            ++Count();
            return Now() += Step();
        };
    }
    ~SteppingClock() { GetPlatformHooks().clock = previous; }
    SteppingClock(const SteppingClock&) = delete;
    SteppingClock& operator=(const SteppingClock&) = delete;

    // How often the clock has been read.
    uint64_t Readings() const { return Count(); }

private:
    static uint64_t& Step() {
        static uint64_t step = 0;
        return step;
    }
    static uint64_t& Now() {
        static uint64_t now = 0;
        return now;
    }
    static uint64_t& Count() {
        static uint64_t count = 0;
        return count;
    }
    uint64_t (*previous)();
};

// Sets an environment variable for the life of the object, and restores it after.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const std::optional<std::string>& value) : name(name) {
        if (const char* old = std::getenv(name))
            previous = old;
        SetEnvironment(name, value);
    }
    ~ScopedEnvironment() { SetEnvironment(name, previous); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string name;
    std::optional<std::string> previous;
};

// How a request failed: the text, and whether it was a std::runtime_error rather than a plain
// std::exception. `thrown` is false when it did not fail.
struct Failure {
    bool thrown = false;
    std::string text;
    bool runtimeError = false;
};

inline Failure FailureOf(const std::string& url, GetProgressListener* listener = nullptr) {
    Failure failure;
    try {
        HttpGet(Uni(url), listener);
    } catch (const std::runtime_error& error) {
        failure = {true, error.what(), true};
    } catch (const std::exception& error) {
        failure = {true, error.what(), false};
    }
    return failure;
}

}  // namespace nettest
