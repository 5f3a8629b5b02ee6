// ParseUrl.cpp: splits a URL into the pieces a request is built from.
//
// The arithmetic is the host string class's: positions and lengths are unsigned 32-bit values,
// so a length that comes out "negative" wraps and, as a length, reads "to the end".
#include "common/CUtils.h"
#include "net/HttpGet.h"

ParsedUrl ParseUrl(const GS::UniString& url) {
    ParsedUrl result;
    if (url.IsEmpty()) {
        return result;
    }

    const GS::USize length = url.GetLength();
    GS::USize query = url.FindFirst(u'?');
    if (query == GS::MaxUSize) {
        query = length;
    }

    GS::USize hostStart = 0;
    const GS::USize schemeColon = url.FindFirst(u':');
    if (schemeColon != GS::MaxUSize && schemeColon + 3 <= length &&
        url.GetSubstring(schemeColon, 3) == "://") {
        result.scheme = url.GetSubstring(0, schemeColon);
        hostStart = schemeColon + 3;
    }

    GS::USize slash = url.FindFirst(u'/', hostStart);
    if (slash == GS::MaxUSize) {
        slash = length;
    }
    // The range is `slash`, not `slash - hostStart`: the search may run up to hostStart
    // characters past the slash, so a ":" shortly behind it is taken for the port's colon.
    const GS::USize colon = url.FindFirst(u':', hostStart, slash);
    const GS::USize hostEnd = colon != GS::MaxUSize ? colon : slash;
    result.host = url.GetSubstring(hostStart, hostEnd - hostStart);

    if (hostEnd != slash) {
        // A colon behind the slash makes this length wrap: the port text then runs to the end.
        const GS::UniString portText = url.GetSubstring(hostEnd + 1, slash - hostEnd - 1);
        const WString portUnits(portText.ToUStr().Get(), portText.GetLength());
        // A leading number is taken, and text that is no number gives 0; only 16 bits are kept.
        result.port = static_cast<uint16_t>(CUtils::ParseIntW(portUnits, 10, 0));
    }

    // A "?" in front of the slash makes this length wrap: the path then runs to the end.
    result.path = url.GetSubstring(slash, query - slash);
    if (result.path.IsEmpty()) {
        result.path = "/";
    }

    result.pathAndQuery = result.path;
    if (query != slash) {
        result.query = url.GetSubstring(query, GS::MaxUSize);
        result.pathAndQuery.Append(result.query);
    }
    return result;
}
