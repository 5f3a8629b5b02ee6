// ZipDirectoryIterator.cpp: the walk over the member table below a root folder, delivering files
// and, once per subfolder, a directory entry.
#include "ZipRecords.h"
#include "ZipTable.h"
#include "common/CUtils.h"
#include "zip/ZipFile.h"

#include <ctime>

namespace {

// The DOS stamp as calendar time, read as local time.
std::time_t DosStampToTime(uint64_t stamp) {
    const uint32_t time = ziprecords::DosTimeOf(stamp);
    const uint32_t date = ziprecords::DosDateOf(stamp);
    std::tm calendar{};
    calendar.tm_year = static_cast<int>(80 + (date >> 9));
    calendar.tm_mon = static_cast<int>(((date >> 5) & 0xF)) - 1;
    calendar.tm_mday = static_cast<int>(date & 0x1F);
    calendar.tm_hour = static_cast<int>(time >> 11);
    calendar.tm_min = static_cast<int>((time >> 5) & 0x3F);
    calendar.tm_sec = static_cast<int>((time & 0x1F) * 2);
    calendar.tm_isdst = -1;
    return std::mktime(&calendar);
}

}  // namespace

ZipDirectoryIterator::ZipDirectoryIterator(ZipFile& zip, const WString& root, uint32_t flags)
    : zip(zip), root(root), flags(flags) {
    for (char16_t& unit : this->root) {
        if (unit == u'\\') {
            unit = u'/';
        }
    }
    if ((flags & kDirectories) && !this->root.empty() && this->root.back() != u'/') {
        this->root += u'/';
    }
}

bool ZipDirectoryIterator::next(ZipDirectoryEntry& entry) {
    const std::vector<ZipMemberInfo>& members = zip.getMembers();
    const std::vector<ZipPendingMember>& pending = zip.getPendingMembers();
    const bool caseBlind = (flags & kCaseInsensitive) != 0;
    for (;;) {
        if (index >= members.size() + pending.size()) {
            return false;
        }
        const bool isPending = index >= members.size();
        const ZipMemberInfo& member =
            isPending ? static_cast<const ZipMemberInfo&>(pending[index - members.size()])
                      : members[index];

        if (member.folder != lastFolder) {
            // A new folder: is it below the root, and in which of the root's subfolders?
            lastFolder = member.folder;
            current = member.folder + member.name;
            const WString start = current.substr(0, root.size());
            const bool inside = caseBlind ? CUtils::CompareNoCase(start, root) == 0 : start == root;
            if (inside) {
                const size_t slash = current.find(u'/', root.size());
                const WString part = slash == WString::npos
                                         ? WString()
                                         : current.substr(root.size(), slash - root.size());
                const int32_t hash = ziptable::HashText(caseBlind ? CUtils::ToLower(part) : part);
                if (hash == 0) {
                    flags |= kFilesHere;
                } else {
                    flags &= ~static_cast<uint32_t>(kFilesHere);
                }
                if ((flags & kDirectories) && hash != 0 && hash != lastHash) {
                    lastHash = hash;
                    entry = ZipDirectoryEntry{};
                    entry.zip = &zip;
                    entry.memberIndex = -1;
                    entry.attributes = kZipDirectoryAttribute;
                    entry.name = part;
                    entry.path = root;
                    return true;
                }
            } else {
                flags &= ~static_cast<uint32_t>(kFilesHere);
            }
            continue;
        }

        ++index;
        if (member.flags & kZipShadowed) {
            continue;
        }
        const bool isDirectory = (member.attributes & kZipDirectoryAttribute) != 0;
        if ((flags & (kFiles | kFilesHere)) && !isDirectory) {
            entry = ZipDirectoryEntry{};
            entry.zip = &zip;
            entry.crc = member.crc;
            const uint32_t position = index - 1;
            entry.memberIndex = static_cast<int32_t>(
                isPending ? (position - static_cast<uint32_t>(members.size())) | kZipPendingBit
                          : position);
            entry.time = DosStampToTime(member.stamp);
            entry.compressedSize = member.compressedSize;
            entry.uncompressedSize = member.uncompressedSize;
            entry.attributes = member.attributes;
            if (member.flags & kZipKindMask) {
                entry.attributes |= kZipEncryptedAttribute;
            }
            entry.name = member.name;
            entry.path = member.folder;
            return true;
        }
    }
}
