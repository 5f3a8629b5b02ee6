// ZipRawArchive.cpp: archives made byte by byte for the tests of ZipFile.
#include "ZipRawArchive.h"

#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"

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

std::string Build(const RawArchive& archive) {
    std::string out;
    std::vector<uint32_t> offsets;
    for (const RawMember& m : archive.members) {
        offsets.push_back(static_cast<uint32_t>(out.size()));
        out += LE32(0x04034B50) + LE16(20) + LE16(m.flags) + LE16(m.method) + LE16(m.time) +
               LE16(m.date) + LE32(Crc(m.data)) + LE32(static_cast<uint32_t>(m.data.size())) +
               LE32(static_cast<uint32_t>(m.data.size())) +
               LE16(static_cast<uint32_t>(m.name.size())) + LE16(0) + m.name + m.data;
    }
    const uint64_t cdOffset = out.size();
    for (size_t i = 0; i < archive.members.size(); ++i) {
        const RawMember& m = archive.members[i];
        out += LE32(0x02014B50) + std::string(1, '\x14') +
               std::string(1, static_cast<char>(m.host)) + LE16(20) + LE16(m.flags) +
               LE16(m.method) + LE16(m.time) + LE16(m.date) + LE32(Crc(m.data)) +
               LE32(static_cast<uint32_t>(m.data.size())) +
               LE32(static_cast<uint32_t>(m.data.size())) +
               LE16(static_cast<uint32_t>(m.name.size())) +
               LE16(static_cast<uint32_t>(m.centralExtra.size())) + LE16(0) + LE16(0) + LE16(0) +
               LE32(m.attributes) + LE32(offsets[i]) + m.name + m.centralExtra;
    }
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
               LE32(0xFFFFFFFF) + LE32(0xFFFFFFFF);
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
    return m;
}

}  // namespace ziptest
