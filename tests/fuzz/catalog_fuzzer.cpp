// catalog_fuzzer.cpp: the libFuzzer target of the version service's catalog reader. Each input is
// read as a catalog's text (orvservice::ReadCatalogText) beside a files folder that holds every
// path the reader lets through (a plain name or FOLDER/NAME) but those with "missing" in them, so
// that nothing touches the disk. A catalog is refused with ServiceError naming it, or taken; a
// catalog taken is read again here as JSON and asked for through the service's answers
// (orvservice::ReplyTo): each version of each object must be answered as the catalog says, and
// each file offered must be downloadable, under the last step of its path.
#include "service/Answering.h"
#include "service/VersionService.h"
#include "service_fuzz_support.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using servicefuzz::Finding;

constexpr char kName[] = "fuzz.json";
constexpr char kHost[] = "catalog.example";
// Bounds the requests one input may cost.
constexpr unsigned kMostObjects = 16;
constexpr unsigned kMostVersions = 8;

bool IsFile(const std::string& name) { return name.find("missing") == std::string::npos; }

const orvservice::AnswerSettings& Settings() {
    static const orvservice::AnswerSettings settings = [] {
        orvservice::AnswerSettings made;
        made.listening = "127.0.0.1:41234";
        made.isFile = IsFile;
        made.readFile = [](const std::string& name) -> std::optional<std::string> {
            return "bytes of " + name;
        };
        return made;
    }();
    return settings;
}

servicefuzz::Taken Answer(const std::shared_ptr<const orvservice::Catalog>& catalog,
                          const std::string& target, orvservice::ServiceReply* reply = nullptr) {
    orvservice::ServiceReply made =
        orvservice::ReplyTo({"GET", target, kHost}, catalog, Settings());
    servicefuzz::Taken taken = servicefuzz::Take(made.answer());
    if (reply != nullptr) {
        *reply = std::move(made);
    }
    return taken;
}

std::vector<std::string> Texts(const Json::Value& value) {
    std::vector<std::string> texts;
    for (const Json::Value& item : value) {
        texts.push_back(item.asString());
    }
    return texts;
}

bool Has(const std::vector<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// The catalog's faults for a check answer, as far as they change its status and waits.
void CheckFaults(const Json::Value& faults, const orvservice::ServiceReply& reply,
                 const servicefuzz::Taken& taken, const std::string& where) {
    if (faults.isMember("delay_ms") && reply.delay.count() != faults["delay_ms"].asInt()) {
        Finding(where + ": delay_ms not kept");
    }
    if (faults.isMember("hold") && reply.hold != faults["hold"].asBool()) {
        Finding(where + ": hold not kept");
    }
    const bool redirect = faults["redirect"].asBool();
    if (redirect ? taken.status != 302
                 : faults.isMember("status") && taken.status != faults["status"].asInt()) {
        Finding(where + ": status or redirect not kept");
    }
}

// One object of a catalog taken: its versions answered as the catalog says.
void CheckObject(const std::shared_ptr<const orvservice::Catalog>& catalog,
                 const Json::Value& object, bool download) {
    const std::string id = object["id"].asString();
    const std::string latest = object["latest"].asString();
    const std::vector<std::string> versions = Texts(object["versions"]);
    const std::vector<std::string> tests = Texts(object["test_versions"]);
    const std::string file = object["file"].asString();
    const Json::Value& checkFaults = object["faults"]["check"];
    const std::string where = "object " + id;

    std::vector<std::string> asked = {latest, latest + "-unknown"};
    for (std::size_t i = 0; i < versions.size() && i < kMostVersions; ++i) {
        asked.push_back(versions[i]);
    }
    for (std::size_t i = 0; i < tests.size() && i < kMostVersions; ++i) {
        asked.push_back(tests[i]);
    }
    for (const std::string& version : asked) {
        orvservice::ServiceReply reply;
        const servicefuzz::Taken taken =
            Answer(catalog,
                   "/check?id=" + servicefuzz::EncodeAll(id) +
                       "&version=" + servicefuzz::EncodeAll(version) + "&format=json",
                   &reply);
        if (!checkFaults.empty()) {
            CheckFaults(checkFaults, reply, taken, where);
            continue;
        }
        const auto json = servicefuzz::CheckJson(taken);
        if (!json) {
            Finding(where + ": version " + version + " answered " + std::to_string(taken.status));
        }
        const bool upToDate = version == latest;
        const bool testVersion = !upToDate && Has(tests, version);
        const bool update = !upToDate && !testVersion && Has(versions, version) && !file.empty();
        if ((*json)["up_to_date"].asBool() != upToDate ||
            (*json)["test_version"].asBool() != testVersion ||
            (*json)["update_available"].asBool() != update ||
            (*json)["version"].asString() != (testVersion ? version : latest)) {
            Finding(where + ": version " + version + " answered " + taken.body);
        }
        const std::string base = std::string("http://") + kHost + "/files/";
        const std::string url = (*json)["url"].asString();
        if (update &&
            (url.rfind(base, 0) != 0 || servicefuzz::Decode(url.substr(base.size())) != file)) {
            Finding(where + ": the address of " + file + " is " + url);
        }
    }
    if (download && !file.empty()) {
        // The file a check answer offers can be downloaded, by the address it gives, its name
        // in either form of Content-Disposition: the last step of its path, which the add-on
        // saves it under.
        const std::string name = file.substr(file.rfind('/') + 1);
        for (const char* query : {"", "?fault_quoted_filename=1"}) {
            const servicefuzz::Taken taken =
                Answer(catalog, "/files/" + servicefuzz::EncodeSteps(file) + query);
            if (taken.status != 200 || taken.body != "bytes of " + file) {
                Finding(where + ": its file " + file + " is answered " +
                        std::to_string(taken.status));
            }
            const std::string disposition = taken.Header("Content-Disposition");
            const std::string encoded = "attachment; filename*=UTF-8''";
            if (*query == '\0' &&
                (disposition.rfind(encoded, 0) != 0 ||
                 servicefuzz::Decode(disposition.substr(encoded.size())) != name)) {
                Finding(where + ": its file " + file + " is named " + disposition);
            }
        }
    }
}

// A catalog taken, read again as JSON: the reader took it, so it has the form it checks.
void CheckCatalog(const std::shared_ptr<const orvservice::Catalog>& catalog,
                  const std::string& text) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        Finding("a catalog taken that is not JSON: " + errors);
    }
    // A file of an object with file faults is answered as they say, for every object offering it.
    bool fileFaults = false;
    std::string longest;
    for (const Json::Value& object : root["objects"]) {
        fileFaults = fileFaults || object["faults"].isMember("file");
        longest = std::max(longest, object["id"].asString(),
                           [](const auto& a, const auto& b) { return a.size() < b.size(); });
    }
    unsigned count = 0;
    for (const Json::Value& object : root["objects"]) {
        if (++count > kMostObjects) {
            break;
        }
        CheckObject(catalog, object, !fileFaults);
    }
    // An id longer than every id of the catalog is none of them.
    if (Answer(catalog, "/check?id=" + servicefuzz::EncodeAll(longest + "?") + "&version=1")
            .status != 404) {
        Finding("an unknown id is not answered 404");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::shared_ptr<const orvservice::Catalog> catalog;
    try {
        catalog = orvservice::ReadCatalogText(text, kName, {"files", IsFile});
    } catch (const orvservice::ServiceError& refusal) {
        if (std::string(refusal.what()).rfind(std::string("catalog ") + kName + ": ", 0) != 0) {
            Finding(std::string("a refusal that does not name the catalog: ") + refusal.what());
        }
        return 0;
    }
    if (!catalog) {
        Finding("no catalog and no refusal");
    }
    CheckCatalog(catalog, text);
    return 0;
}
