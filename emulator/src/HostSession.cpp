// HostSession.cpp: the host's side of the function table over one open project: subscriptions,
// command scopes, the undo stack and the user's actions that fire events at the add-on.
//
// Choices of this host:
// - A command's changes are logged as element snapshots taken before each element's first
//   change; a failed command puts them back, a done one keeps them for Undo.
// - A nested command runs inside the one around it: its failure rolls back only its own changes,
//   its success adds them to the outer command, which alone goes on the undo stack.
// - The user's actions (placing, modifying) are commands of their own; what the add-on changes
//   during the events they fire belongs to them. Undo is not a command: the add-on may change
//   elements during the undo events it fires, and those changes stay (there is no redo).
#include "emulator/HostSession.h"

#include "emulator/HostSessionState.h"
#include "emulator/Trace.h"
#include "hostkit/UniString.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>

namespace orvhost {

std::string GuidText(const API_Guid& guid) { return GS::Guid(guid).ToString(); }

void TraceLine(const Json::Value& line) {
    Trace& trace = Trace::Instance();
    if (trace.IsOpen()) {
        trace.Write(line);
    }
}

void ReportException(const std::string& where, const std::string& what) {
    Json::Value line(Json::objectValue);
    line["kind"] = "exception";
    line["where"] = where;
    line["what"] = what;
    TraceLine(line);
    std::cerr << "orvhost: an exception left the add-on (" << where << "): " << what << '\n';
}

namespace {

std::string ExceptionText(std::exception_ptr error) {
    try {
        std::rethrow_exception(std::move(error));
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "an exception of unknown type";
    }
}

}  // namespace

bool HostSession::State::IsObserved(const API_Guid& guid) const {
    return std::find(observed.begin(), observed.end(), guid) != observed.end();
}

void HostSession::State::BeforeChange(const Element& element) {
    if (!scopes.empty()) {
        scopes.back().RecordBefore(project, element);
    }
}

void HostSession::State::ForgetRemovedElements() {
    std::erase_if(observed,
                  [&](const API_Guid& guid) { return project.FindElement(guid) == nullptr; });
}

int32_t HostSession::State::RunCommand(const std::string& title,
                                       const std::function<int32_t()>& body) {
    scopes.emplace_back();
    int32_t status = 0;
    try {
        status = body();
    } catch (...) {
        // The host's own failure: nothing of the command stays.
        ChangeLog failed = std::move(scopes.back());
        scopes.pop_back();
        failed.Restore(project);
        ForgetRemovedElements();
        throw;
    }
    // `scopes` may have grown and shrunk meanwhile; only its last entry is this command's.
    ChangeLog changes = std::move(scopes.back());
    scopes.pop_back();
    if (status != 0) {
        changes.Restore(project);
        ForgetRemovedElements();
    } else if (!scopes.empty()) {
        scopes.back().Merge(std::move(changes));
    } else {
        undo.Push({title, std::move(changes)});
    }
    Json::Value line(Json::objectValue);
    line["kind"] = "command";
    line["title"] = title;
    line["status"] = status;
    TraceLine(line);
    return status;
}

void HostSession::State::FireElementBurst(ElementEventHandlerFn handler, int32_t event,
                                          const std::vector<EventTarget>& targets) {
    if (handler == nullptr || targets.empty()) {
        return;
    }
    const auto send = [&](int32_t number, const EventTarget& target) {
        ElementEventRecord record;
        ZeroRecord(record);
        SetField<int32_t>(record, ElementEventField::Event, number);
        SetField<int32_t>(record, ElementEventField::Type, target.type);
        SetField<API_Guid>(record, ElementEventField::Guid, target.guid);
        Json::Value line(Json::objectValue);
        line["kind"] = "event";
        line["what"] = "element";
        line["number"] = number;
        line["type"] = target.type;
        line["guid"] = GuidText(target.guid);
        TraceLine(line);
        try {
            handler(&record);
        } catch (...) {
            ReportException("element event", ExceptionText(std::current_exception()));
        }
    };
    send(ElementEvent::BurstBegin, EventTarget{});
    for (const EventTarget& target : targets) {
        send(event, target);
    }
    send(ElementEvent::BurstEnd, EventTarget{});
}

HostSession::HostSession(Project& project)
    : project(project), state(std::make_unique<State>(project)) {}

HostSession::~HostSession() = default;

HostFunctionTable HostSession::Table() const { return HostOperationsTable(); }

void HostSession::FireProjectEvent(int32_t event, uint32_t parameter) {
    if (state->projectHandler == nullptr || (state->projectMask & event) == 0) {
        return;
    }
    Json::Value line(Json::objectValue);
    line["kind"] = "event";
    line["what"] = "project";
    line["number"] = event;
    line["parameter"] = parameter;
    TraceLine(line);
    try {
        state->projectHandler(event, parameter);
    } catch (...) {
        ReportException("project event", ExceptionText(std::current_exception()));
    }
}

const Element& HostSession::PlaceElement(int32_t type, const std::string& part) {
    API_Guid guid;
    state->RunCommand("Place element", [&]() -> int32_t {
        guid = project.PlaceElement(type, part).guid;
        state->scopes.back().RecordPlaced(project, guid);
        if (!state->newElementFilter.has_value() || *state->newElementFilter == type) {
            state->FireElementBurst(state->newElementHandler, ElementEvent::Placed,
                                    {EventTarget{guid, type}});
        }
        return 0;
    });
    const Element* placed = project.FindElement(guid);
    if (placed == nullptr) {
        throw std::runtime_error("the placed element " + GuidText(guid) + " is gone");
    }
    return *placed;
}

void HostSession::ModifyElement(const API_Guid& guid) {
    const Element* element = project.FindElement(guid);
    if (element == nullptr) {
        throw std::runtime_error("no element " + GuidText(guid) + " in the project");
    }
    const int32_t type = element->type;
    state->RunCommand("Modify element", [&]() -> int32_t {
        // The user's modification touches the element, so that Undo reports it.
        state->BeforeChange(*element);
        if (state->IsObserved(guid)) {
            state->FireElementBurst(state->observerHandler, ElementEvent::Changed,
                                    {EventTarget{guid, type}});
        }
        return 0;
    });
}

bool HostSession::Undo() {
    if (state->undo.Empty()) {
        return false;
    }
    const DoneCommand command = state->undo.Pop();
    const std::vector<API_Guid> touched = command.changes.Restore(project);
    state->ForgetRemovedElements();
    std::vector<EventTarget> targets;
    for (const API_Guid& guid : touched) {
        const Element* element = project.FindElement(guid);
        if (element != nullptr && state->IsObserved(guid)) {
            targets.push_back({guid, element->type});
        }
    }
    // A scope of its own, so that the add-on may answer the undo events with changes.
    state->scopes.emplace_back();
    try {
        state->FireElementBurst(state->observerHandler, ElementEvent::FirstUndoRedo, targets);
    } catch (...) {
        state->scopes.pop_back();
        throw;
    }
    state->scopes.pop_back();
    return true;
}

void HostSession::ReloadLibrary() {
    std::vector<std::string> warnings;
    project.ReloadLibrary(warnings);
    for (const std::string& warning : warnings) {
        Json::Value line(Json::objectValue);
        line["kind"] = "warning";
        line["what"] = warning;
        TraceLine(line);
        std::cerr << "orvhost: " << warning << '\n';
    }
    FireProjectEvent(ProjectEvent::LibraryChanged, 0);
}

std::vector<std::string> HostSession::UndoTitles() const { return state->undo.Titles(); }

}  // namespace orvhost
