// UnzipFile.cpp: extracts a whole archive into a folder, for the update path and the orvzip tool.
//
// Each file member goes to a part file of its own beside its place, made under a name that no
// file has yet, and replaces the old file in one step only once it was read to the end, checked
// and written out: until then the old file stands whole, and a failure takes away the part file
// alone. Members whose path would leave the target folder are logged and passed over.
#include "common/CUtils.h"
#include "common/Logger.h"
#include "common/OVException.h"
#include "streams/FileStreams.h"
#include "streams/Hash.h"
#include "zip/Unzip.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

#include <memory>
#include <source_location>
#include <string>
#include <vector>

namespace {

constexpr char16_t kPartSuffix[] = u".orvpart";

bool LogUnzip(bool isError, const FormattedMessage& message,
              std::source_location where = std::source_location::current()) {
    return LogMessage(isError, "src/utils", static_cast<int32_t>(where.line()), "CUtils::UnzipFile",
                      message);
}

// Every separator ("/" or "\") as the platform writes it: on Linux a "\" would otherwise name a
// file beside the target instead of one inside it.
WString WithPlatformSeparators(WString path) {
    const char16_t separator = CUtils::GetPathSeparator()[0];
    for (char16_t& c : path) {
        if (CUtils::IsPathSeparator(c)) {
            c = separator;
        }
    }
    return path;
}

bool IsAsciiLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

// Names tried for a member's part file before the extraction gives up.
constexpr int kPartNameAttempts = 8;

// A name for the part file beside `outputPath`: first its name with ".orvpart" behind it, then
// with a random piece between the two. Where that would pass the longest name a folder takes, a
// short random name with the same ending.
WString PartPathOf(const WString& outputPath, int attempt) {
    constexpr size_t kLongestName = 255;
    constexpr size_t kRandomLength = 8;
    const size_t nameStart = outputPath.find_last_of(CUtils::GetPathSeparator()) + 1;
    const std::string name = CUtils::WstringToStringUTF8(outputPath.substr(nameStart));
    const size_t extra = attempt == 0 ? 0 : 1 + kRandomLength;
    if (name.size() + extra + std::char_traits<char16_t>::length(kPartSuffix) > kLongestName) {
        return outputPath.substr(0, nameStart) + CUtils::RandomWstring(16, 62) + kPartSuffix;
    }
    if (attempt == 0) {
        return outputPath + kPartSuffix;
    }
    return outputPath + u"." + CUtils::RandomWstring(kRandomLength, 62) + kPartSuffix;
}

// Makes the part file for `outputPath` under a name that no file had, so that a file of the same
// name found in the target is never written over or taken away; `partPath` receives the name.
std::unique_ptr<FileOutputStream> CreatePartFile(const WString& outputPath, WString& partPath) {
    for (int attempt = 0;; ++attempt) {
        partPath = PartPathOf(outputPath, attempt);
        try {
            return std::make_unique<FileOutputStream>(partPath, FileOutputStream::kCreateNew);
        } catch (const OVException&) {
            // A name already taken: the next one. Any other failure, or the last attempt, ends the
            // extraction with the stream's own report.
            if (attempt + 1 >= kPartNameAttempts || !CUtils::FileExists(partPath)) {
                throw;
            }
        }
    }
}

// Passes the member's bytes to the file and keeps their count and CRC for the check at the end.
class CheckedOutputStream : public FilterOutputStream {
public:
    explicit CheckedOutputStream(OutputStream& sink) : FilterOutputStream(sink) {}

    void write(const uint8_t* buffer, int64_t length) override {
        sink->write(buffer, length);
        crc.update(buffer, length);
        count += static_cast<uint64_t>(length);
    }
    using OutputStream::write;

    uint64_t getCount() const { return count; }
    uint32_t getCrc() const { return crc.result(); }

private:
    Crc32 crc;
    uint64_t count = 0;
};

void AppendSeparatorIfMissing(WString& path) {
    if (path.empty() || !CUtils::IsPathSeparator(path.back())) {
        path += CUtils::GetPathSeparator();
    }
}

// Reads member `entry` to its end into a new part file beside `outputPath`, checked as
// ReadCheckedMember checks it, so that a cut or altered member never takes a file's place, and
// gives the part file's path. The part file is written out, its close checked, before it is
// handed on, so that a full disk fails here and not under the file's own name; it is not forced
// onto the disk, which would cost more than the whole extraction of many small files. On a
// failure the part file is deleted.
WString WriteMember(ZipFile& zip, const ZipDirectoryEntry& entry, const WString& outputPath) {
    uint64_t expectedSize = 0;
    // An archive read from a stream has no file for a reader of its own.
    const bool standalone = zip.getPath() != ZipFile::kStreamPath;
    std::unique_ptr<InputStream> member =
        zip.openMember(entry.memberIndex, &expectedSize, standalone);
    WString partPath;
    std::unique_ptr<FileOutputStream> file = CreatePartFile(outputPath, partPath);
    try {
        ReadCheckedMember(zip, entry.memberIndex, *member, expectedSize, *file);
        member.reset();
        file->commit(false);
    } catch (...) {
        file.reset();
        CUtils::DeleteFileOV(partPath);
        throw;
    }
    return partPath;
}

}  // namespace

bool IsContainedMemberPath(const WString& memberPath) {
    if (memberPath.empty()) {
        return true;
    }
    if (CUtils::IsPathSeparator(memberPath[0])) {
        return false;
    }
    if (memberPath.size() >= 2 && IsAsciiLetter(memberPath[0]) && memberPath[1] == u':') {
        return false;
    }
    size_t start = 0;
    while (start <= memberPath.size()) {
        size_t end = start;
        while (end < memberPath.size() && !CUtils::IsPathSeparator(memberPath[end])) {
            ++end;
        }
        if (memberPath.compare(start, end - start, u"..") == 0) {
            return false;
        }
        start = end + 1;
    }
    return true;
}

void ReadCheckedMember(ZipFile& zip, int32_t memberIndex, InputStream& member,
                       uint64_t expectedSize, OutputStream& sink) {
    CheckedOutputStream checked(sink);
    member.transfer(checked, -1);
    if (checked.getCount() != expectedSize) {
        throw OVException(kZipVerificationFailed, "Member length differs from the directory");
    }
    // AES members in the AE-2 layout carry CRC 0 and are checked by their authentication code.
    const ZipMemberInfo& info = zip.getMembers().at(static_cast<size_t>(memberIndex));
    const bool crcKept = !(IsAesKind(info.flags & kZipKindMask) && info.crc == 0);
    if (crcKept && checked.getCrc() != info.crc) {
        throw OVException(kZipVerificationFailed, "Verification failed");
    }
}

bool UnzipArchive(ZipFile& zip, const WString& targetDirectory, bool cleanTarget,
                  std::vector<WString>* passedOver) {
    const WString target = WithPlatformSeparators(targetDirectory);
    if (cleanTarget && !CUtils::RemoveDirectoryOV(target, true, true, false)) {
        const MessageArg folder(&target);
        LogUnzip(true, FormattedMessage("CUtils::UnzipFile failed to remove target directory: {0}",
                                        folder));
        return false;
    }
    // CreateDirectories reports true even when a folder could not be made; the folder is looked
    // at, so that a failure is reported here rather than at the first file.
    if (!CUtils::CreateDirectories(target, false) || !CUtils::IsDirectory(target)) {
        const MessageArg folder(&target);
        LogUnzip(true, FormattedMessage("CUtils::UnzipFile failed to create target directory: {0}",
                                        folder));
        return false;
    }

    ZipDirectoryIterator walk(zip, u"", ZipDirectoryIterator::kFiles);
    ZipDirectoryEntry entry;
    // The last member's folder, once made and seen to stand: the walk gives the members of one
    // folder one after the other, and each of them after the first then costs no look-up.
    WString standingFolder;
    while (walk.next(entry)) {
        const WString memberPath = entry.path + entry.name;
        if (!IsContainedMemberPath(memberPath)) {
            const MessageArg name(&memberPath);
            // The message keeps a pointer to its format: both live on this frame.
            const FormatText format(
                "CUtils::UnzipFile refused a member outside the target directory: {0}");
            const FormattedMessage message(format, name);
            LogUnzip(true, message);
            if (passedOver != nullptr) {
                passedOver->push_back(FormatWide(message));
            }
            continue;
        }

        WString outputPath = target;
        AppendSeparatorIfMissing(outputPath);
        outputPath += WithPlatformSeparators(entry.path);
        if (!entry.path.empty()) {
            AppendSeparatorIfMissing(outputPath);
        }
        outputPath += WithPlatformSeparators(entry.name);

        // CreateDirectories reports success whatever happened. A folder it could not make is
        // logged, and the member's file then fails to open: that exception tells the caller, so
        // an extraction with a file missing never reports success.
        const WString parent =
            outputPath.substr(0, outputPath.find_last_of(CUtils::GetPathSeparator()) + 1);
        if (parent != standingFolder) {
            CUtils::CreateDirectories(outputPath, true);
            if (CUtils::IsDirectory(parent)) {
                standingFolder = parent;
            } else {
                const MessageArg path(&outputPath);
                LogUnzip(true,
                         FormattedMessage(
                             "CUtils::UnzipFile failed to create target directory: {0}", path));
            }
        }

        const WString partPath = WriteMember(zip, entry, outputPath);
        // One step that replaces the old file: a failure leaves it whole, and the part file goes.
        if (!CUtils::ReplaceFileOV(partPath, outputPath)) {
            CUtils::DeleteFileOV(partPath);
            throw OVException("CUtils::UnzipFile failed to put a member in place: " +
                              CUtils::WstringToStringUTF8(outputPath));
        }
    }
    return true;
}

bool CUtils::UnzipFile(const WString& archivePath, const WString& targetDirectory,
                       bool cleanTarget) {
    // A broken archive throws out of the constructor before the target is touched.
    ZipFile zip(archivePath, nullptr, false, false, false);
    return UnzipArchive(zip, targetDirectory, cleanTarget);
}
