// AccessLog.cpp: the Combined Log Format's fields, in UTC, written a whole line at a time.
#include "AccessLog.h"

#include "PathText.h"
#include "service/VersionService.h"

#include <cstdio>
#include <iostream>

namespace orvservice {

namespace {

// A header's value in the log's double quotes: quotes and backslashes escaped, control bytes as
// \xHH, so that one request is always one line.
std::string Quoted(const std::string& text) {
    if (text.empty()) {
        return "\"-\"";
    }
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (byte < 0x20 || byte == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
            quoted += escaped;
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

std::string LogTime(std::chrono::system_clock::time_point when) {
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto day = std::chrono::floor<std::chrono::days>(when);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(when - day));
    char text[40];
    std::snprintf(text, sizeof text, "[%02u/%s/%04d:%02d:%02d:%02d +0000]",
                  static_cast<unsigned>(date.day()),
                  kMonths[static_cast<unsigned>(date.month()) - 1], static_cast<int>(date.year()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

}  // namespace

std::string CombinedLogLine(const HttpRequest& request, int status, std::size_t bytes,
                            std::chrono::system_clock::time_point when) {
    const std::string requestLine =
        request.method + " " + request.target + " HTTP/" + (request.version == 10 ? "1.0" : "1.1");
    return (request.remoteAddress.empty() ? "-" : request.remoteAddress) + " - - " + LogTime(when) +
           " " + Quoted(requestLine) + " " + std::to_string(status) + " " +
           (bytes == 0 ? std::string("-") : std::to_string(bytes)) + " " + Quoted(request.referer) +
           " " + Quoted(request.userAgent);
}

AccessLog::AccessLog(bool toStandardOutput, const std::filesystem::path& path)
    : toStandardOutput(toStandardOutput) {
    if (!path.empty()) {
        file.open(path, std::ios::app | std::ios::binary);
        if (!file) {
            throw ServiceError("cannot write the access log " + Utf8OfPath(path));
        }
    }
}

void AccessLog::Write(const HttpRequest& request, int status, std::size_t bytes) {
    const std::string line =
        CombinedLogLine(request, status, bytes, std::chrono::system_clock::now()) + "\n";
    const std::lock_guard<std::mutex> lock(mutex);
    if (toStandardOutput) {
        std::cout << line << std::flush;
    }
    if (file.is_open()) {
        file << line << std::flush;
    }
}

}  // namespace orvservice
