// orvzip.cpp: lists, tests and extracts ZIP archives with the add-on's own ZIP library, so that
// its reading can be compared with other tools on real archives.
//
//   orvzip list ARCHIVE
//   orvzip test ARCHIVE [--password P]
//   orvzip extract ARCHIVE DIR [--password P] [--clean]
//
// Exit status: 0 success (and --help), 1 failure (the message on standard error), 2 usage error.
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/FileStreams.h"
#include "streams/Hash.h"
#include "streams/OutputStream.h"
#include "zip/Unzip.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr char kUsage[] =
    "usage: orvzip list ARCHIVE | test ARCHIVE [--password P] | extract ARCHIVE DIR [--password P] "
    "[--clean]\n"
    "  list     one line per member: method (stored, deflate, or mN for another method number,\n"
    "           taken from the local header; the method inside an AES member; dir for a\n"
    "           directory), encryption (none, pkware, aes128, aes192, aes256, strong), size,\n"
    "           compressed size, CRC-32 in hex, modification time, path\n"
    "  test     reads every file member to its end through its checks, and compares length and\n"
    "           CRC with the directory; one line per member, OK or the error\n"
    "  extract  extracts the file members into DIR (emptied first with --clean); members whose\n"
    "           path leads outside DIR are refused\n"
    "  Without --password, encrypted members are read with the library's built-in password.\n"
    "  Exit status: 0 success, 1 failure, 2 usage error.\n";

class UsageError : public std::exception {};

struct Arguments {
    std::string command;
    std::vector<std::string> positional;
    std::optional<std::string> password;
    bool clean = false;
};

Arguments Parse(int argc, char** argv) {
    if (argc < 2) {
        throw UsageError();
    }
    Arguments arguments;
    arguments.command = argv[1];
    bool optionsEnded = false;
    for (int i = 2; i < argc; ++i) {
        const std::string argument = argv[i];
        if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
            arguments.positional.push_back(argument);
        } else if (argument == "--") {
            optionsEnded = true;
        } else if (argument == "--password" && arguments.command != "list") {
            if (i + 1 >= argc || arguments.password) {
                throw UsageError();
            }
            arguments.password = argv[++i];
        } else if (argument == "--clean" && arguments.command == "extract" && !arguments.clean) {
            arguments.clean = true;
        } else {
            throw UsageError();
        }
    }
    const size_t wanted = arguments.command == "extract" ? 2 : 1;
    const bool known = arguments.command == "list" || arguments.command == "test" ||
                       arguments.command == "extract";
    if (!known || arguments.positional.size() != wanted) {
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
    const std::string absolute = std::filesystem::absolute(directory).lexically_normal().string();
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

int Run(const Arguments& arguments) {
    std::unique_ptr<FixedPasswordProvider> provider;
    if (arguments.password) {
        provider = std::make_unique<FixedPasswordProvider>(
            CUtils::StringUTF8ToWstring(*arguments.password));
    }
    const std::string& archive = arguments.positional[0];
    std::unique_ptr<ZipFile> zip;
    try {
        // Opened over a stream, which the library never saves: the tool leaves the archive as it
        // is, even where the library would rewrite one (duplicate names).
        auto file = std::make_unique<FileInputStream>(CUtils::StringUTF8ToWstring(archive));
        zip = std::make_unique<ZipFile>(std::move(file), provider.get());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "orvzip: %s: %s\n", archive.c_str(), MessageOf(failure).c_str());
        return 1;
    }
    if (arguments.command == "list") {
        return List(*zip, CUtils::StringUTF8ToWstring(archive));
    }
    if (arguments.command == "test") {
        return Test(*zip);
    }
    return Extract(*zip, arguments.positional[1], arguments.clean);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    Arguments arguments;
    try {
        arguments = Parse(argc, argv);
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
