// ZipFile.cpp: the life of an archive object: opening with its failure clauses, closing, the
// security provider's forwarding, and the table of pending members.
#include "zip/ZipFile.h"

#include "ZipPort.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "zip/ZipCrypto.h"

#include <ctime>

namespace {

// Local time less system time, in seconds, at this moment.
int64_t LocalTimeOffsetNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (!zipport::LocalTime(now, local)) {
        return 0;
    }
    return static_cast<int64_t>(zipport::TimeOfUtc(local)) - static_cast<int64_t>(now);
}

}  // namespace

ZipFile::ZipFile(const WString& path, MZipDataSecurityProvider* provider, bool createIfMissing,
                 bool deleteOnOpenFailure, bool stampOnRead)
    : path(path), provider(provider), createIfMissing(createIfMissing),
      deleteOnOpenFailure(deleteOnOpenFailure), stampOnRead(stampOnRead) {
    localTimeOffset = LocalTimeOffsetNow();
    open();
}

ZipFile::ZipFile(std::unique_ptr<SeekableInputStream> source, MZipDataSecurityProvider* provider)
    : path(kStreamPath), provider(provider), createIfMissing(false), deleteOnOpenFailure(false),
      stampOnRead(false), ownedStream(std::move(source)) {
    localTimeOffset = LocalTimeOffsetNow();
    open();
}

ZipFile::~ZipFile() { close(); }

void ZipFile::open() {
    if (opened) {
        return;
    }
    if (!pendingMembers.empty() || modified) {
        save();
    }

    bool hasCode = false;
    int32_t code = 0;
    std::string message;
    try {
        if (path != kStreamPath) {
            // A stream left open by an earlier failure would refuse to open again.
            if (fileStream.isOpen()) {
                fileStream.close();
            }
            fileStream.open(path, false);
            stream = &fileStream;
        } else {
            if (ownedStream == nullptr) {
                throw OVException(kZipBadStructure, "No stream was handed over for the archive");
            }
            stream = ownedStream.get();
        }
        readDirectory();
        opened = true;
        return;
    } catch (const OVException& e) {
        opened = false;
        hasCode = true;
        code = e.GetCode();
        message = e.what();
    } catch (const std::exception&) {
        opened = false;
        hasCode = true;
        code = kZipStandardException;
    } catch (...) {
        opened = false;
    }

    // An archive that cannot be opened keeps no state.
    members.clear();
    boundaries.clear();
    comment.clear();
    cdOffset = 0;
    cdSize = 0;
    if (stream != nullptr) {
        stream->close();
    }
    stream = nullptr;

    const bool onFile = path != kStreamPath;
    if (hasCode && onFile && deleteOnOpenFailure && CUtils::FileExists(path) &&
        !CUtils::DeleteFileOV(path)) {
        throw OVException(kZipDeleteFailed, "Failed to delete zip file on open error");
    }
    if (createIfMissing && onFile) {
        CUtils::CreateDirectories(path, true);
        fileStream.open(path, true);
        stream = &fileStream;
        modified = true;
        isNew = true;
        opened = true;
        return;
    }
    // A code goes on with an empty message; a failure that has no number but its words (such
    // as "Unsupported encryption algorithm") keeps them, or nothing would name it.
    if (hasCode) {
        throw OVException(code, code == 0 ? message : std::string());
    }
    throw OVException(kZipOpenFailed, "");
}

int32_t ZipFile::close() {
    int32_t result = 0;
    try {
        if (opened && stream != nullptr) {
            stream->close();
        }
        opened = false;
        save();
    } catch (...) {
        result = kZipCloseFailed;
    }
    isNew = false;
    return result;
}

int32_t ZipFile::getPassword(ZipFile& zip, const WString& memberName, uint32_t index,
                             bool isCentralDirectory, WString& password) {
    if (provider == nullptr) {
        password = kZipDefaultPassword;
        return kPasswordAskAgain;
    }
    // The provider hears the member's own name whenever the index names one.
    WString name = memberName;
    const bool pending = (index & kZipPendingBit) != 0 && index != kZipDirectoryIndex &&
                         index != kZipDirectoryIndexAlt;
    const uint32_t plain = index & ~kZipPendingBit;
    if (!isCentralDirectory &&
        ((pending && plain < pendingMembers.size()) || (!pending && index < members.size()))) {
        name = getMemberPath(index);
    }
    return provider->getPassword(zip, name, index, isCentralDirectory, password);
}

void ZipFile::confirmPassword(ZipFile& zip, const WString& memberName, const WString& password) {
    if (provider != nullptr) {
        provider->confirmPassword(zip, memberName, password);
    }
}

void ZipFile::fillSalt(ZipFile& zip, ByteBuffer& buffer) {
    if (provider != nullptr) {
        provider->fillSalt(zip, buffer);
        return;
    }
    zipport::FillRandom(buffer.data(), buffer.size());
}

void ZipFile::addPendingMember(ZipPendingMember member) {
    member.storedLength = member.data.size();
    pendingMembers.push_back(std::move(member));
}

WString ZipFile::getMemberPath(uint32_t index) const {
    if ((index & kZipPendingBit) != 0) {
        const uint32_t plain = index & ~kZipPendingBit;
        if (plain >= pendingMembers.size()) {
            throw OVException(kZipBadIndex, "");
        }
        return pendingMembers[plain].folder + pendingMembers[plain].name;
    }
    if (index >= members.size()) {
        throw OVException(kZipBadIndex, "");
    }
    return members[index].folder + members[index].name;
}
