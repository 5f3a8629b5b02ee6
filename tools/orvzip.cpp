// orvzip.cpp: lists, tests, extracts and makes ZIP archives with the add-on's own ZIP library, so
// that its reading and writing can be compared with other tools on real archives.
//
//   orvzip list ARCHIVE
//   orvzip test ARCHIVE [--password P]
//   orvzip extract ARCHIVE DIR [--password P] [--clean]
//   orvzip create ARCHIVE [--password P | --no-encryption] PATH...
//
// Exit status: 0 success (and --help), 1 failure (the message on standard error), 2 usage error.
#include "common/CUtils.h"
#include "common/CommandLine.h"
#include "common/OVException.h"
#include "streams/FileStreams.h"
#include "streams/Hash.h"
#include "streams/OutputStream.h"
#include "zip/Unzip.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr char kUsage[] =
    "usage: orvzip list ARCHIVE\n"
    "       orvzip test ARCHIVE [--password P]\n"
    "       orvzip extract ARCHIVE DIR [--password P] [--clean]\n"
    "       orvzip create ARCHIVE [--password P | --no-encryption] PATH...\n"
    "  list     one line per member: method (stored, deflate, or mN for another method number,\n"
    "           taken from the local header; the method inside an AES member; dir for a\n"
    "           directory), encryption (none, pkware, aes128, aes192, aes256, strong), size,\n"
    "           compressed size, CRC-32 in hex, modification time, path\n"
    "  test     reads every file member to its end through its checks, and compares length and\n"
    "           CRC with the directory; one line per member, OK or the error\n"
    "  extract  extracts the file members into DIR (emptied first with --clean); members whose\n"
    "           path leads outside DIR are refused\n"
    "  create   makes ARCHIVE, which must not exist yet, of each file PATH under its name and of\n"
    "           each folder PATH with every file below it under the folder's name; each member\n"
    "           deflated and encrypted with AES-256, or not encrypted with --no-encryption;\n"
    "           empty folders are not stored\n"
    "  Without --password, encrypted members are read and made with the library's built-in\n"
    "  password.\n"
    "  Exit status: 0 success, 1 failure, 2 usage error.\n";

class UsageError : public std::exception {};

struct Arguments {
    std::string command;
    std::vector<std::string> positional;
    std::optional<std::string> password;
    bool clean = false;
    bool noEncryption = false;
};

// `words` is the whole command line in UTF-8, the program first.
Arguments Parse(const std::vector<std::string>& words) {
    if (words.size() < 2) {
        throw UsageError();
    }
    Arguments arguments;
    arguments.command = words[1];
    bool optionsEnded = false;
    for (size_t i = 2; i < words.size(); ++i) {
        const std::string& argument = words[i];
        if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
            arguments.positional.push_back(argument);
        } else if (argument == "--") {
            optionsEnded = true;
        } else if (argument == "--password" && arguments.command != "list" &&
                   !arguments.noEncryption) {
            if (i + 1 >= words.size() || arguments.password) {
                throw UsageError();
            }
            arguments.password = words[++i];
        } else if (argument == "--clean" && arguments.command == "extract" && !arguments.clean) {
            arguments.clean = true;
        } else if (argument == "--no-encryption" && arguments.command == "create" &&
                   !arguments.noEncryption && !arguments.password) {
            arguments.noEncryption = true;
        } else {
            throw UsageError();
        }
    }
    const size_t count = arguments.positional.size();
    const bool fits = arguments.command == "list" || arguments.command == "test" ? count == 1
                      : arguments.command == "extract"                           ? count == 2
                      : arguments.command == "create"                            ? count >= 2
                                                                                 : false;
    if (!fits) {
        throw UsageError();
    }
    return arguments;
}

std::string MessageOf(const std::exception& failure) {
    if (const auto* exception = dynamic_cast<const OVThrowable*>(&failure)) {
        return CUtils::WstringToStringUTF8(exception->GetMessageText());
    }
    return failure.what();
}

// A path from the command line as wide text; text that is not UTF-8 would name another file and
// is refused.
WString WideOfArgument(const std::string& argument) {
    const WString wide = CUtils::StringUTF8ToWstring(argument);
    if (CUtils::WstringToStringUTF8(wide) != argument) {
        throw std::runtime_error(argument + ": not UTF-8 text");
    }
    return wide;
}

fs::path PathOfArgument(const std::string& argument) {
    return CUtils::ToFileSystemPath(WideOfArgument(argument));
}

// Answers every password request with the one password given on the command line, once.
class FixedPasswordProvider : public MZipDataSecurityProvider {
public:
    explicit FixedPasswordProvider(WString password) : password(std::move(password)) {}

    int32_t getPassword(ZipFile&, const WString&, uint32_t, bool, WString& answer) override {
        answer = password;
        return kPasswordOnce;
    }
    void confirmPassword(ZipFile&, const WString&, const WString&) override {}
    void fillSalt(ZipFile&, ByteBuffer& buffer) override {
        std::random_device random;
        for (uint8_t& byte : buffer) {
            byte = static_cast<uint8_t>(random());
        }
    }

private:
    WString password;
};

// Counts the bytes and their CRC, and keeps nothing.
class CheckingSink : public OutputStream {
public:
    void write(const uint8_t* buffer, int64_t length) override {
        crc.update(buffer, length);
        count += static_cast<uint64_t>(length);
    }
    using OutputStream::write;

    Crc32 crc;
    uint64_t count = 0;
};

bool IsDirectory(const ZipMemberInfo& member) {
    return member.name.empty() || (member.attributes & kZipDirectoryAttribute) != 0;
}

const char* KindName(uint16_t flags) {
    switch (flags & kZipKindMask) {
    case kZipNotEncrypted:
        return "none";
    case kZipPkware:
        return "pkware";
    case kZipAes128:
        return "aes128";
    case kZipAes192:
        return "aes192";
    case kZipAes256:
        return "aes256";
    case kZipStrong:
        return "strong";
    default:
        return "?";
    }
}

// The method of a member from its local header (the directory's table keeps none); for an AES
// member the method inside the encryption. "?" when the header cannot be read.
std::string MethodOf(const WString& archive, const ZipMemberInfo& member) {
    if (IsDirectory(member)) {
        return "dir";
    }
    try {
        FileInputStream file(archive);
        uint8_t header[30];
        if (file.seek(static_cast<int64_t>(member.offset)) != static_cast<int64_t>(member.offset) ||
            file.read(header, sizeof header) != static_cast<int64_t>(sizeof header) ||
            CUtils::ReadLE32(header) != 0x04034B50u) {
            return "?";
        }
        uint16_t method = CUtils::ReadLE16(header + 8);
        if (method == 99) {
            const uint16_t nameLength = CUtils::ReadLE16(header + 26);
            const uint16_t extraLength = CUtils::ReadLE16(header + 28);
            file.skip(nameLength);
            ByteBuffer extra(extraLength);
            if (file.read(extra.data(), extraLength) != extraLength) {
                return "?";
            }
            for (size_t at = 0; at + 4 <= extra.size();) {
                const uint16_t id = CUtils::ReadLE16(extra.data() + at);
                const uint16_t size = CUtils::ReadLE16(extra.data() + at + 2);
                if (id == 0x9901 && size >= 7 && at + 4 + size <= extra.size()) {
                    method = CUtils::ReadLE16(extra.data() + at + 4 + 5);
                }
                at += 4 + size;
            }
        }
        if (method == 0) {
            return "stored";
        }
        if (method == 8) {
            return "deflate";
        }
        return "m" + std::to_string(method);
    } catch (const std::exception&) {
        return "?";
    }
}

std::string TimeOf(uint64_t stamp) {
    const unsigned time = static_cast<unsigned>(stamp & 0xFFFF);
    const unsigned date = static_cast<unsigned>((stamp >> 16) & 0xFFFF);
    char text[32];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", 1980 + (date >> 9),
                  (date >> 5) & 0xF, date & 0x1F, time >> 11, (time >> 5) & 0x3F,
                  (time & 0x1F) * 2);
    return text;
}

int List(ZipFile& zip, const WString& archive) {
    std::printf("%-7s %-6s %12s %12s %-8s %-19s %s\n", "Method", "Crypt", "Size", "Compressed",
                "CRC", "Modified", "Name");
    const std::vector<ZipMemberInfo>& members = zip.getMembers();
    for (uint32_t i = 0; i < members.size(); ++i) {
        const ZipMemberInfo& member = members[i];
        std::printf("%-7s %-6s %12" PRIu64 " %12" PRIu64 " %08" PRIx32 " %-19s %s\n",
                    MethodOf(archive, member).c_str(), KindName(member.flags),
                    member.uncompressedSize, member.compressedSize, member.crc,
                    TimeOf(member.stamp).c_str(),
                    CUtils::WstringToStringUTF8(zip.getMemberPath(i)).c_str());
    }
    return 0;
}

int Test(ZipFile& zip) {
    int failures = 0;
    const std::vector<ZipMemberInfo>& members = zip.getMembers();
    for (uint32_t i = 0; i < members.size(); ++i) {
        const ZipMemberInfo member = members[i];
        if (IsDirectory(member)) {
            continue;
        }
        const std::string name = CUtils::WstringToStringUTF8(zip.getMemberPath(i));
        try {
            uint64_t size = 0;
            std::unique_ptr<InputStream> reader =
                zip.openMember(static_cast<int32_t>(i), &size, false);
            CheckingSink sink;
            reader->transfer(sink, -1);
            reader.reset();
            const uint16_t kind = member.flags & kZipKindMask;
            const bool aes = kind == kZipAes128 || kind == kZipAes192 || kind == kZipAes256;
            if (sink.count != size) {
                throw OVException(kZipVerificationFailed,
                                  "Member length differs from the directory");
            }
            // AE-2 members carry CRC 0: their authentication code was checked by the reader.
            if (!(aes && member.crc == 0) && sink.crc.result() != member.crc) {
                throw OVException(kZipVerificationFailed, "Verification failed");
            }
            std::printf("OK      %s\n", name.c_str());
        } catch (const std::exception& failure) {
            ++failures;
            std::printf("FAILED  %s: %s\n", name.c_str(), MessageOf(failure).c_str());
        }
    }
    return failures == 0 ? 0 : 1;
}

int Extract(ZipFile& zip, const std::string& directory, bool clean) {
    // Through the wide path: a narrow std::filesystem path on Windows is not read as UTF-8.
    const std::u8string native =
        fs::absolute(PathOfArgument(directory)).lexically_normal().u8string();
    const std::string absolute(native.begin(), native.end());
    // The recursive removal stops the whole process on a path this short; refuse it here.
    if (clean && absolute.size() < 4) {
        std::fprintf(stderr, "orvzip: refusing to clean %s\n", absolute.c_str());
        return 1;
    }
    std::vector<WString> passedOver;
    if (!UnzipArchive(zip, CUtils::StringUTF8ToWstring(absolute), clean, &passedOver)) {
        std::fprintf(stderr, "orvzip: could not prepare %s\n", absolute.c_str());
        return 1;
    }
    for (const WString& message : passedOver) {
        std::fprintf(stderr, "orvzip: %s\n", CUtils::WstringToStringUTF8(message).c_str());
    }
    if (!passedOver.empty()) {
        std::fprintf(stderr, "orvzip: %zu members were not extracted\n", passedOver.size());
        return 1;
    }
    return 0;
}

// ---- create ----

// One file to store: the member's path ("/" between folders), the file's path, and the file as
// the messages name it.
struct Input {
    WString member;
    WString source;
    std::string shown;
};

// A path as messages show it: UTF-8, "/" between its steps.
std::string TextOf(const fs::path& path) {
    const std::u8string text = path.generic_u8string();
    return std::string(text.begin(), text.end());
}

std::string TextOf(const WString& text) { return CUtils::WstringToStringUTF8(text); }

// A path found in the file system as wide text, "/" between its steps; a Linux name that is not
// UTF-8 has none and is refused.
WString WideOf(const fs::path& path) {
    try {
        return path.generic_u16string();
    } catch (const std::exception&) {
        throw std::runtime_error(TextOf(path) + ": the name is not UTF-8 text");
    }
}

// The absolute form of a path given on the command line, without a trailing separator, so that
// "." and "folder/" are named by the folder itself. Its last step is the name stored under; a
// root has none and is refused.
fs::path AbsoluteOf(const fs::path& given, const std::string& argument) {
    std::error_code error;
    fs::path path = fs::absolute(given, error).lexically_normal();
    if (!path.has_filename()) {
        path = path.parent_path();
    }
    if (error || !path.has_filename()) {
        throw std::runtime_error(argument + ": has no name to store it under");
    }
    return path;
}

// The files below `folder` (an absolute path, `given` as the command line gave it), stored under
// its name and their paths below it, in order of their member paths. A folder with nothing in it
// is named on standard error: archives hold no folders of their own. A link to a folder is
// refused rather than followed, as it may lead back up the tree; anything that is neither a file
// nor a folder is refused.
void CollectFolder(const fs::path& folder, const fs::path& given, std::vector<Input>& inputs) {
    const fs::path name = folder.filename();
    std::vector<Input> found;
    std::error_code error;
    if (fs::is_empty(folder, error) && !error) {
        std::fprintf(stderr, "orvzip: empty folder not stored: %s/\n", TextOf(name).c_str());
    }
    auto walk = fs::recursive_directory_iterator(folder, error);
    for (; !error && walk != fs::end(walk); walk.increment(error)) {
        const fs::directory_entry& entry = *walk;
        const fs::path below = entry.path().lexically_relative(folder);
        const std::string shown = TextOf(given / below);
        const fs::path relative = name / below;
        std::error_code ignored;
        const bool link = entry.is_symlink(ignored);
        const fs::file_status status = entry.status(error);
        if (link && fs::is_directory(status)) {
            throw std::runtime_error(shown + ": a link to a folder, which is not followed");
        }
        if (fs::is_directory(status)) {
            if (fs::is_empty(entry.path(), error) && !error) {
                std::fprintf(stderr, "orvzip: empty folder not stored: %s/\n",
                             TextOf(relative).c_str());
            }
        } else if (fs::is_regular_file(status)) {
            found.push_back({WideOf(relative), WideOf(entry.path()), shown});
        } else if (status.type() == fs::file_type::not_found) {
            throw std::runtime_error(shown + (link ? ": a link to nothing" : ": no longer there"));
        } else if (!error) {
            throw std::runtime_error(shown + ": neither a file nor a folder");
        }
        if (error) {
            throw std::runtime_error(shown + ": " + error.message());
        }
    }
    if (error) {
        throw std::runtime_error(TextOf(given) + ": cannot be read: " + error.message());
    }
    std::sort(found.begin(), found.end(),
              [](const Input& a, const Input& b) { return a.member < b.member; });
    inputs.insert(inputs.end(), found.begin(), found.end());
}

// What one PATH argument adds: a file under its own name, or a folder's files.
void Collect(const std::string& argument, std::vector<Input>& inputs) {
    const fs::path given = PathOfArgument(argument);
    std::error_code error;
    const fs::file_status status = fs::status(given, error);
    if (status.type() == fs::file_type::not_found) {
        throw std::runtime_error(argument + ": no such file or folder");
    }
    if (error) {
        throw std::runtime_error(argument + ": " + error.message());
    }
    const fs::path path = AbsoluteOf(given, argument);
    if (fs::is_directory(status)) {
        CollectFolder(path, given, inputs);
    } else if (fs::is_regular_file(status)) {
        inputs.push_back({WideOf(path.filename()), WideOf(path), argument});
    } else {
        throw std::runtime_error(argument + ": neither a file nor a folder");
    }
}

// Two inputs with one member path, or a file whose member path another member needs as its
// folder, would be one file when extracted (and the library keeps one of two members with the
// same path): refused before anything is written.
void RefuseClashes(const std::vector<Input>& inputs) {
    std::map<WString, const Input*> files;
    std::map<WString, const Input*> folders;  // each folder step, by the first file below it
    for (const Input& input : inputs) {
        const auto [before, added] = files.emplace(input.member, &input);
        if (!added) {
            throw std::runtime_error(before->second->shown + " and " + input.shown +
                                     " would both be stored as " + TextOf(input.member));
        }
        for (size_t slash = input.member.find(u'/'); slash != WString::npos;
             slash = input.member.find(u'/', slash + 1)) {
            folders.emplace(input.member.substr(0, slash), &input);
        }
    }
    for (const auto& [folder, below] : folders) {
        const auto file = files.find(folder);
        if (file != files.end()) {
            throw std::runtime_error(file->second->shown + " would be stored as " + TextOf(folder) +
                                     ", which " + below->shown + " needs as its folder");
        }
    }
}

// The archive's path, once nothing stands there and the folder it goes into exists: create
// never replaces a file and never makes a folder.
WString ArchiveTarget(const std::string& argument) {
    const fs::path archive = PathOfArgument(argument);
    std::error_code error;
    if (fs::exists(fs::symlink_status(archive, error))) {
        throw std::runtime_error(argument + ": already exists; create never replaces a file");
    }
    if (!archive.has_filename()) {
        throw std::runtime_error(argument + ": names a folder, not an archive file");
    }
    const fs::path folder = fs::absolute(archive, error).parent_path();
    if (error || !fs::is_directory(folder, error)) {
        throw std::runtime_error(argument + ": no folder " + TextOf(folder) + " to write into");
    }
    return CUtils::StringUTF8ToWstring(argument);
}

// A new file beside the archive, under a name no file had, that the library writes the archive
// into: the archive's own path stays free until the archive is whole. The library makes its file
// at once and saves what was added even after a failure, so it never works on the archive's
// path itself. Taken away, with the library's own temporary file, unless put in place.
class PartFile {
public:
    explicit PartFile(const WString& archive) {
        constexpr int kAttempts = 8;
        for (int attempt = 0; path.empty(); ++attempt) {
            const WString candidate = archive + u"." + CUtils::RandomWstring(8, 62) + u".orvpart";
            try {
                FileOutputStream(candidate, FileOutputStream::kCreateNew).close();
                path = candidate;
            } catch (const OVException& failure) {
                if (attempt + 1 >= kAttempts || !CUtils::FileExists(candidate)) {
                    throw std::runtime_error(TextOf(candidate) + ": " + MessageOf(failure));
                }
            }
        }
    }
    ~PartFile() {
        if (!path.empty()) {
            CUtils::DeleteFileOV(path + u".temp");
            CUtils::DeleteFileOV(path);
        }
    }
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    const WString& Path() const { return path; }

    // Moves the finished archive to `archive`, where nothing may stand by now either.
    void PutInPlace(const WString& archive) {
        if (CUtils::FileExists(archive)) {
            throw std::runtime_error(TextOf(archive) +
                                     ": appeared while the archive was made; left as it is");
        }
        if (!CUtils::RenameFileOV(path, archive, false)) {
            throw std::runtime_error(TextOf(archive) + ": the archive could not be put in place");
        }
        path.clear();
    }

private:
    WString path;
};

// Adds every input to a new archive at `path` and saves it.
void WriteArchive(const WString& path, const std::vector<Input>& inputs,
                  MZipDataSecurityProvider* provider, int32_t kind) {
    ZipFile zip(path, provider, true, false, false);
    for (const Input& input : inputs) {
        std::unique_ptr<FileInputStream> content;
        try {
            content = std::make_unique<FileInputStream>(input.source);
        } catch (const std::exception& failure) {
            throw std::runtime_error(input.shown + ": cannot be read: " + MessageOf(failure));
        }
        try {
            zip.addFile(input.member, *content, kind);
        } catch (const std::exception& failure) {
            throw std::runtime_error(input.shown + ": cannot be stored as " + TextOf(input.member) +
                                     ": " + MessageOf(failure));
        }
    }
    if (zip.close() != 0) {
        throw std::runtime_error(TextOf(path) + ": the archive could not be written");
    }
}

int Create(const Arguments& arguments, MZipDataSecurityProvider* provider) {
    if (arguments.password && arguments.password->empty()) {
        throw std::runtime_error("an empty password encrypts nothing; --no-encryption stores "
                                 "members unencrypted");
    }
    std::vector<Input> inputs;
    for (size_t i = 1; i < arguments.positional.size(); ++i) {
        Collect(arguments.positional[i], inputs);
    }
    if (inputs.empty()) {
        throw std::runtime_error("no file to store: the folders given hold none");
    }
    RefuseClashes(inputs);
    const WString archive = ArchiveTarget(arguments.positional[0]);
    PartFile part(archive);
    WriteArchive(part.Path(), inputs, provider,
                 arguments.noEncryption ? kZipNotEncrypted : kZipAes256);
    part.PutInPlace(archive);
    for (const Input& input : inputs) {
        std::printf("added   %s\n", TextOf(input.member).c_str());
    }
    return 0;
}

int Run(const Arguments& arguments) {
    std::unique_ptr<FixedPasswordProvider> provider;
    if (arguments.password) {
        provider = std::make_unique<FixedPasswordProvider>(
            CUtils::StringUTF8ToWstring(*arguments.password));
    }
    if (arguments.command == "create") {
        return Create(arguments, provider.get());
    }
    const std::string& archive = arguments.positional[0];
    const WString archivePath = WideOfArgument(archive);
    std::unique_ptr<ZipFile> zip;
    try {
        // Opened over a stream, which the library never saves: the tool leaves the archive as it
        // is, even where the library would rewrite one (duplicate names).
        auto file = std::make_unique<FileInputStream>(archivePath);
        zip = std::make_unique<ZipFile>(std::move(file), provider.get());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "orvzip: %s: %s\n", archive.c_str(), MessageOf(failure).c_str());
        return 1;
    }
    if (arguments.command == "list") {
        return List(*zip, archivePath);
    }
    if (arguments.command == "test") {
        return Test(*zip);
    }
    return Extract(*zip, arguments.positional[1], arguments.clean);
}

}  // namespace

int main(int argc, char** argv) {
    // Not argv itself: on Windows that is in the ANSI code page, which cannot name every path.
    const std::vector<std::string> words = Utf8Arguments(argc, argv);
    if (words.size() == 2 && (words[1] == "--help" || words[1] == "-h")) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    Arguments arguments;
    try {
        arguments = Parse(words);
    } catch (const UsageError&) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    try {
        const int status = Run(arguments);
        std::fflush(stdout);
        return status;
    } catch (const std::exception& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "orvzip: %s\n", MessageOf(failure).c_str());
        return 1;
    }
}
