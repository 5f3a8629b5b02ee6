// UtilsLog.h: log entries of the file utilities, under the source "src/utils".
#pragma once

#include "common/Logger.h"

#include <source_location>

inline bool LogUtils(bool isError, const char* label, const FormattedMessage& message,
                     std::source_location where = std::source_location::current()) {
    return LogMessage(isError, "src/utils", static_cast<int32_t>(where.line()), label, message);
}
