// ZipSave.cpp: rewriting the whole archive through a temporary file: member data copied unchanged
// from the old archive, pending members from memory, then the directory and the end records.
#include "ZipRecords.h"
#include "ZipTable.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/FileStreams.h"
#include "streams/Hash.h"
#include "zip/ZipFile.h"

#include <cstdio>
#include <string>

using namespace ziprecords;

namespace {

constexpr uint16_t kVersionMadeBy = 64;  // a DOS-like host: the attribute word is DOS attributes
constexpr uint16_t kVersionDefault = 20;
constexpr uint16_t kVersionZip64 = 45;
constexpr uint16_t kVersionStrong = 51;
constexpr uint16_t kVersionEncryptedDirectory = 62;
constexpr uint64_t kMaxEntries16 = 65535;

struct Writer {
    CountingOutputStream& out;

    void bytes(const uint8_t* data, size_t length) {
        if (length > 0)
            out.write(data, static_cast<int64_t>(length));
    }
    void le16(uint64_t value) {
        uint8_t buffer[2];
        CUtils::WriteLE16(buffer, static_cast<uint16_t>(value));
        bytes(buffer, 2);
    }
    void le32(uint64_t value) {
        uint8_t buffer[4];
        CUtils::WriteLE32(buffer, static_cast<uint32_t>(value));
        bytes(buffer, 4);
    }
    void le64(uint64_t value) {
        uint8_t buffer[8];
        CUtils::WriteLE64(buffer, value);
        bytes(buffer, 8);
    }
};

uint32_t Saturate(uint64_t value) {
    return value >= kSaturated32 ? kSaturated32 : static_cast<uint32_t>(value);
}

// Appends one block; the whole field may not pass 65,535 bytes.
void AddExtraBlock(ByteBuffer& extra, uint16_t id, const ByteBuffer& data) {
    if (extra.size() + 4 + data.size() > 65535)
        throw OVException(-3, "");
    uint8_t head[4];
    CUtils::WriteLE16(head, id);
    CUtils::WriteLE16(head + 2, static_cast<uint16_t>(data.size()));
    extra.insert(extra.end(), head, head + 4);
    extra.insert(extra.end(), data.begin(), data.end());
}

// The field without any block of `id`; a block running past the field ends it.
ByteBuffer WithoutBlock(const ByteBuffer& extra, uint16_t id) {
    ByteBuffer kept;
    size_t at = 0;
    while (at + 4 <= extra.size()) {
        const uint16_t blockId = CUtils::ReadLE16(extra.data() + at);
        const size_t size = CUtils::ReadLE16(extra.data() + at + 2);
        if (at + 4 + size > extra.size())
            break;
        if (blockId != id)
            kept.insert(kept.end(), extra.begin() + static_cast<std::ptrdiff_t>(at),
                        extra.begin() + static_cast<std::ptrdiff_t>(at + 4 + size));
        at += 4 + size;
    }
    return kept;
}

// A Unicode path block when the name is not plain ASCII.
void AddUnicodeBlock(ByteBuffer& extra, const WString& name, const std::string& utf8) {
    if (utf8.size() == name.size())
        return;
    Crc32 crc;
    crc.update(reinterpret_cast<const uint8_t*>(utf8.data()), static_cast<int64_t>(utf8.size()));
    ByteBuffer data(5);
    data[0] = 1;
    CUtils::WriteLE32(data.data() + 1, crc.result());
    data.insert(data.end(), utf8.begin(), utf8.end());
    AddExtraBlock(extra, kExtraUnicodePath, data);
}

ByteBuffer AesBlockData() {
    ByteBuffer data(7);
    CUtils::WriteLE16(data.data(), 2);
    CUtils::WriteLE16(data.data() + 2, 0x4541);
    data[4] = 3;
    CUtils::WriteLE16(data.data() + 5, kMethodDeflated);
    return data;
}

ByteBuffer StrongBlockData() {
    ByteBuffer data(12, 0);
    CUtils::WriteLE16(data.data(), 2);
    CUtils::WriteLE16(data.data() + 2, 0x6610);
    CUtils::WriteLE16(data.data() + 4, 256);
    CUtils::WriteLE16(data.data() + 6, 1);
    return data;
}

bool IsAes(uint16_t flags) {
    const uint16_t kind = flags & kZipKindMask;
    return kind >= kZipAes128 && kind <= kZipAes256;
}

std::string HexName(uint64_t value) {
    char text[32];
    std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(value));
    return text;
}

// What the directory needs of one written member beyond its table entry.
struct Written {
    ZipMemberInfo* member;
    std::string name;    // as written, UTF-8
    ByteBuffer unicode;  // the Unicode block, if any, as a whole extra field
    uint16_t method;
};

}  // namespace

void ZipFile::save() {
    if (path == kStreamPath)
        return;
    if (pendingMembers.empty() && !modified)
        return;
    const WString temporaryPath = path + u".temp";
    // A temporary file without its archive is what a failed rename left: the only copy of the
    // archive, which a new attempt must not overwrite.
    if (CUtils::FileExists(temporaryPath) && !CUtils::FileExists(path))
        throw OVException(kZipSaveFailed, "Failed to save zip file");
    if (CUtils::FileExists(temporaryPath))
        CUtils::DeleteFileOV(temporaryPath);
    if (!CUtils::TouchFile(temporaryPath))
        throw OVException("Failed to create temp file for zip write");

    // The table changes only once the new archive stands in place of the old.
    const std::vector<ZipMemberInfo> savedMembers = members;
    const std::vector<ZipPendingMember> savedPending = pendingMembers;
    const uint64_t savedOffset = cdOffset;
    const uint64_t savedSize = cdSize;
    const uint16_t savedVersion = versionNeeded;
    auto restore = [&] {
        members = savedMembers;
        pendingMembers = savedPending;
        cdOffset = savedOffset;
        cdSize = savedSize;
        versionNeeded = savedVersion;
    };
    try {
        writeArchive(temporaryPath);
    } catch (const OVException& e) {
        restore();
        CUtils::DeleteFileOV(temporaryPath);
        throw OVException(e.GetCode(), "");
    } catch (...) {
        restore();
        CUtils::DeleteFileOV(temporaryPath);
        throw OVException("");
    }
    if (!CUtils::RenameFileOV(temporaryPath, path, true)) {
        restore();
        // The rename may have removed the old archive before it failed; the new one stays under
        // the temporary name so that the data survives.
        throw OVException(kZipSaveFailed, "Failed to save zip file");
    }
    for (ZipPendingMember& member : pendingMembers)
        members.push_back(static_cast<ZipMemberInfo&&>(std::move(member)));
    pendingMembers.clear();
    ziptable::SortMembers(members);
    modified = false;
}

void ZipFile::writeArchive(const WString& temporaryPath) {
    FileOutputStream file(temporaryPath, FileOutputStream::kCreate);
    CountingOutputStream out(file);
    Writer write{out};

    std::vector<Written> written;
    written.reserve(members.size() + pendingMembers.size());

    std::unique_ptr<FileInputStream> old;
    if (cdOffset != 0 || !members.empty())
        old = std::make_unique<FileInputStream>(path);

    for (size_t i = 0; i < members.size(); ++i) {
        ZipMemberInfo& member = members[i];
        if (old->seek(static_cast<int64_t>(member.offset)) != static_cast<int64_t>(member.offset))
            throw OVException("Local file signature doesn't match");
        uint8_t header[kLocalHeaderSize];
        if (old->read(header, kLocalHeaderSize) != kLocalHeaderSize ||
            CUtils::ReadLE32(header) != kLocalHeaderSignature)
            throw OVException("Local file signature doesn't match");
        const uint16_t localNameLength = CUtils::ReadLE16(header + 26);
        const uint16_t localExtraLength = CUtils::ReadLE16(header + 28);
        if (old->skip(localNameLength) < 0)
            throw OVException(kZipBadStructure, "");
        ByteBuffer extra(localExtraLength);
        int64_t got = 0;
        while (got < localExtraLength) {
            const int64_t part = old->read(extra.data() + got, localExtraLength - got);
            if (part <= 0)
                throw OVException(kZipBadStructure, "");
            got += part;
        }

        uint16_t localFlags = CUtils::ReadLE16(header + 6);
        if (localFlags & kFlagSizesFollow) {
            localFlags &= static_cast<uint16_t>(~kFlagSizesFollow);
            CUtils::WriteLE32(header + 14, member.crc);
            CUtils::WriteLE32(header + 18, Saturate(member.compressedSize));
            CUtils::WriteLE32(header + 22, Saturate(member.uncompressedSize));
        } else {
            uint64_t compressed = CUtils::ReadLE32(header + 18);
            uint64_t uncompressed = CUtils::ReadLE32(header + 22);
            // Saturated sizes stand in the local Zip64 block, or else the table keeps its own.
            const auto zip64 = FindExtraBlock(extra.data(), extra.size(), kExtraZip64);
            if (uncompressed == kSaturated32)
                uncompressed = zip64 && zip64->size >= 8 ? CUtils::ReadLE64(zip64->data)
                                                         : member.uncompressedSize;
            if (compressed == kSaturated32)
                compressed = zip64 && zip64->size >= 16 ? CUtils::ReadLE64(zip64->data + 8)
                                                        : member.compressedSize;
            member.compressedSize = compressed;
            member.uncompressedSize = uncompressed;
        }
        member.flags &= static_cast<uint16_t>(~kZipSizesFollowData);
        localFlags &= static_cast<uint16_t>(~kFlagUnicode);
        CUtils::WriteLE16(header + 6, localFlags);

        member.offset = out.getCount();
        const WString wideName = cdAlgorithm != 0 ? CUtils::StringUTF8ToWstring(HexName(i + 1))
                                                  : member.folder + member.name;
        Written entry{
            &member, CUtils::WstringToStringUTF8(wideName), {}, CUtils::ReadLE16(header + 8)};
        AddUnicodeBlock(entry.unicode, wideName, entry.name);
        extra = WithoutBlock(extra, kExtraUnicodePath);
        if (extra.size() + entry.unicode.size() > 65535)
            throw OVException(-3, "");
        extra.insert(extra.end(), entry.unicode.begin(), entry.unicode.end());
        if (entry.name.size() > 65535)
            throw OVException(kZipBadStructure, "");
        CUtils::WriteLE16(header + 26, static_cast<uint16_t>(entry.name.size()));
        CUtils::WriteLE16(header + 28, static_cast<uint16_t>(extra.size()));

        write.bytes(header, kLocalHeaderSize);
        write.bytes(reinterpret_cast<const uint8_t*>(entry.name.data()), entry.name.size());
        write.bytes(extra.data(), extra.size());
        old->transfer(out, static_cast<int64_t>(member.compressedSize));
        written.push_back(std::move(entry));
    }
    old.reset();

    for (size_t i = 0; i < pendingMembers.size(); ++i) {
        ZipPendingMember& member = pendingMembers[i];
        member.compressedSize = member.data.size();
        member.flags &= static_cast<uint16_t>(~kZipSizesFollowData);
        member.offset = out.getCount();
        const uint16_t kind = member.flags & kZipKindMask;
        const bool hidden = cdAlgorithm != 0;
        const WString wideName = hidden
                                     ? CUtils::StringUTF8ToWstring(HexName(members.size() + i + 1))
                                     : member.folder + member.name;
        Written entry{&member,
                      CUtils::WstringToStringUTF8(wideName),
                      {},
                      IsAes(member.flags) ? kMethodAes : kMethodDeflated};
        AddUnicodeBlock(entry.unicode, wideName, entry.name);
        ByteBuffer extra = entry.unicode;
        const bool large =
            member.compressedSize >= kSaturated32 || member.uncompressedSize >= kSaturated32;
        if (large) {
            ByteBuffer sizes(16);
            CUtils::WriteLE64(sizes.data(), member.uncompressedSize);
            CUtils::WriteLE64(sizes.data() + 8, member.compressedSize);
            AddExtraBlock(extra, kExtraZip64, sizes);
        }
        if (IsAes(member.flags))
            AddExtraBlock(extra, kExtraAes, AesBlockData());
        if (entry.name.size() > 65535)
            throw OVException(kZipBadStructure, "");

        uint16_t localFlags = 0;
        if (kind != kZipNotEncrypted)
            localFlags |= kFlagEncrypted;
        if (kind == kZipStrong)
            localFlags |= kFlagStrongEncryption;
        write.le32(kLocalHeaderSignature);
        write.le16(large ? kVersionZip64 : kVersionDefault);
        write.le16(localFlags);
        write.le16(entry.method);
        write.le16(member.stamp & 0xFFFF);
        write.le16((member.stamp >> 16) & 0xFFFF);
        write.le32(hidden ? 0 : member.crc);
        write.le32(hidden ? 0 : Saturate(member.compressedSize));
        write.le32(hidden ? 0 : Saturate(member.uncompressedSize));
        write.le16(entry.name.size());
        write.le16(extra.size());
        write.bytes(reinterpret_cast<const uint8_t*>(entry.name.data()), entry.name.size());
        write.bytes(extra.data(), extra.size());
        write.bytes(member.data.data(), member.data.size());
        written.push_back(std::move(entry));
    }

    const uint64_t directoryOffset = out.getCount();
    bool anyZip64 = false;
    for (const Written& entry : written) {
        const ZipMemberInfo& member = *entry.member;
        const uint16_t kind = member.flags & kZipKindMask;
        const bool bigUncompressed = member.uncompressedSize >= kSaturated32;
        const bool bigCompressed = member.compressedSize >= kSaturated32;
        const bool bigOffset = member.offset >= kSaturated32;
        ByteBuffer extra;
        // A prefix of uncompressed size, compressed size, offset; every field it holds reads
        // saturated in the record, so that other readers find the same values.
        size_t zip64Fields = bigOffset ? 3 : bigCompressed ? 2 : bigUncompressed ? 1 : 0;
        if (zip64Fields > 0) {
            ByteBuffer data(zip64Fields * 8);
            CUtils::WriteLE64(data.data(), member.uncompressedSize);
            if (zip64Fields >= 2)
                CUtils::WriteLE64(data.data() + 8, member.compressedSize);
            if (zip64Fields >= 3)
                CUtils::WriteLE64(data.data() + 16, member.offset);
            AddExtraBlock(extra, kExtraZip64, data);
            anyZip64 = true;
        }
        if (!entry.unicode.empty()) {
            if (extra.size() + entry.unicode.size() > 65535)
                throw OVException(-3, "");
            extra.insert(extra.end(), entry.unicode.begin(), entry.unicode.end());
        }
        if (IsAes(member.flags))
            AddExtraBlock(extra, kExtraAes, AesBlockData());
        else if (kind == kZipStrong)
            AddExtraBlock(extra, kExtraStrongEncryption, StrongBlockData());

        uint16_t flags = 0;
        if (kind != kZipNotEncrypted)
            flags |= kFlagEncrypted;
        if (kind == kZipStrong)
            flags |= kFlagStrongEncryption;
        const uint16_t needed = kind == kZipStrong ? kVersionStrong
                                : zip64Fields > 0  ? kVersionZip64
                                                   : kVersionDefault;
        write.le32(kCentralHeaderSignature);
        write.le16(kVersionMadeBy);
        write.le16(needed);
        write.le16(flags);
        write.le16(entry.method);
        write.le16(member.stamp & 0xFFFF);
        write.le16((member.stamp >> 16) & 0xFFFF);
        write.le32(member.crc);
        write.le32(zip64Fields >= 2 ? kSaturated32 : member.compressedSize);
        write.le32(zip64Fields >= 1 ? kSaturated32 : member.uncompressedSize);
        write.le16(entry.name.size());
        write.le16(extra.size());
        write.le16(0);
        write.le16(0);
        write.le16(0);
        write.le32(member.attributes);
        write.le32(zip64Fields >= 3 ? kSaturated32 : member.offset);
        write.bytes(reinterpret_cast<const uint8_t*>(entry.name.data()), entry.name.size());
        write.bytes(extra.data(), extra.size());
    }
    cdOffset = directoryOffset;
    cdSize = out.getCount() - cdOffset;

    const uint64_t count = written.size();
    if (cdOffset > kSaturated32 || count >= kMaxEntries16 || anyZip64 || cdAlgorithm != 0) {
        versionNeeded = std::max<uint16_t>(
            versionNeeded, cdAlgorithm != 0 ? kVersionEncryptedDirectory : kVersionZip64);
        const uint64_t zip64EndOffset = out.getCount();
        write.le32(kZip64EndSignature);
        write.le64(44);
        write.le16(versionMadeBy);
        write.le16(versionNeeded);
        write.le32(0);
        write.le32(0);
        write.le64(count);
        write.le64(count);
        write.le64(cdSize);
        write.le64(cdOffset);
        write.le32(kZip64LocatorSignature);
        write.le32(0);
        write.le64(zip64EndOffset);
        write.le32(0);
    }

    const uint64_t shortCount = std::min(count, kMaxEntries16);
    write.le32(kEndSignature);
    write.le16(0);
    write.le16(0);
    write.le16(shortCount);
    write.le16(shortCount);
    write.le32(Saturate(cdSize));
    write.le32(Saturate(cdOffset));
    write.le16(comment.size());
    write.bytes(comment.data(), comment.size());
    // A short write or a full disk must fail here, before the rename puts the file in place.
    file.commit(true);
}
