// ZipAddFile.cpp: ZipFile::addFile: a file's bytes made into a pending member, deflated and, for
// AES-256, encrypted and authenticated by the member writer, stamped with the present time.
#include "ZipRecords.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

using namespace ziprecords;

namespace {

// A member's path must stay inside the folder it is unpacked into: relative, "/" between
// folders, no empty, "." or ".." folder, no drive and no backslash.
bool IsRelativeMemberPath(const WString& path) {
    if (path.empty() || path.find_first_of(u"\\:") != WString::npos) {
        return false;
    }
    size_t start = 0;
    while (start <= path.size()) {
        const size_t end = std::min(path.find(u'/', start), path.size());
        const WString part = path.substr(start, end - start);
        if (part.empty() || part == u"." || part == u"..") {
            return false;
        }
        start = end + 1;
    }
    return true;
}

}  // namespace

void ZipFile::addFile(const WString& memberPath, InputStream& content, int32_t kind) {
    if (!IsRelativeMemberPath(memberPath)) {
        throw OVException("Member path is not a relative path inside the archive");
    }
    if (kind != kZipNotEncrypted && kind != kZipAes256) {
        throw OVException("Unsupported encryption");
    }
    ZipPendingMember member;
    const size_t slash = memberPath.rfind(u'/');
    member.folder = slash == WString::npos ? WString() : memberPath.substr(0, slash + 1);
    member.name = slash == WString::npos ? memberPath : memberPath.substr(slash + 1);
    member.flags = static_cast<uint16_t>(kind);
    member.stamp = PresentDosStamp();

    MemoryOutputStream data;
    CountingOutputStream sink(data);
    const ZipMemberDescriptor descriptor{
        this, kZipPendingBit | static_cast<uint32_t>(pendingMembers.size()), 0, 0, kMethodDeflated};
    ZipFileMemberDataOutputStream writer(&sink, descriptor, kind, {});
    member.uncompressedSize = static_cast<uint64_t>(content.transfer(writer, -1));
    writer.finish();
    // AE-2 leaves the CRC out: the authentication code stands for it.
    member.crc = kind == kZipAes256 ? 0 : writer.getCrc();
    member.data = data.takeBytes();
    addPendingMember(std::move(member));
}
