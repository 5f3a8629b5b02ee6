// Logger.h: the process-wide log.
//
// One Logger takes entries and sends them to up to three sinks: a text file beside the module, a
// bounded wide-text buffer in memory (the console sink) and the debug channel. An entry is an
// error or not; the keys "fileLog" and "consoleLog" say 0 off, 1 errors only, 2 and above all
// entries, and "debugviewLog" above 0 copies console lines to the debug channel. The levels are
// read once, from the configuration, when the instance is made; the condition of each sink is
// tested before anything is rendered.
//
// File line:    time " [ " function " ] " message " (" source ":" line ")\n"   (UTF-8)
// Console line: time " [Orvanta Tools] " ["ERROR "] message
// Times use the 12-hour clock "%I:%M:%S" without a mark for the half of the day. The file is the
// module's own path, "_", the stamp "%d_%m_%I_%M" of the first written entry, and ".log".
//
// The instance is made at the first call of Instance() and torn down at process exit; from then
// on Instance() gives null and LogMessage returns false, so log calls from late destructors are
// safe. Nothing here takes a lock.
#pragma once

#include "common/MessageFormat.h"
#include "common/WideString.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

class ConfigImpl;

enum LogTarget : int32_t {
    LogDefault = 0,     // the sinks the configuration selects
    LogBufferOnly = 1,  // the memory sink alone
    LogFileOnly = 2,    // the file alone
};

class Logger {
public:
    // Characters the memory sink reserves, and the least it drops when full.
    static constexpr size_t kConsoleReserve = 65536;
    static constexpr size_t kConsoleCut = 16384;

    // The process's instance; null once the process has begun to tear it down.
    static Logger* Instance();

    // Reads the three levels from `config`.
    explicit Logger(const ConfigImpl& config);

    bool Log(LogTarget target, bool isError, const FormatText& sourceFile, int32_t line,
             const FormatText& function, const FormattedMessage& message);

    WString GetLogFilePath();
    // The local time as "%I:%M:%S".
    static std::string GetTimeString();

    // The memory sink's text and capacity, for whoever inspects the log.
    const WString& GetConsoleBuffer() const { return *consoleBuffer; }
    size_t GetConsoleCapacity() const { return consoleBuffer->capacity(); }

private:
    bool FileWanted(bool isError) const;
    bool ConsoleWanted(bool isError) const;
    void WriteConsole(bool isError, WString text);
    void WriteFile(const FormatText& sourceFile, int32_t line, const FormatText& function,
                   const FormattedMessage& message);

    std::unique_ptr<std::map<WString, WString>> logFileNames;
    std::unique_ptr<WString> consoleBuffer;
    int32_t fileLevel = 0;
    int32_t consoleLevel = 0;
    int32_t debugviewLevel = 0;
};

// What every caller uses: Logger::Log with LogDefault. False when there is no instance or
// nothing was to be written.
bool LogMessage(bool isError, const FormatText& sourceFile, int32_t line,
                const FormatText& function, const FormattedMessage& message);
