// HttpRequest.h: what a GET asks of the HTTP client on every platform: the agent, the block size
// of the read loop, the room a header value may take, and where the request goes.
#pragma once

#include "net/HttpGet.h"

#include <cstddef>
#include <cstdint>

constexpr char kUserAgent[] = "OrvUpdate Monitor/1.0";
constexpr size_t kBlockSize = 8192;
// A header value is read into a buffer of this many bytes as terminated UTF-16 text; a longer
// value makes the query fail, and the header counts as absent.
constexpr size_t kHeaderBufferBytes = 1024;

// Where a parsed URL's request goes. The port and the secure flag are decided independently:
// port 443 with "http" stays plain, and only "https" exactly is secure.
struct RequestTarget {
    bool secure = false;
    uint16_t port = 0;
};

inline RequestTarget TargetOf(const ParsedUrl& url) {
    const bool secure = url.scheme == "https";
    return {secure, url.port != 0 ? url.port : uint16_t(secure ? 443 : 80)};
}
