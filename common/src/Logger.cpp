// Logger.cpp: the process-wide log and its three sinks.
#include "common/Logger.h"

#include "common/CUtils.h"
#include "common/Config.h"
#include "common/PlatformHooks.h"
#include "utils_platforms/Platform.h"

#include <algorithm>
#include <ctime>

namespace {

constexpr char16_t kConsoleTag[] = u" [Orvanta Tools] ";
constexpr char16_t kErrorTag[] = u"ERROR ";

// The instance and whether it may still be made or used. Plain values, never destroyed, so that
// a log call from a late destructor reads them safely; the guard in Logger::Instance owns the
// instance and tears it down at process exit.
Logger* instance = nullptr;
bool alive = false;

// Rendering an entry may log in turn: text that is no UTF-8 logs its conversion failure, and
// that entry is written before the one that met it. An entry met inside that inner one is
// dropped, so that a failure that recurs at every level (a module path that is no UTF-8, say)
// cannot recurse without end.
constexpr int kMostNestedEntries = 1;
thread_local int logDepth = 0;

struct LogDepthScope {
    LogDepthScope() { ++logDepth; }
    ~LogDepthScope() { --logDepth; }
};

std::string LocalTimeText(const char* pattern) {
    const std::tm local = platform::LocalTime(CUtils::GetTimeMicroseconds());
    char text[80];
    const size_t length = std::strftime(text, sizeof text, pattern, &local);
    return std::string(text, length);
}

}  // namespace

Logger* Logger::Instance() {
    struct Teardown {
        Teardown() { alive = true; }
        ~Teardown() {
            alive = false;
            delete instance;
            instance = nullptr;
        }
    };
    static Teardown teardown;
    if (!alive) {
        return nullptr;
    }
    if (instance == nullptr) {
        instance = new Logger(*ConfigImpl::Config());
    }
    return instance;
}

Logger::Logger(const ConfigImpl& config)
    : logFileNames(std::make_unique<std::map<WString, WString>>()),
      consoleBuffer(std::make_unique<WString>()) {
    consoleLevel = config.GetConfigInt("consoleLog", 1);
    debugviewLevel = config.GetConfigInt("debugviewLog", 0);
    fileLevel = config.GetConfigInt("fileLog", 1);
    if (consoleLevel != 0) {
        consoleBuffer->reserve(kConsoleReserve);
    }
}

bool Logger::FileWanted(bool isError) const { return fileLevel > (isError ? 0 : 1); }

bool Logger::ConsoleWanted(bool isError) const { return consoleLevel > (isError ? 0 : 1); }

bool Logger::Log(LogTarget target, bool isError, const FormatText& sourceFile, int32_t line,
                 const FormatText& function, const FormattedMessage& message) {
    if (target == LogDefault && !FileWanted(isError) && !ConsoleWanted(isError)) {
        return false;
    }
    if (logDepth > kMostNestedEntries) {
        return false;
    }
    const LogDepthScope scope;
    WString text = FormatWide(message);
    if (target == LogBufferOnly || (target == LogDefault && ConsoleWanted(isError))) {
        WriteConsole(isError, std::move(text));
    }
    if (target == LogFileOnly || (target == LogDefault && FileWanted(isError))) {
        WriteFile(sourceFile, line, function, message);
    }
    return true;
}

void Logger::WriteConsole(bool isError, WString text) {
    if (isError) {
        text.insert(0, kErrorTag);
    }
    text.insert(0, kConsoleTag);
    const std::string time = GetTimeString();
    text.insert(0, WString(time.begin(), time.end()));
    text += u'\n';
    const size_t length = text.size();
    // Trailing line feeds of the message are ended; `last` stops on its last other character.
    size_t last = length - 2;
    while (text[last] == u'\n') {
        text[last + 1] = u'\0';
        --last;
    }
    WString& buffer = *consoleBuffer;
    if (buffer.size() + length > buffer.capacity()) {
        buffer.erase(0, std::max(kConsoleCut, length));
        if (buffer.size() > 4) {
            buffer.replace(0, 4, u"...\n");
        }
    }
    // The range ends before `last`: the buffer gets each line without its final character and
    // without a line end, entries standing directly behind each other. That is how its text is
    // made.
    buffer.append(text, 0, last);
    if (debugviewLevel > 0) {
        const WString line = text.substr(0, text.find(u'\0'));
        const auto debugOutput = GetPlatformHooks().debugOutput;
        if (debugOutput != nullptr) {
            debugOutput(line);
        } else {
            platform::DebugOutput(line);
        }
    }
}

void Logger::WriteFile(const FormatText& sourceFile, int32_t line, const FormatText& function,
                       const FormattedMessage& message) {
    const std::string lineText = std::to_string(line);
    const std::string source = RenderNarrow(sourceFile);
    const std::string body = FormatNarrow(message);
    const std::string label = RenderNarrow(function);
    // The time is taken again here, so the two sinks may differ by a second.
    const std::string time = GetTimeString();
    const std::string entry =
        time + " [ " + label + " ] " + body + " (" + source + ":" + lineText + ")\n";
    CUtils::AppendStringToFile(GetLogFilePath(), entry);
}

WString Logger::GetLogFilePath() {
    const WString module = CUtils::GetModulePath();
    const auto known = logFileNames->find(module);
    if (known != logFileNames->end()) {
        return known->second;
    }
    // The stamp of the first written entry fixes the file for the process: "%I" is the 12-hour
    // hour, and there is no mark for the half of the day.
    const std::string stamp = LocalTimeText("%d_%m_%I_%M");
    const WString path = module + u"_" + WString(stamp.begin(), stamp.end()) + u".log";
    logFileNames->emplace(module, path);
    return path;
}

std::string Logger::GetTimeString() { return LocalTimeText("%I:%M:%S"); }

bool LogMessage(bool isError, const FormatText& sourceFile, int32_t line,
                const FormatText& function, const FormattedMessage& message) {
    Logger* logger = Logger::Instance();
    return logger != nullptr &&
           logger->Log(LogDefault, isError, sourceFile, line, function, message);
}
