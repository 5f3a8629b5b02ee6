// VersionCheck.cpp: CheckLibPart, the version check of one library part: whether it is
// monitored, whether its record is still good, and otherwise the service's answer.
#include "HostOperations.h"
#include "VersionAnswer.h"
#include "addon/ObjectsMonitor.h"
#include "catalogue/MessageCatalogue.h"
#include "common/CUtils.h"
#include "hostkit/GSMemory.h"
#include "net/HttpGet.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace {

// A record younger than this is used without asking: four hours, in microseconds.
constexpr int64_t kRecordAgeLimit = 14400000000;

// The 8-bit name of a parameter record, up to its terminator.
std::string_view NameOf(const std::byte* record) {
    const char* name = reinterpret_cast<const char*>(record + ParameterField::Name);
    return std::string_view(name, strnlen(name, ParameterField::kNameBytes));
}

// A number truncated toward zero, as the parameter's integer; values beyond the 32-bit range
// stand at its ends.
int32_t TruncatedState(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    const double truncated = std::trunc(value);
    if (truncated <= std::numeric_limits<int32_t>::min()) {
        return std::numeric_limits<int32_t>::min();
    }
    if (truncated >= std::numeric_limits<int32_t>::max()) {
        return std::numeric_limits<int32_t>::max();
    }
    return static_cast<int32_t>(truncated);
}

}  // namespace

bool ObjectsMonitor::CheckLibPart(uint32_t index, VersionCheckState& result) {
    GS::UniString checkUrl;
    int32_t partState = 0;
    bool partStateFound = false;

    double a = 0;
    double b = 0;
    int32_t count = 0;
    GSHandle params = nullptr;
    if (HostGetLibPartParams(static_cast<int32_t>(index), &a, &b, &count, &params) != 0) {
        return true;
    }
    const GSSize records = params != nullptr ? BMGetHandleSize(params) / ParameterRecord::kSize : 0;
    for (GSSize i = 0; i < count && i < records; ++i) {
        const std::byte* record =
            reinterpret_cast<std::byte*>(*params) + i * ParameterRecord::kSize;
        int16_t form;
        std::memcpy(&form, record + ParameterField::Form, sizeof(form));
        if (form != ParameterField::kFormPlain) {
            continue;
        }
        if (NameOf(record) == "check_url") {
            checkUrl =
                GS::UniString(reinterpret_cast<const GS::UniChar*>(record + ParameterField::Value));
        } else if (NameOf(record) == "uptodate") {
            double value;
            std::memcpy(&value, record + ParameterField::Value, sizeof(value));
            partState = TruncatedState(value);
            partStateFound = true;
        }
    }
    HostDisposeParameterBlock(&params);
    if (checkUrl.IsEmpty() || !partStateFound) {
        return true;
    }

    const auto now = static_cast<int64_t>(CUtils::GetTimeMicroseconds());
    std::optional<VersionCheckState> previous;
    if (const VersionCheckState* stored = table.GetPtr(static_cast<int>(index))) {
        previous = *stored;
        if (previous->url == checkUrl && now < previous->checkTime + kRecordAgeLimit) {
            // Fresh: no traffic. True when the part already holds the record's state.
            result = *previous;
            return partState == previous->state;
        }
    }

    VersionCheckState record;
    record.url = checkUrl;
    record.version = GS::UniString("unknown");
    record.name = MessageString(kMessageUnknownObject);
    record.downloadUrl = GS::UniString();
    record.state = StateUnknown;
    record.checkTime = now;

    LibPartRecord part;
    ZeroRecord(part);
    SetField(part, LibPartField::Index, static_cast<int32_t>(index));
    if (HostGetLibPart(&part) == 0) {
        record.name = GS::UniString(
            reinterpret_cast<const GS::UniChar*>(part.bytes + LibPartField::DocumentName));
    }

    // "?" only when the address's one "?" is its first character; "not found" is no 0, so an
    // address without a query gets "&" too, as the services are told to expect.
    GS::UniString address = checkUrl;
    address.Append(address.FindLast(u'?') == 0 ? u'?' : u'&');
    address.Append("format=json");
    try {
        monitor::ReadVersionAnswer(HttpGet(address, nullptr), record);
    } catch (...) {
        // A failed check is remembered like a good one, with what was read.
    }

    table.Put(static_cast<int>(index), record);
    result = record;
    return previous.has_value() && record.state == previous->state;
}
