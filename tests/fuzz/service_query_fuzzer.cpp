// service_query_fuzzer.cpp: the libFuzzer target of the version service's answer to a request.
// Each input is the target of a GET (path and query), answered as the service answers it once the
// waits of its faults are over (orvservice::ReplyTo), from a small fixed catalog and files held in
// memory: no network, no disk. Every answer must have the form service_fuzz_support checks; a
// check answer must agree with the catalog; a redirect must lead to an answer that is none.
#include "service/Answering.h"
#include "service/VersionService.h"
#include "service_fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace {

using servicefuzz::Finding;

// The README's catalog, and beside it an object that a catalog fault redirects, a file whose name
// needs quoting and percent-encoding, a file that cannot be read, and a plain part in a folder of
// its own, as publish places one.
constexpr char kCatalog[] = R"({"objects": [
    {"id": "D01", "versions": ["1.0", "1.1", "2.0"], "latest": "2.0",
     "test_versions": ["2.1-beta"], "file": "D01-2.0.zip"},
    {"id": "W01", "versions": ["1.0", "1.1"], "latest": "1.1", "file": "W01 \"1.1\"+\u00e9.zip",
     "faults": {"check": {"delay_ms": 500}, "file": {"quoted_filename": true}}},
    {"id": "L01", "versions": ["1.0", "1.5"], "latest": "1.5"},
    {"id": "R01", "versions": ["1", "2"], "latest": "2", "file": "R01.zip",
     "faults": {"check": {"redirect": true}, "file": {"chunked": true, "hold": true}}},
    {"id": "X01", "versions": ["1.0", "2.0"], "latest": "2.0", "file": "X01.zip",
     "faults": {"file": {"status": 503}}},
    {"id": "G01", "versions": ["1.0", "2.0"], "latest": "2.0", "file": "G01-2.0/G01 Door.gsm"}
]})";

constexpr char kHost[] = "updates.example:8080";

// The files folder: X01.zip is there but cannot be read.
const std::map<std::string, std::string>& Files() {
    static const std::map<std::string, std::string> files = {
        {"D01-2.0.zip", "PK D01"},
        {"W01 \"1.1\"+\xC3\xA9.zip", "PK W01"},
        {"R01.zip", std::string("PK\0R01", 6)},
        {"G01-2.0/G01 Door.gsm", "<Symbol/>"},
    };
    return files;
}

const orvservice::AnswerSettings& Settings() {
    static const orvservice::AnswerSettings settings = [] {
        orvservice::AnswerSettings made;
        made.listening = "127.0.0.1:41234";
        made.isFile = [](const std::string& name) {
            return Files().count(name) != 0 || name == "X01.zip";
        };
        made.readFile = [](const std::string& name) -> std::optional<std::string> {
            const auto found = Files().find(name);
            return found == Files().end() ? std::nullopt : std::optional(found->second);
        };
        return made;
    }();
    return settings;
}

std::shared_ptr<const orvservice::Catalog> FixedCatalog() {
    static const std::shared_ptr<const orvservice::Catalog> catalog = [] {
        try {
            return orvservice::ReadCatalogText(
                kCatalog, "fixed",
                {"files", [](const std::string& name) { return Settings().isFile(name); }});
        } catch (const orvservice::ServiceError& error) {
            Finding(std::string("the fixed catalog is refused: ") + error.what());
        }
    }();
    return catalog;
}

// What Beast's parser lets through as a request target: no control character, no space.
bool IsTarget(const std::string& target) {
    for (const char ch : target) {
        const auto c = static_cast<unsigned char>(ch);
        if (c <= 0x20 || c == 0x7F) {
            return false;
        }
    }
    return !target.empty();
}

servicefuzz::Taken Answer(const std::string& target) {
    const orvservice::ServiceReply reply =
        orvservice::ReplyTo({"GET", target, kHost}, FixedCatalog(), Settings());
    if (reply.delay.count() < 0 || reply.delay.count() > 60000) {
        Finding("a delay of " + std::to_string(reply.delay.count()) + " ms");
    }
    return servicefuzz::Take(reply.answer());
}

// A check answer against the catalog: a version that the flags call the latest or a test
// version is one, and a download address points at the object's file.
void CheckAgainstCatalog(const Json::Value& answer) {
    static const std::set<std::string> latest = {"2.0", "1.1", "1.5", "2"};
    const std::string version = answer["version"].asString();
    if (answer["test_version"].asBool() ? version != "2.1-beta" : latest.count(version) == 0) {
        Finding("a check answer with version " + version);
    }
    if (answer.isMember("url")) {
        const std::string url = answer["url"].asString();
        const std::string base = std::string("http://") + kHost + "/files/";
        if (url.rfind(base, 0) != 0 ||
            !Settings().isFile(servicefuzz::Decode(url.substr(base.size())))) {
            Finding("a download address of no file: " + url);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string target(reinterpret_cast<const char*>(data), size);
    if (!IsTarget(target)) {
        return 0;
    }
    const servicefuzz::Taken taken = Answer(target);
    if (const auto json = servicefuzz::CheckJson(taken)) {
        CheckAgainstCatalog(*json);
    }
    const std::string location = taken.Header("Location");
    if (!location.empty()) {
        // The redirect of a fault is followed once: the address it gives is answered, not
        // redirected again. (A status fault may answer 302 without an address: no redirect.)
        const std::string origin = std::string("http://") + kHost;
        if (taken.status != 302 || location.rfind(origin, 0) != 0 ||
            !IsTarget(location.substr(origin.size()))) {
            Finding("a redirect to " + location);
        }
        if (!Answer(location.substr(origin.size())).Header("Location").empty()) {
            Finding("a redirect to a redirect: " + target + " to " + location);
        }
    }
    return 0;
}
