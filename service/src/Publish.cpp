// Publish.cpp: orvservice publish. Everything is judged before anything is written: the version,
// the file (a ZIP archive as the add-on's ZIP library unpacks it, a plain file as the emulator
// reads a library part) and, with --library, what the update would write over. Then the file is
// copied in under a path no file has (a plain part in a new folder of its own, under its own name,
// the name the add-on saves it under) and the catalog is replaced in one step; a failure on the way
// takes the copy away again, so that a refusal or a failure changes nothing.
#include "service/Publish.h"

#include "Catalog.h"
#include "CatalogWriter.h"
#include "CommandFrame.h"
#include "PathText.h"
#include "RequestTarget.h"
#include "ServicePort.h"
#include "UrlText.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "emulator/LibraryPartXml.h"
#include "hostkit/HostABI.h"
#include "service/VersionService.h"
#include "streams/MemoryStreams.h"
#include "zip/Unzip.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <json/json.h>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>

namespace orvservice {

namespace {

constexpr const char* kUsage =
    "usage: orvservice publish --catalog FILE --files DIR --id ID --version V [--test] "
    "[--library DIR [--force]] FILE";

constexpr const char* kHelp =
    "Adds a release of object ID to the catalog: V is appended to \"versions\" and becomes\n"
    "\"latest\", and FILE is copied into the files folder, which \"file\" then names: a ZIP\n"
    "archive as ID-V.EXT, a plain part file as ID-V/NAME (NAME being FILE's own name, which\n"
    "the add-on saves it under, so that it replaces the part's file of that name). Never over\n"
    "a file or folder there: ID-V-2, ID-V-3, ... when the name is taken. A new ID makes a new\n"
    "object.\n\n"
    "  --test           V goes to \"test_versions\" only; \"latest\" and \"file\" stay as they\n"
    "                   are. FILE is copied all the same and served, but offered to nobody\n"
    "  --library DIR    the folder the part's update is unpacked over: refuse to overwrite a\n"
    "                   file there that is not ID's\n"
    "  --force          with --library, overwrite such files all the same\n\n"
    "Refused, with nothing changed (exit status 1): a version the object has already; a ZIP\n"
    "archive that the add-on's ZIP library cannot open, that holds no file, a member whose\n"
    "path leaves its folder or a member that cannot be read to its end with the built-in\n"
    "password; a plain file that is no library part declaring check_url (text) and uptodate\n"
    "(number), or whose name the files folder cannot serve (a control character, \\, \"..\",\n"
    "a drive, not UTF-8); with --library, a file there that is not ID's. Usage errors exit\n"
    "with 2.\n";

// A reason to publish nothing, ready for standard error.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Request {
    std::string catalog;
    std::string files;
    std::string id;
    std::string version;
    std::string library;  // empty: not given
    std::string file;
    bool test = false;
    bool force = false;
    bool help = false;
};

Request ParseArguments(const std::vector<std::string>& args) {
    Request request;
    const std::vector<std::pair<const char*, std::string*>> valued = {
        {"--catalog", &request.catalog}, {"--files", &request.files},     {"--id", &request.id},
        {"--version", &request.version}, {"--library", &request.library},
    };
    std::vector<std::string> positional;
    std::set<std::string> seen;
    bool optionsEnded = false;
    for (std::size_t i = 2; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "--help" || arg == "-h") {
            request.help = true;
            return request;
        }
        if (!seen.insert(arg).second) {
            throw UsageError(arg + " is given twice");
        }
        if (arg == "--test" || arg == "--force") {
            (arg == "--test" ? request.test : request.force) = true;
            continue;
        }
        const auto option = std::find_if(valued.begin(), valued.end(),
                                         [&](const auto& entry) { return arg == entry.first; });
        if (option == valued.end()) {
            throw UsageError("unknown option \"" + arg + "\"");
        }
        if (i + 1 >= args.size() || args[i + 1].empty()) {
            throw UsageError(arg + " needs a value");
        }
        *option->second = args[++i];
    }
    for (const auto& [name, value] : valued) {
        if (value->empty() && std::strcmp(name, "--library") != 0) {
            throw UsageError(std::string(name) + " is required");
        }
    }
    if (positional.size() != 1) {
        throw UsageError(positional.empty()
                             ? "the FILE to publish is missing"
                             : "one FILE only, not " + std::to_string(positional.size()));
    }
    request.file = positional.front();
    if (request.force && request.library.empty()) {
        throw UsageError("--force goes with --library");
    }
    return request;
}

std::optional<std::string> ReadBytes(const std::filesystem::path& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        return std::nullopt;
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        return std::nullopt;
    }
    std::string bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (stream.bad()) {
        return std::nullopt;
    }
    return bytes;
}

// The add-on's own test: a body that begins with "PK" is unpacked, any other put in place.
bool LooksLikeZip(const std::string& bytes) { return bytes.compare(0, 2, "PK") == 0; }

// Read-only, from memory: the library rewrites an archive it opened by its path on closing it.
std::unique_ptr<ZipFile> OpenArchive(const std::string& bytes) {
    auto stream = std::make_unique<MemoryInputStream>(ByteBuffer(bytes.begin(), bytes.end()));
    return std::make_unique<ZipFile>(std::move(stream), nullptr);
}

struct ArchiveMember {
    int32_t index;
    WString path;      // as the archive names it
    std::string name;  // the same in UTF-8, for messages
    std::string text;  // "/" between steps: the path below the folder it is unpacked into
};

// The file members in the order the unpacking takes them.
std::vector<ArchiveMember> FileMembers(ZipFile& zip) {
    std::vector<ArchiveMember> members;
    ZipDirectoryIterator walk(zip, u"", ZipDirectoryIterator::kFiles);
    ZipDirectoryEntry entry;
    while (walk.next(entry)) {
        const std::string name = CUtils::WstringToStringUTF8(entry.path + entry.name);
        std::string text = name;
        std::replace(text.begin(), text.end(), '\\', '/');
        members.push_back({entry.memberIndex, entry.path + entry.name, name, text});
    }
    return members;
}

class DiscardingSink : public OutputStream {
public:
    void write(const uint8_t*, int64_t) override {}
    using OutputStream::write;
};

// Judges an archive as the add-on's update would unpack it; gives the paths it would write.
std::vector<std::string> JudgeArchive(const std::string& bytes, const std::string& file) {
    std::unique_ptr<ZipFile> zip;
    std::vector<ArchiveMember> members;
    try {
        zip = OpenArchive(bytes);
        members = FileMembers(*zip);
    } catch (const std::exception& failure) {
        throw Refusal(file + " begins as a ZIP archive, but the add-on's ZIP library cannot open " +
                      "it: " + MessageOf(failure));
    }
    std::string outside;
    for (const ArchiveMember& member : members) {
        if (!IsContainedMemberPath(member.path)) {
            outside += (outside.empty() ? "" : ", ") + std::string("\"") + member.name + "\"";
        }
    }
    if (!outside.empty()) {
        throw Refusal(file + " holds members whose path leaves the folder it is unpacked into, " +
                      "which the add-on refuses: " + outside);
    }
    std::vector<std::string> paths;
    for (const ArchiveMember& member : members) {
        try {
            uint64_t size = 0;
            const std::unique_ptr<InputStream> reader = zip->openMember(member.index, &size, false);
            DiscardingSink sink;
            ReadCheckedMember(*zip, member.index, *reader, size, sink);
        } catch (const std::exception& failure) {
            throw Refusal(file + ": member \"" + member.name +
                          "\" cannot be read to its end as the add-on reads it (an encrypted " +
                          "one with the built-in password): " + MessageOf(failure));
        }
        paths.push_back(member.text);
    }
    if (paths.empty()) {
        throw Refusal(file + " is a ZIP archive without a file member: the update would change " +
                      "nothing");
    }
    return paths;
}

const orvhost::Parameter* FindParameter(const std::vector<orvhost::Parameter>& parameters,
                                        const char* name) {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [&](const orvhost::Parameter& p) { return p.name == name; });
    return found == parameters.end() ? nullptr : &*found;
}

// The add-on reads check_url from a plain text parameter and passes over a part whose text is
// empty.
std::optional<std::string> CheckUrlOf(const std::vector<orvhost::Parameter>& parameters) {
    const orvhost::Parameter* url = FindParameter(parameters, "check_url");
    if (url == nullptr || url->isArray || !ParameterType::IsText(url->type) ||
        url->value.texts.empty() || url->value.texts.front().empty()) {
        return std::nullopt;
    }
    return CUtils::WstringToStringUTF8(url->value.texts.front());
}

// A plain part the add-on monitors: check_url as above, uptodate a plain number. Gives its
// check_url.
std::string JudgePart(const std::string& bytes, const std::string& file) {
    std::optional<std::vector<orvhost::Parameter>> parameters;
    try {
        parameters = orvhost::ParseLibraryPartXml(bytes);
    } catch (const orvhost::LibraryPartXmlError& error) {
        throw Refusal(file + " is neither a ZIP archive nor a GDL library part: " + error.what());
    }
    if (!parameters) {
        throw Refusal(file + " is not a GDL library part: its XML root is not <Symbol>");
    }
    const std::optional<std::string> url = CheckUrlOf(*parameters);
    if (!url) {
        throw Refusal(file + " declares no check_url (a text, not empty): the add-on would not " +
                      "check it");
    }
    const orvhost::Parameter* state = FindParameter(*parameters, "uptodate");
    if (state == nullptr || state->isArray || ParameterType::IsText(state->type) ||
        state->value.numbers.empty()) {
        throw Refusal(file + " declares no uptodate (a number): the add-on would not check it");
    }
    return *url;
}

// The object id that the part at `path` names in its check_url; nothing for a file that is no
// part the emulator reads, or names none.
std::optional<std::string> IdOfPart(const std::filesystem::path& path) {
    try {
        const auto parameters = orvhost::ReadLibraryPartXml(path);
        const auto url = parameters ? CheckUrlOf(*parameters) : std::nullopt;
        const std::string id = url ? ParseTarget(*url).Value("id") : "";
        return id.empty() ? std::nullopt : std::optional<std::string>(id);
    } catch (const orvhost::LibraryPartXmlError&) {
        return std::nullopt;
    }
}

// What the object's file in the catalog writes into the part's folder when the add-on takes it:
// an archive's members, else the file under its own name.
std::set<std::string> PresentReleasePaths(const std::filesystem::path& files,
                                          const CatalogObject* object) {
    std::set<std::string> paths;
    if (object == nullptr || object->file.empty()) {
        return paths;
    }
    const std::optional<std::string> bytes = ReadBytes(files / PathOfUtf8(object->file));
    if (bytes && !LooksLikeZip(*bytes)) {
        paths.insert(LastStep(object->file));
    } else if (bytes) {
        try {
            const std::unique_ptr<ZipFile> zip = OpenArchive(*bytes);
            for (const ArchiveMember& member : FileMembers(*zip)) {
                if (IsContainedMemberPath(member.path)) {
                    paths.insert(member.text);
                }
            }
        } catch (const std::exception&) {
            // An archive the add-on cannot open wrote nothing: no file is known to be the
            // object's.
        }
    }
    return paths;
}

// A file in the library folder that the update would write over is the object's when it is a
// part whose check_url names the object, or, naming no object, when the object's present release
// wrote it. Anything else may be another object's or the user's own: refused unless forced, and
// named. A folder where a file would go breaks the update on every machine: refused always.
void CheckLibrary(const Request& request, const std::vector<std::string>& paths,
                  const std::set<std::string>& ownPaths, std::ostream& out) {
    const std::filesystem::path library = PathOfUtf8(request.library);
    std::error_code error;
    if (!std::filesystem::is_directory(library, error)) {
        throw Refusal("--library " + request.library + " is not a folder");
    }
    std::string folders;
    std::string others;
    for (const std::string& path : paths) {
        const std::filesystem::path target = library / PathOfUtf8(path);
        const auto status = std::filesystem::symlink_status(target, error);
        if (!std::filesystem::exists(status)) {
            continue;
        }
        if (std::filesystem::is_directory(status)) {
            folders += (folders.empty() ? "" : ", ") + path;
            continue;
        }
        const std::optional<std::string> owner = IdOfPart(target);
        if (owner && *owner != request.id) {
            others += "\n  " + path + ": a part of object " + *owner;
        } else if (!owner && ownPaths.count(path) == 0) {
            others += "\n  " + path + ": not a part of " + request.id + ", and not from " +
                      request.id + "'s present file";
        }
    }
    if (!folders.empty()) {
        throw Refusal("the update would write files where " + request.library +
                      " has folders: " + folders);
    }
    if (!others.empty() && !request.force) {
        throw Refusal("the update would overwrite files in " + request.library + " that are not " +
                      request.id + "'s (--force to publish it all the same):" + others);
    }
    if (!others.empty()) {
        out << "orvservice publish: with --force, the update overwrites in " << request.library
            << ":" << others << "\n";
    }
}

// A piece of a file name: what either system refuses in one (controls, separators, <>:"|?*)
// becomes "_".
std::string NamePiece(const std::string& text) {
    std::string piece = text;
    for (char& c : piece) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F || std::strchr("<>:\"/\\|?*", c) != nullptr) {
            c = '_';
        }
    }
    return piece;
}

// "ID-V" and `extension`, or with "-2", "-3", ... behind V when anything of that name is there
// already.
std::string FreeName(const std::filesystem::path& files, const Request& request,
                     const std::string& extension) {
    const std::string stem = NamePiece(request.id) + "-" + NamePiece(request.version);
    constexpr int kAttempts = 100;
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        std::string name = stem;
        if (attempt > 1) {
            name += '-';
            name += std::to_string(attempt);
        }
        name += extension;
        // Windows drops a trailing dot or space from a name.
        if (name.back() == '.' || name.back() == ' ') {
            name.back() = '_';
        }
        std::error_code error;
        if (IsPlainFileName(name) && !std::filesystem::exists(std::filesystem::symlink_status(
                                         files / PathOfUtf8(name), error))) {
            return name;
        }
    }
    throw Refusal("no free name for " + request.id + " " + request.version + " in " +
                  request.files);
}

// Where a release goes in the files folder.
struct Placement {
    std::string folder;  // made for it; empty when it goes directly into the files folder
    std::string path;    // what "file" names: relative to the files folder
    std::string name;    // the name the add-on saves a plain file under: the last step
};

// An archive as "ID-V.EXT": its members' names count, not its own. A plain part as
// "ID-V/NAME" under FILE's own name, since the add-on saves it under the served name and only
// that name replaces the part's file.
Placement PlaceRelease(const std::filesystem::path& files, const Request& request, bool archive) {
    if (archive) {
        const std::string name =
            FreeName(files, request, NamePiece(Utf8OfPath(PathOfUtf8(request.file).extension())));
        return {"", name, name};
    }
    const std::string name = Utf8OfPath(PathOfUtf8(request.file).filename());
    if (!IsServedPath(name)) {
        throw Refusal(request.file + ": the add-on saves a plain part under its own name, and " +
                      "the files folder cannot serve this one (a control character, \\, \"..\", " +
                      "a drive or not UTF-8); rename the part");
    }
    const std::string folder = FreeName(files, request, "");
    return {folder, folder + "/" + name, name};
}

// The parts in the library folder that name the object under another file name than `name`: a
// plain update is saved under its own name, beside them, which a maker who renamed the file may
// not expect.
void NoteOtherPartNames(const Request& request, const std::string& name, std::ostream& err) {
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator(PathOfUtf8(request.library), error)) {
        const std::string entryName = Utf8OfPath(entry.path().filename());
        if (entry.is_regular_file(error) && entryName != name &&
            IdOfPart(entry.path()) == request.id) {
            err << "orvservice publish: note: the add-on saves this update as \"" << name
                << "\" in the part's folder, beside \"" << entryName << "\", a part of "
                << request.id << " too, which it does not replace; publish the file under "
                << "that name to replace it\n";
        }
    }
}

// The catalog as it must read back once the release is in.
Catalog ExpectedCatalog(Catalog catalog, const Request& request, const std::string& name) {
    CatalogObject& object = catalog.objects[request.id];
    if (object.id.empty()) {
        object.id = request.id;
    }
    if (request.test) {
        object.testVersions.push_back(request.version);
    } else {
        object.versions.push_back(request.version);
        object.latest = request.version;
        object.file = name;
    }
    return catalog;
}

// The same change made to the catalog's JSON, every other member left as it was.
void AddToJson(Json::Value& root, const Request& request, const std::string& name) {
    Json::Value& objects = root["objects"];
    for (Json::Value& object : objects) {
        if (object["id"].asString() != request.id) {
            continue;
        }
        if (request.test) {
            object["test_versions"].append(request.version);
        } else {
            object["versions"].append(request.version);
            object["latest"] = request.version;
            object["file"] = name;
        }
        return;
    }
    Json::Value object(Json::objectValue);
    object["id"] = request.id;
    object["versions"].append(request.version);
    object["latest"] = request.version;
    object["file"] = name;
    objects.append(object);
}

void Publish(const Request& request, std::ostream& out, std::ostream& err) {
    const std::filesystem::path catalogPath = PathOfUtf8(request.catalog);
    const std::filesystem::path files = PathOfUtf8(request.files);
    // Compared with the file just before it is replaced: an edit made meanwhile is not lost.
    const std::optional<std::string> catalogBytes = ReadBytes(catalogPath);
    const Catalog before = *ReadCatalog(catalogPath, files);
    Json::Value root = ReadCatalogJson(catalogPath);

    const CatalogObject* object = before.Find(request.id);
    if (object == nullptr && request.test) {
        throw Refusal("object " + request.id + " is not in the catalog: a test version needs a " +
                      "released version first");
    }
    if (object != nullptr) {
        const auto has = [&](const std::vector<std::string>& list) {
            return std::find(list.begin(), list.end(), request.version) != list.end();
        };
        if (has(object->versions) || has(object->testVersions)) {
            throw Refusal("object " + request.id + " has version " + request.version +
                          " already (" + (has(object->versions) ? "versions" : "test_versions") +
                          ")");
        }
    }

    const std::optional<std::string> bytes = ReadBytes(PathOfUtf8(request.file));
    if (!bytes) {
        throw Refusal(request.file + " cannot be read");
    }
    const bool archive = LooksLikeZip(*bytes);
    std::vector<std::string> written;
    if (archive) {
        written = JudgeArchive(*bytes, request.file);
    } else {
        // Published all the same: a maker may move a part to another id on purpose.
        const std::string url = JudgePart(*bytes, request.file);
        if (ParseTarget(url).Value("id") != request.id) {
            err << "orvservice publish: note: " << request.file << " checks object \""
                << ParseTarget(url).Value("id") << "\" (check_url " << url << "), not "
                << request.id << "\n";
        }
    }
    const Placement place = PlaceRelease(files, request, archive);
    if (!request.library.empty()) {
        if (!archive) {
            written = {place.name};
        }
        CheckLibrary(request, written, PresentReleasePaths(files, object), out);
        if (!archive) {
            NoteOtherPartNames(request, place.name, err);
        }
    }

    const std::filesystem::path stored = files / PathOfUtf8(place.path);
    const std::filesystem::path folder =
        place.folder.empty() ? std::filesystem::path() : files / PathOfUtf8(place.folder);
    const auto takeBack = [&] {
        std::error_code error;
        std::filesystem::remove(stored, error);
        if (!folder.empty()) {
            std::filesystem::remove(folder, error);
        }
    };
    std::string reason;
    if (!folder.empty() && !serviceport::MakeNewFolder(folder, reason)) {
        throw ServiceError("cannot make the folder " + Utf8OfPath(folder) + ": " + reason);
    }
    if (!serviceport::WriteNewFile(stored, *bytes, reason)) {
        takeBack();
        throw ServiceError("cannot write " + Utf8OfPath(stored) + ": " + reason);
    }
    try {
        AddToJson(root, request, place.path);
        const Catalog expected = ExpectedCatalog(before, request, place.path);
        const auto check = [&](const std::filesystem::path& next) {
            if (ReadBytes(catalogPath) != catalogBytes) {
                throw ServiceError("catalog " + request.catalog +
                                   " changed while publishing; publish again");
            }
            if (*ReadCatalog(next, files) != expected) {
                throw ServiceError("catalog " + request.catalog +
                                   ": the new catalog does not read back as intended");
            }
        };
        // A catalog that is a link is replaced where it leads, and stays a link.
        std::error_code error;
        const std::filesystem::path target = std::filesystem::canonical(catalogPath, error);
        ReplaceCatalog(error ? catalogPath : target, CatalogText(root), check);
    } catch (...) {
        takeBack();
        throw;
    }

    const std::string& name = place.path;
    const std::string address = "/files/" + EncodePathSegments(name);
    if (request.test) {
        out << "orvservice publish: " << request.id << " " << request.version
            << " is a test version; its file " << name << " is served at " << address
            << ", offered to nobody\n";
    } else {
        out << "orvservice publish: " << request.id << " " << request.version << " is the latest"
            << (object == nullptr ? " (a new object)" : "") << "; older versions are offered "
            << name << " at " << address << "\n";
    }
}

}  // namespace

int RunPublish(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    return RunCommand({"publish", kUsage, kHelp}, args, out, err, ParseArguments, Publish);
}

}  // namespace orvservice
