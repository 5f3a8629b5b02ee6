// Stats.cpp: orvservice stats. The log is read line by line, so that a log of any length needs
// no more memory than its counts; a line that is not in the Combined Log Format is counted and
// passed over, as a log cut short by a crash or written by another program may hold such lines.
#include "service/Stats.h"

#include "CommandFrame.h"
#include "PathText.h"
#include "RequestTarget.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <json/json.h>
#include <map>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace orvservice {

namespace {

constexpr const char* kUsage =
    "usage: orvservice stats LOG [--from YYYY-MM-DD] [--to YYYY-MM-DD] [--json]";

constexpr const char* kHelp =
    "Counts the version checks (requests for /check, whatever their answer) in LOG, the\n"
    "service's access log in the Combined Log Format, per object id and version, over the\n"
    "days from --from to --to (both included, each line's day as the log writes it; the\n"
    "whole log without them).\n\n"
    "  --json   the counts as JSON instead of a table\n\n"
    "Lines that are not in the format are passed over and counted. Exit status: 0 done,\n"
    "1 LOG cannot be read, 2 usage error.\n";

// A day as the number YYYYMMDD, which orders days as the calendar does.
using Day = int;

bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

bool IsDate(int year, int month, int day) {
    constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12 || day < 1) {
        return false;
    }
    const int last =
        kDays[static_cast<std::size_t>(month - 1)] + (month == 2 && IsLeapYear(year) ? 1 : 0);
    return day <= last;
}

// The number written by `count` decimal digits at the front of `text`, which it consumes.
std::optional<int> TakeDigits(std::string_view& text, std::size_t count) {
    if (text.size() < count) {
        return std::nullopt;
    }
    int value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return std::nullopt;
        }
        value = value * 10 + (text[i] - '0');
    }
    text.remove_prefix(count);
    return value;
}

bool TakeChar(std::string_view& text, char c) {
    if (text.empty() || text.front() != c) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

std::string DayText(Day day) {
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", day / 10000, day / 100 % 100, day % 100);
    return text;
}

// "YYYY-MM-DD", a real date.
std::optional<Day> ParseDayOption(std::string_view text) {
    const auto year = TakeDigits(text, 4);
    const bool dash1 = TakeChar(text, '-');
    const auto month = TakeDigits(text, 2);
    const bool dash2 = TakeChar(text, '-');
    const auto day = TakeDigits(text, 2);
    if (!year || !dash1 || !month || !dash2 || !day || !text.empty() ||
        !IsDate(*year, *month, *day)) {
        return std::nullopt;
    }
    return *year * 10000 + *month * 100 + *day;
}

// "24/Nov/2026:03:02:15 +0000", the time of a log line; gives its day as written.
std::optional<Day> ParseLogTime(std::string_view text) {
    constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto day = TakeDigits(text, 2);
    if (!day || !TakeChar(text, '/') || text.size() < 3) {
        return std::nullopt;
    }
    const auto month = std::find(kMonths.begin(), kMonths.end(), text.substr(0, 3));
    text.remove_prefix(3);
    const int monthNumber = static_cast<int>(month - kMonths.begin()) + 1;
    const auto year = TakeChar(text, '/') ? TakeDigits(text, 4) : std::nullopt;
    if (!year) {
        return std::nullopt;
    }
    const auto hour = TakeChar(text, ':') ? TakeDigits(text, 2) : std::nullopt;
    const auto minute = TakeChar(text, ':') ? TakeDigits(text, 2) : std::nullopt;
    const auto second = TakeChar(text, ':') ? TakeDigits(text, 2) : std::nullopt;
    const bool hasSign = TakeChar(text, ' ') && (TakeChar(text, '+') || TakeChar(text, '-'));
    const auto offsetHours = hasSign ? TakeDigits(text, 2) : std::nullopt;
    const auto offsetMinutes = hasSign ? TakeDigits(text, 2) : std::nullopt;
    if (month == kMonths.end() || !hour || !minute || !second || !offsetHours || !offsetMinutes ||
        !text.empty() || !IsDate(*year, monthNumber, *day) || *hour > 23 || *minute > 59 ||
        *second > 60 || *offsetHours > 23 || *offsetMinutes > 59) {
        return std::nullopt;
    }
    return *year * 10000 + monthNumber * 100 + *day;
}

// A field up to the next space; not empty.
std::optional<std::string_view> TakeToken(std::string_view& text) {
    const std::size_t end = std::min(text.find(' '), text.size());
    if (end == 0) {
        return std::nullopt;
    }
    const std::string_view token = text.substr(0, end);
    text.remove_prefix(end);
    return token;
}

// A field between `open` and `close`; inside double quotes a backslash escapes the next
// character ("\"", "\\") or, as "\xHH", a byte.
std::optional<std::string> TakeEnclosed(std::string_view& text, char open, char close) {
    if (!TakeChar(text, open)) {
        return std::nullopt;
    }
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == close) {
            text.remove_prefix(i + 1);
            return value;
        }
        if (c != '\\' || open != '"' || i + 1 >= text.size()) {
            value += c;
            continue;
        }
        ++i;
        std::string_view hex = text.substr(i + 1, 2);
        if (text[i] == 'x' && hex.size() == 2 &&
            std::isxdigit(static_cast<unsigned char>(hex[0])) &&
            std::isxdigit(static_cast<unsigned char>(hex[1]))) {
            value += static_cast<char>(std::stoi(std::string(hex), nullptr, 16));
            i += 2;
        } else {
            value += text[i];
        }
    }
    return std::nullopt;
}

struct LogLine {
    Day day = 0;
    std::string request;  // "METHOD TARGET PROTOCOL" as logged
};

// host ident user [time] "request" status bytes "referer" "user-agent"
std::optional<LogLine> ParseLogLine(std::string_view text) {
    LogLine line;
    for (int field = 0; field < 3; ++field) {
        if (!TakeToken(text) || !TakeChar(text, ' ')) {
            return std::nullopt;
        }
    }
    const std::optional<std::string> time = TakeEnclosed(text, '[', ']');
    const std::optional<Day> day = time ? ParseLogTime(*time) : std::nullopt;
    const bool spaced = TakeChar(text, ' ');
    std::optional<std::string> request = TakeEnclosed(text, '"', '"');
    if (!day || !spaced || !request || !TakeChar(text, ' ')) {
        return std::nullopt;
    }
    const auto status = TakeDigits(text, 3);
    if (!status || *status < 100 || !TakeChar(text, ' ')) {
        return std::nullopt;
    }
    const auto bytes = TakeToken(text);
    if (!bytes || (*bytes != "-" && !std::all_of(bytes->begin(), bytes->end(),
                                                 [](char c) { return c >= '0' && c <= '9'; }))) {
        return std::nullopt;
    }
    const bool referer = TakeChar(text, ' ') && TakeEnclosed(text, '"', '"');
    const bool agent = referer && TakeChar(text, ' ') && TakeEnclosed(text, '"', '"');
    while (TakeChar(text, ' ') || TakeChar(text, '\t')) {
    }
    if (!agent || !text.empty()) {
        return std::nullopt;
    }
    line.day = *day;
    line.request = std::move(*request);
    return line;
}

// The target of a request for /check, as the service routes it; nothing for any other request.
std::optional<std::string> CheckTarget(const std::string& request) {
    const std::size_t space = request.find(' ');
    if (space == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t end = request.find(' ', space + 1);
    const std::string target =
        request.substr(space + 1, end == std::string::npos ? std::string::npos : end - space - 1);
    if (target.empty() || target.front() != '/' || ParseTarget(target).path != "/check") {
        return std::nullopt;
    }
    return target;
}

// Versions in the order a person reads them: runs of digits by their value ("1.9" before
// "1.10"), everything else byte by byte.
struct VersionOrder {
    bool operator()(const std::string& a, const std::string& b) const {
        std::size_t i = 0;
        std::size_t j = 0;
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        while (i < a.size() && j < b.size()) {
            if (isDigit(a[i]) && isDigit(b[j])) {
                std::size_t iEnd = i;
                std::size_t jEnd = j;
                while (iEnd < a.size() && isDigit(a[iEnd])) {
                    ++iEnd;
                }
                while (jEnd < b.size() && isDigit(b[jEnd])) {
                    ++jEnd;
                }
                std::string_view x = std::string_view(a).substr(i, iEnd - i);
                std::string_view y = std::string_view(b).substr(j, jEnd - j);
                x.remove_prefix(std::min(x.find_first_not_of('0'), x.size()));
                y.remove_prefix(std::min(y.find_first_not_of('0'), y.size()));
                if (x.size() != y.size()) {
                    return x.size() < y.size();
                }
                if (x != y) {
                    return x < y;
                }
                i = iEnd;
                j = jEnd;
            } else if (a[i] != b[j]) {
                return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
            } else {
                ++i;
                ++j;
            }
        }
        if (a.size() - i != b.size() - j) {
            return a.size() - i < b.size() - j;
        }
        // Equal by value ("1.01" and "1.1"): the bytes decide, so that both stay apart.
        return a < b;
    }
};

struct Options {
    std::string log;
    std::optional<Day> from;
    std::optional<Day> to;
    bool json = false;
    bool help = false;
};

Options ParseArguments(const std::vector<std::string>& args) {
    Options options;
    std::vector<std::string> positional;
    bool fromSeen = false;
    bool toSeen = false;
    for (std::size_t i = 2; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--help" || arg == "-h") {
            options.help = true;
            return options;
        }
        if (arg == "--json") {
            options.json = true;
        } else if (arg == "--from" || arg == "--to") {
            bool& seen = arg == "--from" ? fromSeen : toSeen;
            if (seen) {
                throw UsageError(arg + " is given twice");
            }
            seen = true;
            if (i + 1 >= args.size()) {
                throw UsageError(arg + " needs a day, YYYY-MM-DD");
            }
            const std::optional<Day> day = ParseDayOption(args[++i]);
            if (!day) {
                throw UsageError(arg + " takes a day as YYYY-MM-DD, not \"" + args[i] + "\"");
            }
            (arg == "--from" ? options.from : options.to) = day;
        } else if (arg.size() > 1 && arg[0] == '-') {
            throw UsageError("unknown option \"" + arg + "\"");
        } else {
            positional.push_back(arg);
        }
    }
    if (positional.size() != 1) {
        throw UsageError(positional.empty()
                             ? "the LOG to read is missing"
                             : "one LOG only, not " + std::to_string(positional.size()));
    }
    options.log = positional.front();
    if (options.from && options.to && *options.from > *options.to) {
        throw UsageError("--from " + DayText(*options.from) + " comes after --to " +
                         DayText(*options.to));
    }
    return options;
}

struct Counts {
    std::map<std::string, std::map<std::string, long long, VersionOrder>> checks;  // id, version
    long long total = 0;
    long long withoutId = 0;
    long long lines = 0;
    long long malformed = 0;
    std::optional<Day> first;  // the earliest and latest day of a line in the log
    std::optional<Day> last;
};

void Count(const std::string& text, const Options& options, Counts& counts) {
    std::string_view line = text;
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    if (line.empty()) {
        return;
    }
    ++counts.lines;
    const std::optional<LogLine> parsed = ParseLogLine(line);
    if (!parsed) {
        ++counts.malformed;
        return;
    }
    counts.first = std::min(counts.first.value_or(parsed->day), parsed->day);
    counts.last = std::max(counts.last.value_or(parsed->day), parsed->day);
    if ((options.from && parsed->day < *options.from) ||
        (options.to && parsed->day > *options.to)) {
        return;
    }
    const std::optional<std::string> target = CheckTarget(parsed->request);
    if (!target) {
        return;
    }
    ++counts.total;
    const std::string id = ParseTarget(*target).Value("id");
    if (id.empty()) {
        ++counts.withoutId;
        return;
    }
    ++counts.checks[id][ParseTarget(*target).Value("version")];
}

// The days counted: the options', else the log's first and last; empty when neither is known.
std::string FromText(const Options& options, const Counts& counts) {
    const std::optional<Day> day = options.from ? options.from : counts.first;
    return day ? DayText(*day) : "";
}

std::string ToText(const Options& options, const Counts& counts) {
    const std::optional<Day> day = options.to ? options.to : counts.last;
    return day ? DayText(*day) : "";
}

void WriteJson(const Options& options, const Counts& counts, std::ostream& out) {
    Json::Value root(Json::objectValue);
    const std::string from = FromText(options, counts);
    const std::string to = ToText(options, counts);
    root["from"] = from.empty() ? Json::Value() : Json::Value(from);
    root["to"] = to.empty() ? Json::Value() : Json::Value(to);
    root["objects"] = Json::Value(Json::arrayValue);
    for (const auto& [id, versions] : counts.checks) {
        Json::Value object(Json::objectValue);
        object["id"] = id;
        object["versions"] = Json::Value(Json::arrayValue);
        long long sum = 0;
        for (const auto& [version, count] : versions) {
            Json::Value entry(Json::objectValue);
            entry["version"] = version;
            entry["checks"] = Json::Int64(count);
            object["versions"].append(entry);
            sum += count;
        }
        object["checks"] = Json::Int64(sum);
        root["objects"].append(object);
    }
    root["checks"] = Json::Int64(counts.total);
    root["checks_without_id"] = Json::Int64(counts.withoutId);
    root["lines"] = Json::Int64(counts.lines);
    root["malformed_lines"] = Json::Int64(counts.malformed);
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    out << Json::writeString(builder, root) << "\n";
}

// The characters of UTF-8 text, for the table's columns.
std::size_t Width(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

std::string Counted(long long count, const char* one, const char* more) {
    return std::to_string(count) + " " + (count == 1 ? one : more);
}

// A check without a version, as the table shows it.
std::string VersionText(const std::string& version) { return version.empty() ? "(none)" : version; }

std::string Padded(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, Width(text)), ' ');
}

void WriteTable(const Options& options, const Counts& counts, std::ostream& out) {
    const std::string from = FromText(options, counts);
    const std::string to = ToText(options, counts);
    out << "Version checks per object and version, " << (from.empty() ? "-" : from) << " to "
        << (to.empty() ? "-" : to) << ", from " << options.log << "\n";
    if (counts.checks.empty()) {
        out << "\nno checks with an id in this period\n";
    } else {
        std::size_t idWidth = Width("id");
        std::size_t versionWidth = Width("version");
        for (const auto& [id, versions] : counts.checks) {
            idWidth = std::max(idWidth, Width(id));
            for (const auto& entry : versions) {
                versionWidth = std::max(versionWidth, Width(VersionText(entry.first)));
            }
        }
        out << "\n"
            << Padded("id", idWidth) << "  " << Padded("version", versionWidth) << "  "
            << std::setw(8) << "checks"
            << "\n";
        for (const auto& [id, versions] : counts.checks) {
            for (const auto& [version, count] : versions) {
                out << Padded(id, idWidth) << "  " << Padded(VersionText(version), versionWidth)
                    << "  " << std::setw(8) << count << "\n";
            }
        }
    }
    out << "\n" << Counted(counts.total, "check", "checks") << " in the period";
    if (counts.withoutId != 0) {
        out << ", " << counts.withoutId << " of them without an id";
    }
    out << "; " << Counted(counts.lines, "line", "lines") << " read, " << counts.malformed
        << " skipped as malformed\n";
}

// Counts the log and prints the table or the JSON; throws std::runtime_error when the log
// cannot be read.
void Report(const Options& options, std::ostream& out, std::ostream&) {
    const std::filesystem::path path = PathOfUtf8(options.log);
    std::error_code error;
    std::ifstream stream;
    // A folder opens as a stream on Linux, and then reads as an empty log.
    if (!std::filesystem::is_directory(path, error)) {
        stream.open(path, std::ios::binary);
    }
    if (!stream.is_open()) {
        throw std::runtime_error(options.log + " cannot be read");
    }
    Counts counts;
    std::string line;
    while (std::getline(stream, line)) {
        Count(line, options, counts);
    }
    if (stream.bad()) {
        throw std::runtime_error(options.log + " cannot be read to its end");
    }
    if (options.json) {
        WriteJson(options, counts, out);
    } else {
        WriteTable(options, counts, out);
    }
}

}  // namespace

int RunStats(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    return RunCommand({"stats", kUsage, kHelp}, args, out, err, ParseArguments, Report);
}

}  // namespace orvservice
