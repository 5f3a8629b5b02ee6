// CatalogWriter.h: the catalog written back: its JSON laid out as the README shows it, and put in
// place of the old file in one step, so that a running service or a maker's editor never reads
// half a catalog.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Json {
class Value;
}

namespace orvservice {

// `root` as catalog text: "objects" first, each object's members on lines of their own in the
// README's order (id, versions, latest, test_versions, file, faults, then any other), each value on
// one line; the root's other members after "objects". Comments are not kept.
std::string CatalogText(const Json::Value& root);

// Writes `text` to a new file beside `catalog`, forced onto the disk, hands that file to `check`
// (which throws to refuse it), and renames it over `catalog`, keeping the old file's permissions.
// Throws ServiceError, or what `check` throws; then the catalog is as it was and the temporary
// file is gone.
void ReplaceCatalog(const std::filesystem::path& catalog, const std::string& text,
                    const std::function<void(const std::filesystem::path&)>& check);

}  // namespace orvservice
