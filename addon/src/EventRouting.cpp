// EventRouting.cpp: turns the host's project and element events into calls on the monitor.
// Exceptions are not caught here: they leave through the handler to the host.
#include "AddOn.h"
#include "HostOperations.h"
#include "addon/ObjectsMonitor.h"

#include <array>
#include <cstring>

namespace {

enum class ElementAction { Nothing, AttachThenNotify, Notify };

// Element events 0 to 14; every number outside the table does nothing.
constexpr std::array<ElementAction, 15> kElementActions = {
    ElementAction::Nothing,           // 0
    ElementAction::AttachThenNotify,  // 1 placed
    ElementAction::AttachThenNotify,  // 2 copied
    ElementAction::Notify,            // 3 changed
    ElementAction::Notify,            // 4 edited
    ElementAction::Nothing,           // 5 deleted
    ElementAction::Nothing,           // 6 to 11: undo and redo
    ElementAction::Nothing,           // 7
    ElementAction::Nothing,           // 8
    ElementAction::Nothing,           // 9
    ElementAction::Nothing,           // 10
    ElementAction::Nothing,           // 11
    ElementAction::Notify,            // 12 a parameter changed by the user
    ElementAction::Notify,            // 13
    ElementAction::Notify,            // 14
};

}  // namespace

int32_t ProjectEventHandler(int32_t eventNumber, uint32_t parameter) {
    switch (eventNumber) {
    case ProjectEvent::NewProject:
    case ProjectEvent::NewAndReset:
    case ProjectEvent::OpenProject:
        MonitorInstance().OnProjectOpened();
        break;
    case ProjectEvent::CloseProject:
        MonitorInstance().ResetMonitor();
        break;
    case ProjectEvent::LibraryChanged:
        MonitorInstance().OnLibPartChanged(parameter);
        break;
    default:
        break;
    }
    return 0;
}

int32_t ElementEventHandler(const ElementEventRecord* event) {
    const int32_t number = GetField<int32_t>(*event, ElementEventField::Event);
    if (number < 0 || number >= static_cast<int32_t>(kElementActions.size())) {
        return 0;
    }
    const ElementAction action = kElementActions[number];
    if (action == ElementAction::Nothing) {
        return 0;
    }
    const int32_t type = GetField<int32_t>(*event, ElementEventField::Type);
    const API_Guid identifier = GetField<API_Guid>(*event, ElementEventField::Guid);
    int32_t result = 0;
    if (action == ElementAction::AttachThenNotify) {
        // Observing a new element is what brings its later change events here.
        ElementHeader header;
        std::memcpy(header.bytes, event->bytes + ElementEventField::Header, ElementHeader::kSize);
        result = HostAttachObserver(&header, 0);
        if (result == HostError::LinkExists) {
            result = 0;
        }
    }
    MonitorInstance().OnElementEvent(type, identifier);
    return result;
}
