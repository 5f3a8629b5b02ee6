// CatalogWriter.cpp: the catalog's layout, one member a line so that a maker's later edit and its
// diff stay readable, and the write through a temporary file renamed over the old one.
#include "CatalogWriter.h"

#include "PathText.h"
#include "ServicePort.h"
#include "service/VersionService.h"

#include <algorithm>
#include <array>
#include <json/json.h>
#include <random>
#include <vector>

namespace orvservice {

namespace {

// The order of the README's example; ReadCatalog refuses other members, so the rest is for a
// catalog of a later form only.
constexpr std::array<const char*, 6> kMemberOrder = {"id",   "versions", "latest", "test_versions",
                                                     "file", "faults"};

// A value on one line, with a space after each comma and colon as a person writes it; JsonCpp
// writes the texts and numbers, escaped as JSON needs.
std::string OneLine(const Json::Value& value) {
    if (value.isArray() || value.isObject()) {
        std::string text;
        const std::vector<std::string> names =
            value.isObject() ? value.getMemberNames() : std::vector<std::string>();
        for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
            text += i == 0 ? "" : ", ";
            text += value.isArray()
                        ? OneLine(value[i])
                        : OneLine(Json::Value(names[i])) + ": " + OneLine(value[names[i]]);
        }
        return value.isArray() ? "[" + text + "]" : "{" + text + "}";
    }
    Json::StreamWriterBuilder builder;
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

std::string ObjectText(const Json::Value& object, const std::string& indent) {
    if (!object.isObject()) {
        return indent + OneLine(object);
    }
    std::vector<std::string> names(kMemberOrder.begin(), kMemberOrder.end());
    for (const std::string& name : object.getMemberNames()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
    std::string text = indent + "{";
    const char* separator = "\n";
    for (const std::string& name : names) {
        if (object.isMember(name)) {
            text += separator + indent + "  " + OneLine(Json::Value(name)) + ": " +
                    OneLine(object[name]);
            separator = ",\n";
        }
    }
    return text + "\n" + indent + "}";
}

// A name beside `catalog` that no file has, for the file that replaces it.
std::filesystem::path TemporaryBeside(const std::filesystem::path& catalog, int attempt) {
    static const char letters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    std::string piece;
    for (int i = 0; i < 8; ++i) {
        piece += letters[random() % (sizeof letters - 1)];
    }
    return catalog.parent_path() / PathOfUtf8(Utf8OfPath(catalog.filename()) + "." + piece + "." +
                                              std::to_string(attempt) + ".tmp");
}

}  // namespace

std::string CatalogText(const Json::Value& root) {
    std::string text = "{\n  \"objects\": [";
    const char* separator = "\n";
    for (const Json::Value& object : root["objects"]) {
        text += separator + ObjectText(object, "    ");
        separator = ",\n";
    }
    text += root["objects"].empty() ? "]" : "\n  ]";
    for (const std::string& name : root.getMemberNames()) {
        if (name != "objects") {
            text += ",\n  " + OneLine(Json::Value(name)) + ": " + OneLine(root[name]);
        }
    }
    return text + "\n}\n";
}

void ReplaceCatalog(const std::filesystem::path& catalog, const std::string& text,
                    const std::function<void(const std::filesystem::path&)>& check) {
    constexpr int kAttempts = 8;
    std::filesystem::path temporary;
    std::string reason;
    bool written = false;
    for (int attempt = 0; attempt < kAttempts && !written; ++attempt) {
        temporary = TemporaryBeside(catalog, attempt);
        std::error_code error;
        if (!std::filesystem::exists(std::filesystem::symlink_status(temporary, error))) {
            written = serviceport::WriteNewFile(temporary, text, reason);
        }
    }
    if (!written) {
        throw ServiceError("catalog " + Utf8OfPath(catalog) +
                           ": cannot write a new catalog beside it: " + reason);
    }
    try {
        check(temporary);
        // The old file's permissions, so that a service running as another user still reads it.
        std::error_code error;
        const auto permissions = std::filesystem::status(catalog, error).permissions();
        if (!error) {
            std::filesystem::permissions(temporary, permissions, error);
        }
        if (!serviceport::RenameOver(temporary, catalog, reason)) {
            throw ServiceError("catalog " + Utf8OfPath(catalog) +
                               ": cannot be replaced: " + reason);
        }
    } catch (...) {
        std::error_code error;
        std::filesystem::remove(temporary, error);
        throw;
    }
}

}  // namespace orvservice
