// ZipRawArchive.cpp: archives made byte by byte for the tests of ZipFile.
#include "ZipRawArchive.h"

#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"

#include <zlib.h>

namespace ziptest {

std::string LE16(uint32_t value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>((value >> 8) & 0xFF)};
}
std::string LE32(uint32_t value) { return LE16(value & 0xFFFF) + LE16(value >> 16); }
std::string LE64(uint64_t value) {
    return LE32(static_cast<uint32_t>(value)) + LE32(static_cast<uint32_t>(value >> 32));
}
std::string Block(uint16_t id, const std::string& data) {
    return LE16(id) + LE16(static_cast<uint32_t>(data.size())) + data;
}
uint32_t Crc(const std::string& bytes) { return CUtils::Crc32OfString(bytes); }

namespace {

constexpr uint32_t kSaturated = 0xFFFFFFFF;

uint32_t VersionNeeded(const RawMember& m) { return m.zip64Local || m.zip64Central ? 45 : 20; }

std::string LocalHeader(const RawMember& m) {
    const uint32_t crc = m.descriptor ? 0 : m.crc;
    uint32_t packed = m.descriptor ? 0 : static_cast<uint32_t>(m.data.size());
    uint32_t plain = m.descriptor ? 0 : static_cast<uint32_t>(m.size);
    std::string extra = m.localExtra;
    if (m.zip64Local) {
        packed = plain = kSaturated;
        extra = Block(1, LE64(m.size) + LE64(m.data.size())) + extra;
    }
    return LE32(0x04034B50) + LE16(VersionNeeded(m)) + LE16(m.flags | (m.descriptor ? 8 : 0)) +
           LE16(m.method) + LE16(m.time) + LE16(m.date) + LE32(crc) + LE32(packed) + LE32(plain) +
           LE16(static_cast<uint32_t>(m.name.size())) + LE16(static_cast<uint32_t>(extra.size())) +
           m.name + extra;
}

std::string Descriptor(const RawMember& m) {
    return LE32(0x08074B50) + LE32(m.crc) + LE32(static_cast<uint32_t>(m.data.size())) +
           LE32(static_cast<uint32_t>(m.size));
}

std::string CentralRecord(const RawMember& m, uint64_t offset) {
    uint32_t packed = static_cast<uint32_t>(m.data.size());
    uint32_t plain = static_cast<uint32_t>(m.size);
    uint32_t local = static_cast<uint32_t>(offset);
    std::string extra = m.centralExtra;
    if (m.zip64Central) {
        packed = plain = local = kSaturated;
        extra = Block(1, LE64(m.size) + LE64(m.data.size()) + LE64(offset)) + extra;
    }
    return LE32(0x02014B50) + std::string(1, '\x14') + std::string(1, static_cast<char>(m.host)) +
           LE16(VersionNeeded(m)) + LE16(m.flags | (m.descriptor ? 8 : 0)) + LE16(m.method) +
           LE16(m.time) + LE16(m.date) + LE32(m.crc) + LE32(packed) + LE32(plain) +
           LE16(static_cast<uint32_t>(m.name.size())) + LE16(static_cast<uint32_t>(extra.size())) +
           LE16(0) + LE16(0) + LE16(0) + LE32(m.attributes) + LE32(local) + m.name + extra;
}

}  // namespace

std::string Build(const RawArchive& archive) {
    std::string out;
    std::vector<uint64_t> offsets;
    for (const RawMember& m : archive.members) {
        offsets.push_back(out.size());
        out += LocalHeader(m) + m.data + (m.descriptor ? Descriptor(m) : "");
    }
    const uint64_t cdOffset = out.size();
    for (size_t i = 0; i < archive.members.size(); ++i)
        out += CentralRecord(archive.members[i], offsets[i]);
    const uint64_t cdSize = out.size() - cdOffset + archive.cdSizeAdjust;
    out += archive.afterDirectory;
    const uint64_t count = archive.members.size() + archive.countAdjust;
    const uint64_t offset = cdOffset + archive.cdOffsetAdjust;
    if (archive.zip64) {
        const uint64_t zip64End = out.size();
        out += LE32(0x06064B50) + LE64(44) + LE16(45) + LE16(45) + LE32(0) + LE32(0) + LE64(count) +
               LE64(count) + LE64(cdSize) + LE64(offset);
        out += LE32(0x07064B50) + LE32(0) + LE64(zip64End) + LE32(1);
        out += LE32(0x06054B50) + LE16(0) + LE16(0) + LE16(0xFFFF) + LE16(0xFFFF) +
               LE32(kSaturated) + LE32(kSaturated);
    } else {
        out += LE32(0x06054B50) + LE16(0) + LE16(0) + LE16(static_cast<uint32_t>(count)) +
               LE16(static_cast<uint32_t>(count)) + LE32(static_cast<uint32_t>(cdSize)) +
               LE32(static_cast<uint32_t>(offset));
    }
    out += LE16(static_cast<uint32_t>(archive.comment.size())) + archive.comment;
    return out;
}

std::unique_ptr<ZipFile> OpenBytes(const std::string& bytes) {
    return std::make_unique<ZipFile>(
        std::make_unique<MemoryInputStream>(ByteBuffer(bytes.begin(), bytes.end())), nullptr);
}

// The code of the OVException that opening `bytes` throws; 1 when it opens.
int32_t OpenFailureCode(const std::string& bytes) {
    try {
        OpenBytes(bytes);
    } catch (const OVException& e) {
        return e.GetCode();
    }
    return 1;
}

std::vector<std::string> Paths(const ZipFile& zip) {
    std::vector<std::string> paths;
    for (const ZipMemberInfo& m : zip.getMembers())
        paths.push_back(Narrow(m.folder + m.name));
    return paths;
}

std::string MemberText(ZipFile& zip, int32_t index) {
    const std::unique_ptr<InputStream> reader = zip.openMember(index, nullptr, false);
    std::string text;
    char buffer[4096];
    for (int64_t got; (got = reader->read(reinterpret_cast<uint8_t*>(buffer), sizeof buffer)) >= 0;)
        text.append(buffer, static_cast<size_t>(got));
    return text;
}

std::vector<std::string> Walk(ZipFile& zip, const std::string& root, uint32_t flags) {
    ZipDirectoryIterator walk(zip, Wide(root), flags);
    ZipDirectoryEntry entry;
    std::vector<std::string> seen;
    while (walk.next(entry))
        seen.push_back((entry.memberIndex < 0 ? "dir:" : "") + Narrow(entry.path) + "|" +
                       Narrow(entry.name));
    return seen;
}

RawMember Member(const std::string& name, const std::string& data) {
    RawMember m;
    m.name = name;
    m.data = data;
    m.crc = Crc(data);
    m.size = data.size();
    return m;
}

std::string Repeat(const std::string& text, int times) {
    std::string repeated;
    for (int i = 0; i < times; ++i)
        repeated += text;
    return repeated;
}

RawMember Deflated(const std::string& name, const std::string& data) {
    RawMember m = Member(name, data);
    m.method = 8;
    // Raw deflate at zlib's default level, as python's zipfile writes it.
    z_stream zs{};
    deflateInit2(&zs, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&zs, static_cast<uLong>(data.size())), '\0');
    zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    zs.avail_in = static_cast<uInt>(data.size());
    zs.next_out = reinterpret_cast<Bytef*>(packed.data());
    zs.avail_out = static_cast<uInt>(packed.size());
    deflate(&zs, Z_FINISH);
    packed.resize(zs.total_out);
    deflateEnd(&zs);
    m.data = packed;
    return m;
}

}  // namespace ziptest
