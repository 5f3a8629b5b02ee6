// RequestTarget.h: a request's target as the service reads it: the path and the query's keys and
// values, percent-decoded.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvservice {

struct RequestTarget {
    std::string path;
    std::vector<std::pair<std::string, std::string>> query;  // in the order sent

    bool Has(std::string_view key) const;
    // The first value of `key`; empty when there is none.
    std::string Value(std::string_view key) const;
};

// "%XX" becomes its byte (a "%" without two hex digits stays as it is); in the query "+" is a
// space too, as forms write it.
RequestTarget ParseTarget(std::string_view target);
std::string DecodePercent(std::string_view text, bool plusIsSpace);

}  // namespace orvservice
