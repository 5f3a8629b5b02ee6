// net_fuzzer.cpp: the libFuzzer target of the network library's text readings. Each input, read
// as UTF-8, is split as a URL, read as a Content-Disposition value, and percent-decoded. The
// readings never fail; crashes, sanitizer reports, hangs, and broken invariants are findings.
#include "hostkit/UniString.h"
#include "net/HttpGet.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace {

[[noreturn]] void finding(const char* what) {
    std::fprintf(stderr, "net_fuzzer: %s\n", what);
    std::fflush(stderr);
    __builtin_trap();
}

WString Units(const GS::UniString& text) { return WString(text.ToUStr().Get(), text.GetLength()); }

void checkUrl(const GS::UniString& url) {
    const ParsedUrl parsed = ParseUrl(url);
    const WString path = Units(parsed.path);
    const WString query = Units(parsed.query);
    if (url.IsEmpty()) {
        if (!path.empty() || !query.empty() || !parsed.host.IsEmpty() || !parsed.scheme.IsEmpty() ||
            !parsed.pathAndQuery.IsEmpty() || parsed.port != 0)
            finding("an empty URL gave a field");
        return;
    }
    if (path.empty() || path[0] != u'/')
        finding("the path does not begin with a slash");
    if (!query.empty() && query[0] != u'?')
        finding("the query does not begin with a question mark");
    if (Units(parsed.pathAndQuery) != path + query)
        finding("the request path is not path and query");
    if (parsed.scheme.GetLength() + parsed.host.GetLength() > url.GetLength())
        finding("scheme and host are longer than the URL");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Invalid UTF-8 becomes U+FFFD, so every input is some text.
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const GS::UniString text(bytes.c_str(), CC_UTF8);
    checkUrl(text);

    const WString units = Units(text);
    // Each character gives at most one byte, and UTF-8 never takes fewer bytes than UTF-16
    // units, so neither reading grows.
    if (PercentDecode(units).size() > units.size())
        finding("percent decoding grew the text");
    if (FileNameFromContentDisposition(units).size() > units.size())
        finding("the file name is longer than the header");
    return 0;
}
