// service_fuzz_support.h: what the version service's fuzz targets share: an answer read through
// its body's pieces and checked for the form every answer must have, the check answer's JSON, and
// the percent-encoding of the requests they make.
#pragma once

#include "service/Answering.h"

#include <json/json.h>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace servicefuzz {

// Reports a broken invariant and stops, so that libFuzzer keeps the input.
[[noreturn]] void Finding(const std::string& what);

// An answer as a client would read it.
struct Taken {
    int status = 0;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string contentType;
    std::string body;   // at most its first kBodyLimit bytes
    bool whole = true;  // whether `body` is all of it

    // The first value of header `name`; empty when there is none.
    std::string Header(std::string_view name) const;
};

// Reads `answer` and checks what holds for every answer: a status from 200 to 599, one
// Content-Type, header names that are tokens and values that no control character breaks, body
// pieces that keep their promise, no body for 204 and 304, and JSON that is UTF-8 and has the
// form of a check answer (status 200) or of an error (400 or 404).
Taken Take(const orvservice::ServiceAnswer& answer);

// The check answer's JSON, when `taken` is one; Take has checked its form.
std::optional<Json::Value> CheckJson(const Taken& taken);

bool IsUtf8(std::string_view text);
// Every byte as %XX, so that the service decodes exactly `text`.
std::string EncodeAll(std::string_view text);
// Each "/"-separated step of `path` as EncodeAll gives it, the "/" between them kept: the target of
// a file in a folder of the files folder.
std::string EncodeSteps(std::string_view path);
// %XX as its byte; anything else as it is.
std::string Decode(std::string_view text);

}  // namespace servicefuzz
