// HostSessionState.h: what a host session keeps between the add-on's calls; shared by the
// session's user actions and the table's entries, private to the emulator.
#pragma once

#include "emulator/HostSession.h"
#include "emulator/UndoStack.h"

#include <cstdint>
#include <functional>
#include <json/value.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orvhost {

// An element an event is about.
struct EventTarget {
    API_Guid guid;
    int32_t type = 0;
};

struct HostSession::State {
    explicit State(Project& project) : project(project) {}

    Project& project;

    // What the add-on subscribed to.
    ProjectEventHandlerFn projectHandler = nullptr;
    int32_t projectMask = 0;
    ElementEventHandlerFn newElementHandler = nullptr;
    std::optional<int32_t> newElementFilter;  // none: every type
    ElementEventHandlerFn observerHandler = nullptr;
    std::vector<API_Guid> observed;

    // The parameter set opened by CallUtility: a working copy of one element's parameters.
    struct OpenSet {
        API_Guid guid;
        int32_t type = 0;
        std::vector<Parameter> parameters;
    };
    std::optional<OpenSet> openSet;

    // The command scopes open now, innermost last; element changes are allowed while there is
    // one. Each logs what its command changed.
    std::vector<ChangeLog> scopes;
    UndoStack undo;

    bool InCommandScope() const { return !scopes.empty(); }
    bool IsObserved(const API_Guid& guid) const;
    // Keeps the element's state before its first change in the innermost scope.
    void BeforeChange(const Element& element);

    // Runs `body` as one command titled `title` (UTF-8). A status other than 0, or an exception
    // (rethrown), rolls the command's changes back. Done, it goes on the undo stack, or into the
    // command around it when it is nested. The command line of the trace follows.
    int32_t RunCommand(const std::string& title, const std::function<int32_t()>& body);

    // Sends -1, `event` for each target, -2 to `handler`. An exception that leaves the handler
    // is caught and reported; the burst goes on.
    void FireElementBurst(ElementEventHandlerFn handler, int32_t event,
                          const std::vector<EventTarget>& targets);
    // Drops from the observed set the elements that no longer exist.
    void ForgetRemovedElements();
};

// Trace helpers.
std::string GuidText(const API_Guid& guid);
void TraceLine(const Json::Value& line);
// Traces {"kind":"exception","where":where,"what":what} and writes a line on standard error.
void ReportException(const std::string& where, const std::string& what);

// The 516 entries of the host's table.
HostFunctionTable HostOperationsTable();

}  // namespace orvhost
