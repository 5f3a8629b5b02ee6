// UndoStack.cpp: what a host command changed, so that it can be rolled back or undone.
#include "emulator/UndoStack.h"

#include <algorithm>

namespace orvhost {

// One look-up in `held` per call: the insertion tells whether the element was held already.
void ChangeLog::RecordBefore(const Project& project, const Element& element) {
    if (held.Insert(element.guid)) {
        snapshots.push_back({element.guid, true, project.PositionOf(element.guid), element});
    }
}

void ChangeLog::RecordPlaced(const Project& project, const API_Guid& guid) {
    if (held.Insert(guid)) {
        snapshots.push_back({guid, false, project.PositionOf(guid), Element{}});
    }
}

void ChangeLog::Merge(ChangeLog&& nested) {
    for (ElementSnapshot& snapshot : nested.snapshots) {
        if (held.Insert(snapshot.guid)) {
            snapshots.push_back(std::move(snapshot));
        }
    }
    nested.snapshots.clear();
    nested.held.Clear();
}

std::vector<API_Guid> ChangeLog::Restore(Project& project) const {
    std::vector<API_Guid> touched;
    // Last touched first, so that positions recorded later still hold when earlier ones return.
    for (auto it = snapshots.rbegin(); it != snapshots.rend(); ++it) {
        if (!it->existed) {
            project.RemoveElement(it->guid);
        } else {
            Element restored = it->before;
            // The library may have been read again since: the index follows the part.
            if (!restored.part.empty()) {
                restored.libIndex = project.IndexOf(restored.part);
            }
            if (Element* found = project.FindElement(it->guid)) {
                *found = std::move(restored);
            } else {
                project.InsertElement(it->position, std::move(restored));
            }
        }
        touched.push_back(it->guid);
    }
    std::reverse(touched.begin(), touched.end());
    return touched;
}

DoneCommand UndoStack::Pop() {
    DoneCommand command = std::move(commands.back());
    commands.pop_back();
    return command;
}

std::vector<std::string> UndoStack::Titles() const {
    std::vector<std::string> titles;
    for (const DoneCommand& command : commands) {
        titles.push_back(command.title);
    }
    return titles;
}

}  // namespace orvhost
