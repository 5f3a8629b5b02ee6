// Faults.cpp: parsing and merging of fault requests.
#include "Faults.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace orvservice {

namespace {

template <class T> void Over(std::optional<T>& mine, const std::optional<T>& theirs) {
    if (theirs) {
        mine = theirs;
    }
}

int ParseInt(const std::string& text, int low, int high) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (text.empty() || ec != std::errc() || ptr != end || value < low || value > high) {
        throw std::invalid_argument("\"" + text + "\" is not a whole number from " +
                                    std::to_string(low) + " to " + std::to_string(high));
    }
    return value;
}

bool ParseBool(const std::string& text) {
    if (text == "1" || text == "true") {
        return true;
    }
    if (text == "0" || text == "false") {
        return false;
    }
    throw std::invalid_argument("\"" + text + "\" is not 1, 0, true or false");
}

// A header's value: no control character but a tab, since a line break would end the header
// early and make the rest of the value headers of its own.
std::string HeaderValue(const std::string& text) {
    if (std::any_of(text.begin(), text.end(), [](char c) {
            return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
        })) {
        throw std::invalid_argument("a header value cannot hold a control character");
    }
    return text;
}

}  // namespace

Faults Faults::OverriddenBy(const Faults& over) const {
    Faults merged = *this;
    Over(merged.delayMs, over.delayMs);
    Over(merged.status, over.status);
    Over(merged.body, over.body);
    Over(merged.cutBody, over.cutBody);
    Over(merged.noContentDisposition, over.noContentDisposition);
    Over(merged.quotedFilename, over.quotedFilename);
    Over(merged.redirect, over.redirect);
    Over(merged.closeMidBody, over.closeMidBody);
    Over(merged.chunked, over.chunked);
    Over(merged.disposition, over.disposition);
    Over(merged.hold, over.hold);
    return merged;
}

bool SetFaultFromText(Faults& faults, const std::string& name, const std::string& text) {
    if (name == "delay_ms") {
        // A minute at most: a longer wait only stalls a test run.
        faults.delayMs = ParseInt(text, 0, 60000);
    } else if (name == "status") {
        // No 1xx: those are interim answers that a client would wait past.
        faults.status = ParseInt(text, 200, 599);
    } else if (name == "body") {
        faults.body = text;
    } else if (name == "cut_body") {
        faults.cutBody = ParseBool(text);
    } else if (name == "no_content_disposition") {
        faults.noContentDisposition = ParseBool(text);
    } else if (name == "quoted_filename") {
        faults.quotedFilename = ParseBool(text);
    } else if (name == "redirect") {
        faults.redirect = ParseBool(text);
    } else if (name == "close_mid_body") {
        faults.closeMidBody = ParseBool(text);
    } else if (name == "chunked") {
        faults.chunked = ParseBool(text);
    } else if (name == "disposition") {
        faults.disposition = HeaderValue(text);
    } else if (name == "hold") {
        faults.hold = ParseBool(text);
    } else {
        return false;
    }
    return true;
}

FaultKind KindOfFault(const std::string& name) {
    if (name == "delay_ms" || name == "status") {
        return FaultKind::Number;
    }
    if (name == "body" || name == "disposition") {
        return FaultKind::Text;
    }
    if (name == "cut_body" || name == "no_content_disposition" || name == "quoted_filename" ||
        name == "redirect" || name == "close_mid_body" || name == "chunked" || name == "hold") {
        return FaultKind::Flag;
    }
    return FaultKind::Unknown;
}

const char* FaultNames() {
    return "delay_ms, status, body, cut_body, no_content_disposition, quoted_filename, redirect, "
           "close_mid_body, chunked, disposition, hold";
}

}  // namespace orvservice
