// UrlText.h: percent-encoding for the two places the service writes a file name: a URL path and
// the RFC 5987 form of Content-Disposition; and a request target read back as the service reads
// it, for the tools that read addresses and logs.
#pragma once

#include <string>

namespace orvservice {

// Every byte except RFC 3986's unreserved characters as %XX: safe as one path segment.
std::string EncodePathSegment(const std::string& text);
// Every byte except RFC 5987's attr-char as %XX: the value after "UTF-8''".
std::string EncodeAttrChars(const std::string& text);

// The path of `target` (path and query as sent) percent-decoded, as the service routes it.
std::string DecodedPath(const std::string& target);
// The first value of query key `key` in `target` (a request target or a whole address),
// percent-decoded with "+" as a space, as the service reads its parameters; empty when absent.
std::string QueryValue(const std::string& target, const std::string& key);

}  // namespace orvservice
