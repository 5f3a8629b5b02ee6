// ZipRawArchive.h: archives made byte by byte for the tests of ZipFile, the readers of what they
// come to, and the fixture those tests share.
#pragma once

#include "ZipTestSupport.h"
#include "zip/ZipFile.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace ziptest {

// Little-endian fields, an extra block of `id` holding `data`, and the CRC-32 of `bytes`.
std::string LE16(uint32_t value);
std::string LE32(uint32_t value);
std::string LE64(uint64_t value);
std::string Block(uint16_t id, const std::string& data);
uint32_t Crc(const std::string& bytes);

// One member as the writers of other tools lay it out. Member and Deflated fill `data`, `crc` and
// `size` together; a test may then make them disagree.
struct RawMember {
    std::string name;
    std::string data;  // as stored: the bytes themselves, or what deflate made of them
    uint32_t crc = 0;  // of the bytes themselves
    uint64_t size = 0;
    std::string localExtra;
    std::string centralExtra;
    uint16_t flags = 0;
    uint16_t method = 0;
    uint32_t attributes = 0;
    uint8_t host = 0;
    uint16_t time = 0x5000;
    uint16_t date = 0x50B1;
    // The local header's sizes saturated and the true ones in a Zip64 block ahead of
    // `localExtra`, as a writer that did not know the size beforehand puts them.
    bool zip64Local = false;
    // The central record's sizes and offset saturated and the true ones in a Zip64 block ahead of
    // `centralExtra`.
    bool zip64Central = false;
    // CRC and sizes zero in the local header and given in a descriptor after the data (flag bit
    // 3), as a writer that cannot seek back puts them.
    bool descriptor = false;
};

struct RawArchive {
    std::vector<RawMember> members;
    std::string comment;
    bool zip64 = false;          // Zip64 end record and locator; the classic fields saturated
    std::string afterDirectory;  // bytes between the directory and the end records
    int64_t countAdjust = 0;     // added to the true entry count
    int64_t cdOffsetAdjust = 0;
    int64_t cdSizeAdjust = 0;
};

// The bytes of `archive`: its members, their directory and the end records.
std::string Build(const RawArchive& archive);
// A stored member `name` holding `data`.
RawMember Member(const std::string& name, const std::string& data);
// A member `name` holding `data` deflated, by zlib itself.
RawMember Deflated(const std::string& name, const std::string& data);
// `text` `times` times over.
std::string Repeat(const std::string& text, int times);

std::unique_ptr<ZipFile> OpenBytes(const std::string& bytes);
// The code of the OVException that opening `bytes` throws; 1 when it opens.
int32_t OpenFailureCode(const std::string& bytes);
// Folder and name of every member, in the order of the table.
std::vector<std::string> Paths(const ZipFile& zip);
// The whole content of the member at `index`, through its reader.
std::string MemberText(ZipFile& zip, int32_t index);
// What a walk from `root` with `flags` delivers, folders marked "dir:".
std::vector<std::string> Walk(ZipFile& zip, const std::string& root, uint32_t flags);

class ZipFileTest : public ::testing::Test {
protected:
    TempFolder folder;
};

}  // namespace ziptest
