// HostSession.h: the host's side of the function table, over one open project.
//
// The token handed to the add-on is the session itself; every table entry finds its session
// through it. Every call the add-on makes is traced with its status. Element changes are allowed
// inside an undoable command, and inside an event that a host command (a user's action) caused;
// anywhere else they fail with HostError::NeedsUndoScope. What the add-on changes is never
// notified back to it.
#pragma once

#include "emulator/Project.h"
#include "hostkit/HostABI.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orvhost {

class HostSession {
public:
    explicit HostSession(Project& project);
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    // The 516 entries: the 13 the add-on uses answered, every other null.
    HostFunctionTable Table() const;
    API_Token Token() { return this; }
    static HostSession& FromToken(API_Token token) { return *static_cast<HostSession*>(token); }

    Project& GetProject() { return project; }

    // Events to the add-on, when it subscribed to them. An exception that leaves the add-on is
    // caught, traced and reported on standard error.
    void FireProjectEvent(int32_t event, uint32_t parameter);

    // The user's actions, each one host command on the undo stack; each fires the element events
    // it causes (in a burst: -1 first, -2 last) to the handlers the add-on installed.
    const Element& PlaceElement(int32_t type, const std::string& part);
    void ModifyElement(const API_Guid& guid);
    // Undoes the last command and sends the undo event for the observed elements it touched
    // that still exist; false when the stack is empty. What the add-on changes during those
    // events stays: Undo itself is not a command, and there is no redo.
    bool Undo();
    // Reads the library again and fires the library event with index 0.
    void ReloadLibrary();

    // The titles of the commands on the undo stack, oldest first.
    std::vector<std::string> UndoTitles() const;

    // Everything below is the table's entries' business.
    struct State;
    State& GetState() { return *state; }

private:
    Project& project;
    std::unique_ptr<State> state;
};

}  // namespace orvhost
