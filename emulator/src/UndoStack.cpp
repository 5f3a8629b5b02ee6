// UndoStack.cpp: what a host command changed, so that it can be rolled back or undone.
#include "UndoStack.h"

#include <algorithm>

namespace orvhost {

namespace {

std::size_t PositionOf(const Project& project, const API_Guid& guid) {
    const auto& elements = project.Elements();
    const auto found = std::find_if(elements.begin(), elements.end(),
                                    [&](const Element& element) { return element.guid == guid; });
    return static_cast<std::size_t>(found - elements.begin());
}

}  // namespace

void ChangeLog::RecordBefore(const Project& project, const Element& element) {
    if (Holds(element.guid)) {
        return;
    }
    snapshots.push_back({element.guid, true, PositionOf(project, element.guid), element});
}

void ChangeLog::RecordPlaced(const Project& project, const API_Guid& guid) {
    if (Holds(guid)) {
        return;
    }
    snapshots.push_back({guid, false, PositionOf(project, guid), Element{}});
}

bool ChangeLog::Holds(const API_Guid& guid) const {
    return std::any_of(snapshots.begin(), snapshots.end(),
                       [&](const ElementSnapshot& snapshot) { return snapshot.guid == guid; });
}

void ChangeLog::Merge(ChangeLog&& nested) {
    for (ElementSnapshot& snapshot : nested.snapshots) {
        if (!Holds(snapshot.guid)) {
            snapshots.push_back(std::move(snapshot));
        }
    }
    nested.snapshots.clear();
}

std::vector<API_Guid> ChangeLog::Restore(Project& project) const {
    std::vector<API_Guid> touched;
    auto& elements = project.Elements();
    // Last touched first, so that positions recorded later still hold when earlier ones return.
    for (auto it = snapshots.rbegin(); it != snapshots.rend(); ++it) {
        const auto found =
            std::find_if(elements.begin(), elements.end(),
                         [&](const Element& element) { return element.guid == it->guid; });
        if (!it->existed) {
            if (found != elements.end()) {
                elements.erase(found);
            }
        } else {
            Element restored = it->before;
            // The library may have been read again since: the index follows the part.
            if (!restored.part.empty()) {
                restored.libIndex = project.IndexOf(restored.part);
            }
            if (found != elements.end()) {
                *found = std::move(restored);
            } else {
                const std::size_t position = std::min(it->position, elements.size());
                elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(position),
                                std::move(restored));
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
