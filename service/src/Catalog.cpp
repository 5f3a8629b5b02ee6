// Catalog.cpp: reading the catalog JSON strictly, so that a library maker's typo is reported at
// start-up instead of showing up as a wrong answer later.
#include "Catalog.h"

#include "PathText.h"
#include "Utf8Text.h"
#include "service/Answering.h"
#include "service/VersionService.h"

#include <algorithm>
#include <fstream>
#include <json/json.h>
#include <set>
#include <sstream>
#include <utility>

namespace orvservice {

namespace {

// Throws ServiceError for the catalog; `where` names the object.
class Complaint {
public:
    explicit Complaint(std::string catalog) : catalog(std::move(catalog)) {}

    [[noreturn]] void operator()(const std::string& where, const std::string& what) const {
        throw ServiceError("catalog " + catalog + ": " + (where.empty() ? "" : where + ": ") +
                           what);
    }

private:
    std::string catalog;
};

std::vector<std::string> ReadTexts(const Json::Value& value, const char* key,
                                   const std::string& where, const Complaint& complain) {
    if (!value.isArray()) {
        complain(where, std::string("\"") + key + "\" is not an array of texts");
    }
    std::vector<std::string> texts;
    for (const Json::Value& item : value) {
        if (!item.isString() || item.asString().empty()) {
            complain(where, std::string("\"") + key + "\" holds something other than a text");
        }
        texts.push_back(item.asString());
    }
    return texts;
}

Faults ReadFaults(const Json::Value& value, const std::string& where, const Complaint& complain) {
    if (!value.isObject()) {
        complain(where, "a fault set is not an object");
    }
    Faults faults;
    for (const std::string& name : value.getMemberNames()) {
        const Json::Value& item = value[name];
        std::string text;
        switch (KindOfFault(name)) {
        case FaultKind::Unknown:
            complain(where, "unknown fault \"" + name + "\" (known: " + FaultNames() + ")");
        case FaultKind::Number:
            if (!item.isInt()) {
                complain(where, "fault \"" + name + "\" is not a whole number");
            }
            text = std::to_string(item.asInt());
            break;
        case FaultKind::Text:
            if (!item.isString()) {
                complain(where, "fault \"" + name + "\" is not a text");
            }
            text = item.asString();
            break;
        case FaultKind::Flag:
            if (!item.isBool()) {
                complain(where, "fault \"" + name + "\" is not true or false");
            }
            text = item.asBool() ? "true" : "false";
            break;
        }
        try {
            SetFaultFromText(faults, name, text);
        } catch (const std::invalid_argument& error) {
            complain(where, "fault \"" + name + "\": " + error.what());
        }
    }
    return faults;
}

// Whether every text in `value`, names of members included, is UTF-8.
bool AllUtf8(const Json::Value& value) {
    if (value.isString()) {
        const char* begin = nullptr;
        const char* end = nullptr;
        value.getString(&begin, &end);
        return IsUtf8(std::string_view(begin, static_cast<std::size_t>(end - begin)));
    }
    if (value.isObject()) {
        for (auto item = value.begin(); item != value.end(); ++item) {
            if (!IsUtf8(item.name()) || !AllUtf8(*item)) {
                return false;
            }
        }
    } else if (value.isArray()) {
        for (const Json::Value& item : value) {
            if (!AllUtf8(item)) {
                return false;
            }
        }
    }
    return true;
}

CatalogObject ReadObject(const Json::Value& value, std::size_t position, const CatalogFiles& files,
                         const Complaint& complain) {
    std::string where = "object " + std::to_string(position);
    if (!value.isObject()) {
        complain(where, "is not a JSON object");
    }
    // JSON is UTF-8: a catalog saved in another encoding would give answers that are not.
    if (!AllUtf8(value)) {
        complain(where, "holds a text that is not UTF-8; save the catalog as UTF-8");
    }
    CatalogObject object;
    if (!value.isMember("id") || !value["id"].isString() || value["id"].asString().empty()) {
        complain(where, "has no \"id\" (a non-empty text)");
    }
    object.id = value["id"].asString();
    where = "object \"" + object.id + "\"";

    static const std::set<std::string> known = {"id",   "versions", "latest", "test_versions",
                                                "file", "faults"};
    for (const std::string& key : value.getMemberNames()) {
        if (known.count(key) == 0) {
            complain(where, "unknown member \"" + key + "\"");
        }
    }

    if (!value.isMember("versions")) {
        complain(where, "has no \"versions\"");
    }
    object.versions = ReadTexts(value["versions"], "versions", where, complain);
    if (object.versions.empty()) {
        complain(where, "\"versions\" is empty");
    }
    if (!value["latest"].isString()) {
        complain(where, "has no \"latest\" (a text)");
    }
    object.latest = value["latest"].asString();
    if (std::find(object.versions.begin(), object.versions.end(), object.latest) ==
        object.versions.end()) {
        complain(where, "\"latest\" \"" + object.latest + "\" is not among \"versions\"");
    }
    if (value.isMember("test_versions")) {
        object.testVersions = ReadTexts(value["test_versions"], "test_versions", where, complain);
    }
    if (value.isMember("file")) {
        if (!value["file"].isString() || value["file"].asString().empty()) {
            complain(where, "\"file\" is not a non-empty text");
        }
        object.file = value["file"].asString();
        if (!IsServedPath(object.file)) {
            complain(where, "\"file\" \"" + object.file +
                                "\" is not a plain file name, nor FOLDER/NAME of two plain names");
        }
        if (!files.isFile(object.file)) {
            complain(where, "\"file\" \"" + object.file + "\" is not a file in " + files.folder);
        }
    }
    if (value.isMember("faults")) {
        const Json::Value& faults = value["faults"];
        if (!faults.isObject()) {
            complain(where, "\"faults\" is not an object");
        }
        for (const std::string& key : faults.getMemberNames()) {
            if (key == "check") {
                object.checkFaults =
                    ReadFaults(faults[key], where + ", faults \"check\"", complain);
            } else if (key == "file") {
                object.fileFaults = ReadFaults(faults[key], where + ", faults \"file\"", complain);
            } else {
                complain(where, "\"faults\" has \"" + key + "\"; only \"check\" and \"file\"");
            }
        }
    }
    return object;
}

}  // namespace

const CatalogObject* Catalog::Find(const std::string& id) const {
    const auto found = objects.find(id);
    return found == objects.end() ? nullptr : &found->second;
}

const CatalogObject* Catalog::FindByFile(const std::string& name) const {
    for (const auto& [id, object] : objects) {
        if (!object.file.empty() && object.file == name) {
            return &object;
        }
    }
    return nullptr;
}

namespace {

// The catalog's text as JSON: a root object with an array "objects", its members not yet checked.
Json::Value ParseCatalogJson(std::string_view text, const Complaint& complain) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    Json::Value root;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    bool parsed = false;
    try {
        parsed = reader->parse(text.data(), text.data() + text.size(), &root, &errors);
    } catch (const Json::Exception& error) {
        // What JsonCpp throws rather than returns: nesting deeper than its limit.
        errors = error.what();
    }
    if (!parsed) {
        // JsonCpp's text spans lines; one line reads better after the catalog's name.
        std::string oneLine;
        for (const char c : errors) {
            oneLine += c == '\n' ? ' ' : c;
        }
        while (!oneLine.empty() && oneLine.back() == ' ') {
            oneLine.pop_back();
        }
        complain("", "is not JSON: " + oneLine);
    }
    if (!root.isObject() || !root["objects"].isArray()) {
        complain("", "the root must be an object with an array \"objects\"");
    }
    return root;
}

std::string ReadCatalogFile(const std::filesystem::path& path, const Complaint& complain) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        complain("", "cannot be read");
    }
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

}  // namespace

Json::Value ReadCatalogJson(const std::filesystem::path& path) {
    const Complaint complain(Utf8OfPath(path));
    return ParseCatalogJson(ReadCatalogFile(path, complain), complain);
}

std::shared_ptr<const Catalog> ReadCatalog(const std::filesystem::path& path,
                                           const std::filesystem::path& files) {
    std::error_code error;
    if (!std::filesystem::is_directory(files, error)) {
        throw ServiceError("files folder " + Utf8OfPath(files) + " is not a folder");
    }
    const std::string name = Utf8OfPath(path);
    const CatalogFiles folder{Utf8OfPath(files),
                              [&files](const std::string& file) { return IsFileIn(files, file); }};
    return ReadCatalogText(ReadCatalogFile(path, Complaint(name)), name, folder);
}

std::shared_ptr<const Catalog> ReadCatalogText(std::string_view text, const std::string& name,
                                               const CatalogFiles& files) {
    const Complaint complain(name);
    const Json::Value root = ParseCatalogJson(text, complain);
    Catalog catalog;
    std::size_t position = 0;
    for (const Json::Value& value : root["objects"]) {
        ++position;
        CatalogObject object = ReadObject(value, position, files, complain);
        if (catalog.objects.count(object.id) != 0) {
            complain("object \"" + object.id + "\"", "the id is used twice");
        }
        catalog.objects.emplace(object.id, std::move(object));
    }
    return std::make_shared<const Catalog>(std::move(catalog));
}

}  // namespace orvservice
