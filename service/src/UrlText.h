// UrlText.h: percent-encoding for the two places the service writes a file name: a URL path and
// the RFC 5987 form of Content-Disposition.
#pragma once

#include <string>

namespace orvservice {

// Every byte except RFC 3986's unreserved characters as %XX: safe as one path segment.
std::string EncodePathSegment(const std::string& text);
// Each step of a "/"-separated path encoded as a segment, the "/" between them kept.
std::string EncodePathSegments(const std::string& path);
// Every byte except RFC 5987's attr-char as %XX: the value after "UTF-8''".
std::string EncodeAttrChars(const std::string& text);

}  // namespace orvservice
