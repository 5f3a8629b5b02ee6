// ObjectUpdate.cpp: ReplaceObject, the last step of a row's update: the downloaded body put in
// place of the library part on disk. The host is not told; the user is asked to open the project
// again.
#include "addon/ObjectUpdate.h"

#include "HostOperations.h"
#include "catalogue/MessageCatalogue.h"
#include "common/CUtils.h"
#include "hostkit/IOLocation.h"

#include <stdexcept>

namespace {

[[noreturn]] void Outcome(int32_t row) { throw std::runtime_error(MessageText(row)); }

WString Wide(const GS::UniString& text) { return WString(text.ToUStr().Get(), text.GetLength()); }

// The text up to and including the last separator; empty when there is none.
WString FolderOf(const WString& path) {
    const std::size_t last = path.find_last_of(u"\\/");
    return last == WString::npos ? WString() : path.substr(0, last + 1);
}

// The server's name for the new file must be a bare name: a separator of either kind, a step up
// or a drive would put the file outside the part's folder. Empty is allowed: no name was given.
bool IsBareFileName(const WString& name) {
    return name != u"." && name != u".." && name.find_first_of(u"\\/") == WString::npos &&
           !(name.size() >= 2 && name[1] == u':');
}

bool LooksLikeZip(const std::string& body) {
    return body.size() >= 2 && static_cast<unsigned char>(body[0]) == 0x50 &&
           static_cast<unsigned char>(body[1]) == 0x4B;
}

}  // namespace

void ReplaceObject(int32_t libIndex, const std::string& body, const GS::UniString& fileName) {
    LibPartRecord part;
    ZeroRecord(part);
    SetField(part, LibPartField::Index, libIndex);
    const auto* location = HostGetLibPart(&part) == 0
                               ? GetField<const IO::Location*>(part, LibPartField::Location)
                               : nullptr;
    if (location == nullptr) {
        Outcome(kMessageOldObjectNotFound);
    }
    const WString directory = FolderOf(Wide(location->ToPath()));

    if (!IsBareFileName(Wide(fileName))) {
        Outcome(kMessageCannotWriteUpdate);
    }
    const WString tempPath = CUtils::CreateTempFileOV(Wide(fileName));
    if (!CUtils::WriteStringToFile(tempPath, body, false)) {
        Outcome(kMessageCannotWriteUpdate);
    }
    bool ok;
    if (LooksLikeZip(body)) {
        // Unpacked over the part's folder as it stands; the archive decides what is written.
        ok = CUtils::UnzipFile(tempPath, directory, false);
        CUtils::DeleteFileOV(tempPath);
    } else {
        // Replaces the old file only when the server names it alike, and then in one step, so
        // that a failure leaves the old file whole.
        ok = CUtils::ReplaceFileOV(tempPath, directory + Wide(fileName));
    }
    // Success, too, reaches the user as an exception.
    Outcome(ok ? kMessageReopenProject : kMessageCannotReplace);
}
