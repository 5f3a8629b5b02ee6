// Catalog.h: the objects the service knows (versions, latest, test versions, file, faults), read
// and checked from the catalog file.
#pragma once

#include "Faults.h"

#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace Json {
class Value;
}

namespace orvservice {

struct CatalogObject {
    std::string id;
    std::vector<std::string> versions;  // oldest first
    std::string latest;
    std::vector<std::string> testVersions;
    std::string file;  // relative to the files folder (IsServedPath); empty: no file to download
    Faults checkFaults;
    Faults fileFaults;

    friend bool operator==(const CatalogObject&, const CatalogObject&) = default;
};

struct Catalog {
    std::unordered_map<std::string, CatalogObject> objects;  // by id

    const CatalogObject* Find(const std::string& id) const;
    // The object whose file is `path` (as "file" names it), if any.
    const CatalogObject* FindByFile(const std::string& path) const;

    friend bool operator==(const Catalog&, const Catalog&) = default;
};

// The catalog file's JSON, a root object with an array "objects", its members not yet checked.
// Throws ServiceError naming the catalog.
Json::Value ReadCatalogJson(const std::filesystem::path& path);
// Reads `path`; each "file" must be a regular file in `files`, named by a plain name or by
// "FOLDER/NAME" (IsServedPath). Throws ServiceError naming the catalog and the object at fault.
// ReadCatalogText (service/Answering.h) reads the catalog's text.
std::shared_ptr<const Catalog> ReadCatalog(const std::filesystem::path& path,
                                           const std::filesystem::path& files);

}  // namespace orvservice
