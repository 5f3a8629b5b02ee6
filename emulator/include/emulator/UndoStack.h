// UndoStack.h: what a host command changed, so that it can be rolled back or undone.
//
// A change log keeps, for each element a command touches, the element as it was before the
// first change (or the fact that the command placed it). Rolling back or undoing puts those
// states back, last touched first. Done commands stand on the undo stack under their title.
#pragma once

#include "emulator/GuidSet.h"
#include "emulator/Project.h"

#include <cstddef>
#include <string>
#include <vector>

namespace orvhost {

struct ElementSnapshot {
    API_Guid guid;
    bool existed = true;       // false: the command placed the element; undoing removes it
    std::size_t position = 0;  // its place in the project's element order
    Element before;            // the element before the command's first change, when it existed
};

class ChangeLog {
public:
    // Keeps `element` as it is now, unless the log holds it already. Call before changing it.
    void RecordBefore(const Project& project, const Element& element);
    // Notes that the element was placed by the command.
    void RecordPlaced(const Project& project, const API_Guid& guid);

    // Takes in what a nested command changed: its snapshots of elements this log doesn't hold
    // yet (those it holds already have an older state here).
    void Merge(ChangeLog&& nested);
    // Puts every element back as it was; returns the identifiers of the elements touched.
    std::vector<API_Guid> Restore(Project& project) const;

    const std::vector<ElementSnapshot>& Snapshots() const { return snapshots; }
    bool Empty() const { return snapshots.empty(); }

private:
    std::vector<ElementSnapshot> snapshots;
    GuidSet held;
};

struct DoneCommand {
    std::string title;  // UTF-8
    ChangeLog changes;
};

class UndoStack {
public:
    void Push(DoneCommand command) { commands.push_back(std::move(command)); }
    bool Empty() const { return commands.empty(); }
    // Takes the last command off the stack; the stack must not be empty.
    DoneCommand Pop();
    std::vector<std::string> Titles() const;

private:
    std::vector<DoneCommand> commands;
};

}  // namespace orvhost
