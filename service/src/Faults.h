// Faults.h: the misbehaviours the service can be asked for, from the catalog or from a request's
// query, and how the two are merged (the request wins).
#pragma once

#include <optional>
#include <string>

namespace orvservice {

struct Faults {
    std::optional<int> delayMs;
    std::optional<int> status;
    std::optional<std::string> body;
    std::optional<bool> cutBody;
    std::optional<bool> noContentDisposition;
    std::optional<bool> quotedFilename;
    std::optional<bool> redirect;
    std::optional<bool> closeMidBody;
    std::optional<bool> chunked;
    std::optional<std::string> disposition;
    // Wait before answering until the in-process owner releases the held requests, or the
    // service stops: a server that stalls for exactly as long as a test wants.
    std::optional<bool> hold;

    // Each fault that `over` sets replaces this one's.
    Faults OverriddenBy(const Faults& over) const;

    friend bool operator==(const Faults&, const Faults&) = default;
};

// Sets the fault called `name` ("delay_ms", "status", "body", "cut_body", ...) from `text`, as a
// query value gives it. False when the name is unknown; throws std::invalid_argument when the
// value does not suit it.
bool SetFaultFromText(Faults& faults, const std::string& name, const std::string& text);

enum class FaultKind { Unknown, Number, Text, Flag };
// What kind of value the fault called `name` takes.
FaultKind KindOfFault(const std::string& name);

// The names a catalog or a query may use, for messages.
const char* FaultNames();

}  // namespace orvservice
