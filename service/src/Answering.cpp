// Answering.cpp: the answer to one request, apart from the network: the route, the faults of the
// query over the catalog's, and the check answer, the file, the byte source or the misbehaviour
// they ask for. Pure but for the files folder, which the settings reach.
#include "service/Answering.h"

#include "Catalog.h"
#include "Faults.h"
#include "PathText.h"
#include "RequestTarget.h"
#include "UrlText.h"
#include "Utf8Text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace orvservice {

namespace {

constexpr const char* kJsonType = "application/json; charset=utf-8";
constexpr const char* kTextType = "text/plain; charset=utf-8";
constexpr const char* kBinaryType = "application/octet-stream";

// Appends `text` as a JSON string. JSON is UTF-8, so a byte that is not part of a UTF-8 sequence
// (an id from a request, a text of the catalog) becomes U+FFFD.
void AppendJsonString(std::string& quoted, std::string_view text) {
    quoted += '"';
    for (std::size_t i = 0; i < text.size();) {
        const char c = text[i];
        const auto byte = static_cast<unsigned char>(c);
        const std::size_t length = Utf8Length(text.substr(i));
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (byte < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
            quoted += escaped;
        } else if (length == 0) {
            quoted += "\\ufffd";
        } else {
            quoted.append(text.substr(i, length));
        }
        i += std::max<std::size_t>(length, 1);
    }
    quoted += '"';
}

ServiceAnswer Answer(int status, const char* type, std::string body) {
    ServiceAnswer answer;
    answer.status = status;
    answer.headers.emplace_back("Content-Type", type);
    answer.body = AnswerBody::Text(std::move(body));
    return answer;
}

ServiceAnswer JsonError(int status, const std::string& message) {
    std::string body = "{\"error\":";
    AppendJsonString(body, message);
    return Answer(status, kJsonType, body + "}");
}

// The request's query keys "fault_NAME"; throws std::invalid_argument for a bad one.
Faults FaultsOfQuery(const RequestTarget& target) {
    Faults faults;
    for (const auto& [key, value] : target.query) {
        if (key.rfind("fault_", 0) != 0) {
            continue;
        }
        try {
            if (!SetFaultFromText(faults, key.substr(6), value)) {
                throw std::invalid_argument(std::string("unknown fault key; known: ") +
                                            FaultNames() + ", each after \"fault_\"");
            }
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("query key \"" + key + "\": " + error.what());
        }
    }
    return faults;
}

// The target without its "fault_redirect" keys; with "fault_redirect=0" when the catalog asks
// for the redirect, so that the second request is answered instead of redirected again.
std::string TargetAfterRedirect(const std::string& target, bool catalogRedirects) {
    const std::size_t mark = target.find('?');
    std::string result = target.substr(0, mark);
    std::string query;
    if (mark != std::string::npos) {
        std::istringstream pairs(target.substr(mark + 1));
        for (std::string pair; std::getline(pairs, pair, '&');) {
            // Decoded as the query's keys are, so that "fault_%72edirect" goes too.
            if (DecodePercent(pair.substr(0, pair.find('=')), true) == "fault_redirect") {
                continue;
            }
            query += (query.empty() ? "" : "&") + pair;
        }
    }
    if (catalogRedirects) {
        query += std::string(query.empty() ? "" : "&") + "fault_redirect=0";
    }
    return query.empty() ? result : result + "?" + query;
}

// The answer's body as the faults give it: replaced, and framed whole, in chunks, or cut.
ServiceAnswer Delivered(AnswerBody body, const char* contentType, const Faults& faults,
                        const std::string& fileName) {
    ServiceAnswer answer;
    answer.headers.emplace_back("Content-Type", faults.body ? kTextType : contentType);
    answer.body = faults.body ? AnswerBody::Text(*faults.body) : std::move(body);
    if (!faults.noContentDisposition.value_or(false)) {
        if (faults.disposition) {
            answer.headers.emplace_back("Content-Disposition", *faults.disposition);
        } else if (!fileName.empty() && faults.quotedFilename.value_or(false)) {
            std::string quoted;
            for (const char c : fileName) {
                quoted += (c == '"' || c == '\\') ? std::string("\\") + c : std::string(1, c);
            }
            answer.headers.emplace_back("Content-Disposition",
                                        "attachment; filename=\"" + quoted + "\"");
        } else if (!fileName.empty()) {
            answer.headers.emplace_back("Content-Disposition", "attachment; filename*=UTF-8''" +
                                                                   EncodeAttrChars(fileName));
        }
    }
    if (faults.closeMidBody.value_or(false)) {
        answer.framing = ServiceAnswer::Framing::CutInChunks;
    } else if (faults.chunked.value_or(false)) {
        answer.framing = ServiceAnswer::Framing::Chunked;
    } else if (faults.cutBody.value_or(false)) {
        answer.framing = ServiceAnswer::Framing::CutAfterLength;
    }
    return answer;
}

std::string Origin(const ServiceRequest& request, const AnswerSettings& settings) {
    return (settings.secure ? "https://" : "http://") +
           (request.host.empty() ? settings.listening : request.host);
}

// The redirect and the status a fault asks for, if any.
std::optional<ServiceAnswer> Misbehaviour(const ServiceRequest& request,
                                          const AnswerSettings& settings, const Faults& faults,
                                          const Faults& catalogFaults) {
    if (faults.redirect.value_or(false)) {
        ServiceAnswer answer = TextAnswer(302, "redirected by a fault");
        answer.headers.emplace_back(
            "Location",
            Origin(request, settings) +
                TargetAfterRedirect(request.target, catalogFaults.redirect.value_or(false)));
        return answer;
    }
    if (faults.status) {
        // These statuses carry no body by definition.
        if (*faults.status == 204 || *faults.status == 304) {
            return Answer(*faults.status, kTextType, "");
        }
        return TextAnswer(*faults.status,
                          "status " + std::to_string(*faults.status) + " answered by a fault");
    }
    return std::nullopt;
}

ServiceAnswer Check(const ServiceRequest& request, const AnswerSettings& settings,
                    const RequestTarget& target, const Catalog& catalog, const Faults& faults) {
    if (target.Has("format") && target.Value("format") != "json") {
        return JsonError(400, "only format=json is served");
    }
    const std::string id = target.Value("id");
    const std::string version = target.Value("version");
    if (id.empty() || version.empty()) {
        return JsonError(400, "the query needs \"id\" and \"version\"");
    }
    const CatalogObject* object = catalog.Find(id);
    if (object == nullptr) {
        return JsonError(404, "unknown id \"" + id + "\"");
    }

    // An older version without a file, and a version the catalog does not know, keep the three
    // false with the latest version.
    const auto& tests = object->testVersions;
    const auto& versions = object->versions;
    const bool upToDate = version == object->latest;
    const bool testVersion =
        !upToDate && std::find(tests.begin(), tests.end(), version) != tests.end();
    const bool updateAvailable =
        !upToDate && !testVersion && !object->file.empty() &&
        std::find(versions.begin(), versions.end(), version) != versions.end();
    std::string answer;
    answer.reserve(256);
    answer += "{\"test_version\":";
    answer += testVersion ? "true" : "false";
    answer += ",\"up_to_date\":";
    answer += upToDate ? "true" : "false";
    answer += ",\"update_available\":";
    answer += updateAvailable ? "true" : "false";
    if (updateAvailable) {
        const std::string base =
            settings.filesUrl.empty() ? Origin(request, settings) + "/files" : settings.filesUrl;
        answer += ",\"url\":";
        AppendJsonString(answer, base + "/" + EncodePathSegments(object->file));
    }
    answer += ",\"version\":";
    AppendJsonString(answer, testVersion ? version : object->latest);
    answer += '}';
    return Delivered(AnswerBody::Text(std::move(answer)), kJsonType, faults, "");
}

// The add-on saves a plain file under the name Content-Disposition gives: the last step only.
ServiceAnswer File(const std::string& path, const AnswerSettings& settings, const Faults& faults) {
    std::optional<std::string> bytes = settings.readFile(path);
    if (!bytes) {
        return TextAnswer(500, "the file cannot be read");
    }
    return Delivered(AnswerBody::Text(std::move(*bytes)), kBinaryType, faults, LastStep(path));
}

// The served path that "/files/..." asks for, each segment decoded on its own, so that "%2F" is
// a byte of a name (which no name holds) and never a step; empty for any other path.
std::string ServedPathOf(const std::string& target) {
    std::vector<std::string> steps;
    const std::string raw = target.substr(0, target.find('?'));
    for (std::size_t start = 1; start <= raw.size();) {
        const std::size_t slash = std::min(raw.find('/', start), raw.size());
        steps.push_back(DecodePercent(std::string_view(raw).substr(start, slash - start), false));
        start = slash + 1;
    }
    if (steps.size() < 2 || steps.size() > 3 || steps[0] != "files" ||
        !std::all_of(steps.begin() + 1, steps.end(), IsPlainFileName)) {
        return "";
    }
    const std::string path = steps.size() == 2 ? steps[1] : steps[1] + "/" + steps[2];
    return IsServedPath(path) ? path : "";
}

ServiceAnswer Bytes(const RequestTarget& target, const Faults& faults) {
    const std::string text = target.Value("size");
    std::size_t size = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), size);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size()) {
        return TextAnswer(400, "/bytes needs size=N, a whole number of bytes");
    }
    return Delivered(AnswerBody::Pattern(size), kBinaryType, faults, "");
}

// A reply without waits.
ServiceReply Now(ServiceAnswer answer) {
    ServiceReply reply;
    reply.answer = [answer = std::move(answer)] { return answer; };
    return reply;
}

}  // namespace

ServiceAnswer TextAnswer(int status, const std::string& message) {
    return Answer(status, kTextType, message + "\n");
}

ServiceReply ReplyTo(ServiceRequest request, std::shared_ptr<const Catalog> catalog,
                     const AnswerSettings& settings) {
    RequestTarget target = ParseTarget(request.target);
    if (request.method != "GET" && request.method != "HEAD") {
        return Now(TextAnswer(405, "only GET is served"));
    }
    if (target.path.rfind("/check&", 0) == 0) {
        return Now(TextAnswer(400, "the check address has no query of its own, so the add-on "
                                   "appended \"&format=json\" to the path; write check_url as "
                                   "http://HOST:PORT/check?id=ID&version=V"));
    }
    if (target.path == "/healthz") {
        return Now(TextAnswer(200, "ok"));
    }
    const bool isFile = target.path.rfind("/files/", 0) == 0;
    if (target.path != "/check" && target.path != "/bytes" && !isFile) {
        return Now(TextAnswer(404, "not found; this service answers /check, /files/NAME, "
                                   "/files/FOLDER/NAME, /bytes and /healthz"));
    }
    Faults requestFaults;
    try {
        requestFaults = FaultsOfQuery(target);
    } catch (const std::invalid_argument& error) {
        return Now(TextAnswer(400, error.what()));
    }

    const CatalogObject* object = nullptr;
    Faults catalogFaults;
    std::string name;
    if (target.path == "/check") {
        object = catalog->Find(target.Value("id"));
        catalogFaults = object != nullptr ? object->checkFaults : Faults{};
    } else if (isFile) {
        name = ServedPathOf(request.target);
        if (name.empty() || !settings.isFile(name)) {
            return Now(TextAnswer(404, "no such file"));
        }
        object = catalog->FindByFile(name);
        catalogFaults = object != nullptr ? object->fileFaults : Faults{};
    }
    const Faults faults = catalogFaults.OverriddenBy(requestFaults);
    ServiceReply reply;
    reply.hold = faults.hold.value_or(false);
    reply.delay = std::chrono::milliseconds(faults.delayMs.value_or(0));
    reply.answer = [request = std::move(request), &settings, target = std::move(target),
                    catalog = std::move(catalog), faults, catalogFaults, isFile,
                    name = std::move(name)] {
        if (auto misbehaviour = Misbehaviour(request, settings, faults, catalogFaults)) {
            return std::move(*misbehaviour);
        }
        if (target.path == "/check") {
            return Check(request, settings, target, *catalog, faults);
        }
        if (isFile) {
            return File(name, settings, faults);
        }
        return Bytes(target, faults);
    };
    return reply;
}

}  // namespace orvservice
