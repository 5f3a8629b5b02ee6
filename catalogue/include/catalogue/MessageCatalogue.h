// MessageCatalogue.h: every word the add-on shows its user, in one fixed table of Czech texts.
#pragma once

#include "hostkit/UniString.h"

#include <cstdint>

// Rows of the catalogue, by what they are for.
enum MessageRow : int32_t {
    kMessageSummaryTitle = 0,
    kMessageClose = 1,
    kMessageUpdate = 2,
    kMessageStateUnknown = 3,
    kMessageStateUpToDate = 4,
    kMessageStateUpdateAvailable = 5,
    kMessageStateTestVersion = 6,
    kMessageDownloadFailed = 7,
    kMessageUpdating = 8,
    kMessageUpdateFailed = 9,
    kMessageUpdated = 10,
    kMessageOldObjectNotFound = 11,
    kMessageCannotWriteUpdate = 12,
    kMessageCheckCommandTitle = 13,
    kMessageNoResponse = 14,
    kMessageUnexpectedStatus = 15,
    kMessageInvalidObject = 16,
    kMessageDownloading = 17,
    kMessageCannotReplace = 18,
    kMessageReopenProject = 19,
    kMessageUnknownObject = 20,
};
constexpr int32_t kMessageRowCount = 21;

// The row as it stands, UTF-8; for exception texts. The index is not checked.
const char* MessageText(int32_t index);
// The row as the host's text.
GS::UniString MessageString(int32_t index);
