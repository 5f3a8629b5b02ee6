// ZipFile.h: a ZIP archive: its central directory as a table of members, the walk over them,
// member readers, and the rewrite of the whole archive through a temporary file on close when
// anything changed.
//
// All on-disk values are little-endian. Failures are OVException; codes of structure are -18
// (bad or missing record), -16 (short directory signature), -6 (bad index), 5 (delete on open
// failure failed), 15 (save failed) and 4864 (open failed with no code). Their messages are
// empty, save for the few named with them and for the checks that this library makes beyond the
// format's own (a record cut short, members that overlap), which say what went wrong.
#pragma once

#include "common/WideString.h"
#include "streams/FileStreams.h"
#include "streams/InputStream.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <vector>

class ZipFile;

// Encryption kinds, bits 0 to 2 of ZipMemberInfo::flags.
enum ZipEncryptionKind : uint16_t {
    kZipNotEncrypted = 0,
    kZipPkware = 1,
    kZipAes128 = 2,
    kZipAes192 = 3,
    kZipAes256 = 4,
    kZipStrong = 5,
};
constexpr uint16_t kZipKindMask = 0x7;
// One of the AES kinds.
constexpr bool IsAesKind(int32_t kind) { return kind >= kZipAes128 && kind <= kZipAes256; }
constexpr uint16_t kZipSizesFollowData = 0x8;  // the local header's sizes are in a descriptor
constexpr uint16_t kZipShadowed = 0x10;        // a directory that another member's path holds
constexpr uint16_t kZipDirectoryAttribute = 0x10;
constexpr uint32_t kZipEncryptedAttribute = 0x4000;  // added to an encrypted entry's attributes

// Result codes of the archive layer.
constexpr int32_t kZipBadStructure = -18;
constexpr int32_t kZipShortSignature = -16;
constexpr int32_t kZipBadIndex = -6;
constexpr int32_t kZipDeleteFailed = 5;
constexpr int32_t kZipSaveFailed = 15;
constexpr int32_t kZipOpenFailed = 4864;
// A standard exception while opening.
constexpr int32_t kZipStandardException = -999;
// Adding a block would bring an extra field past 65,535 bytes.
constexpr int32_t kZipExtraFieldTooLong = -3;
// What close() gives when something was thrown inside.
constexpr int32_t kZipCloseFailed = 14;

// Member indices: bit 30 selects the pending members; these two stand for the directory.
constexpr uint32_t kZipPendingBit = 0x40000000u;
constexpr uint32_t kZipDirectoryIndex = 0x7FFFFFFFu;
constexpr uint32_t kZipDirectoryIndexAlt = 0x80000000u;

struct ZipMemberInfo {
    WString folder;  // the path up to and including the last "/"
    int32_t hash = 0;
    WString name;  // behind the last "/"; empty for a directory
    uint32_t crc = 0;
    uint64_t offset = 0;  // of the local header
    uint64_t stamp = 0;   // DOS time in bits 0-15, DOS date in bits 16-31
    uint64_t compressedSize = 0;
    uint64_t uncompressedSize = 0;
    uint16_t attributes = 0;
    uint16_t flags = 0;
};

// A member waiting to be written by the next save: its data already compressed and encrypted.
struct ZipPendingMember : ZipMemberInfo {
    ByteBuffer data;
    uint64_t storedLength = 0;
};

// Where member passwords and salts come from.
class MZipDataSecurityProvider {
public:
    enum PasswordStatus : int32_t {
        kPasswordNone = 0,      // none: "Password not supplied"
        kPasswordOnce = 1,      // one password, no further attempts
        kPasswordAskAgain = 2,  // may be asked again
        kPasswordTooLong = 3,   // "Password is too long"
    };

    virtual ~MZipDataSecurityProvider() = default;

    virtual int32_t getPassword(ZipFile& zip, const WString& memberName, uint32_t index,
                                bool isCentralDirectory, WString& password) = 0;
    virtual void confirmPassword(ZipFile& zip, const WString& memberName,
                                 const WString& password) = 0;
    virtual void fillSalt(ZipFile& zip, ByteBuffer& buffer) = 0;
};

class ZipFile : public MZipDataSecurityProvider {
public:
    // The path of an archive read from a stream that its owner hands over: never saved.
    static constexpr char16_t kStreamPath[] = u"::stream";

    // Opens the archive at once. With no provider, passwords are the built-in default.
    ZipFile(const WString& path, MZipDataSecurityProvider* provider, bool createIfMissing,
            bool deleteOnOpenFailure, bool stampOnRead);
    // An archive in a stream, read-only.
    ZipFile(std::unique_ptr<SeekableInputStream> stream, MZipDataSecurityProvider* provider);
    // Closes, which may rewrite the archive.
    ~ZipFile() override;
    ZipFile(const ZipFile&) = delete;
    ZipFile& operator=(const ZipFile&) = delete;

    void open();
    // 0, or 14 when something was thrown inside: the exception goes no further.
    int32_t close();

    // A reader of member `index` (bit 30: a pending member), owned by the caller. A standalone
    // reader has a file of its own and may outlive the walk.
    std::unique_ptr<InputStream> openMember(int32_t index, uint64_t* uncompressedSize,
                                            bool standalone);

    int32_t getPassword(ZipFile& zip, const WString& memberName, uint32_t index,
                        bool isCentralDirectory, WString& password) override;
    void confirmPassword(ZipFile& zip, const WString& memberName, const WString& password) override;
    void fillSalt(ZipFile& zip, ByteBuffer& buffer) override;

    // A member to be written by the next save.
    void addPendingMember(ZipPendingMember member);
    // The rest of `content` as a new member at `memberPath` (relative, "/" between folders),
    // deflated and, for kZipAes256, encrypted with AES-256 (AE-2) under the provider's password,
    // the built-in one without a provider; stamped with the present local time. The next save
    // writes it. Throws OVException for another kind or a path that would leave the folder the
    // archive is unpacked into.
    void addFile(const WString& memberPath, InputStream& content, int32_t kind);

    const std::vector<ZipMemberInfo>& getMembers() const { return members; }
    const std::vector<ZipPendingMember>& getPendingMembers() const { return pendingMembers; }
    const WString& getPath() const { return path; }
    const ByteBuffer& getComment() const { return comment; }
    bool isOpened() const { return opened; }
    bool isModified() const { return modified; }
    // "folder" + "name" of member `index`.
    WString getMemberPath(uint32_t index) const;

private:
    void readDirectory();
    void refuseOverlaps(uint64_t streamSize);
    // Where the data of the member whose local header is at `offset` must end.
    uint64_t dataLimit(uint64_t offset) const;
    void save();
    void writeArchive(const WString& temporaryPath);

    WString path;
    MZipDataSecurityProvider* provider;
    bool createIfMissing;
    bool deleteOnOpenFailure;
    bool stampOnRead;
    bool modified = false;
    bool isNew = false;
    uint16_t cdAlgorithm = 0;
    int32_t cdMethod = 6;
    ByteBuffer comment;
    bool opened = false;
    uint64_t cdOffset = 0;
    uint64_t cdSize = 0;
    uint16_t versionMadeBy = 64;
    uint16_t versionNeeded = 20;
    std::vector<ZipMemberInfo> members;
    // The members' local header offsets, the directory's offset and the stream's length,
    // ascending: each member's data ends at the first of them behind its header.
    std::vector<uint64_t> boundaries;
    FileInputStream fileStream;
    std::unique_ptr<SeekableInputStream> ownedStream;  // the stream of a "::stream" archive
    SeekableInputStream* stream = nullptr;             // the stream in use
    std::vector<ZipPendingMember> pendingMembers;
    int64_t localTimeOffset = 0;  // seconds, local time less system time
};

// What the walk delivers.
struct ZipDirectoryEntry {
    ZipFile* zip = nullptr;
    uint32_t crc = 0;
    int32_t memberIndex = -1;  // -1 for a directory
    std::time_t time = 0;
    uint64_t compressedSize = 0;
    uint64_t uncompressedSize = 0;
    uint32_t attributes = 0;  // 0x10 directory, 0x4000 encrypted
    WString name;
    WString path;
};

// Walks the members below `root`, folder by folder.
class ZipDirectoryIterator {
public:
    enum Flags : uint32_t {
        kFiles = 1,
        kDirectories = 2,
        kCaseInsensitive = 4,
        kFilesHere = 8,  // set and cleared by the walk itself
    };

    ZipDirectoryIterator(ZipFile& zip, const WString& root, uint32_t flags);

    // True while entries come.
    bool next(ZipDirectoryEntry& entry);

private:
    ZipFile& zip;
    WString root;
    WString current;
    uint32_t index = 0;
    uint32_t flags;
    WString lastFolder = u"'";
    int32_t lastHash = -1;
};
