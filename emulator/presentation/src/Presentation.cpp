// Presentation.cpp: the trace of the dialogs shown, the count of script errors, and the script's
// verbs on a modal window.
#include "Presentation.h"

#include "DialogTrace.h"
#include "presentation/Backends.h"
#include "presentation/DialogRows.h"
#include "winsys/WindowSystem.h"

#include <charconv>
#include <iostream>

namespace presentation {

namespace {

// "click ROW": ROW a whole number, written as such.
bool ParseRow(const std::vector<std::string>& words, int& row) {
    if (words.size() != 1) {
        return false;
    }
    const std::string& word = words.front();
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), row);
    return error == std::errc() && end == word.data() + word.size();
}

PresentationBackend* CurrentBackend() {
    return dynamic_cast<PresentationBackend*>(&winsys::MainLoop::Instance().Backend());
}

bool ActOnMessageBox(winsys::MessageBoxModal& box, const ScriptAction& action) {
    if (!box.IsOpen() || !action.words.empty()) {
        return false;
    }
    if (action.verb == "ok") {
        box.Answer(IDOK);
        return true;
    }
    if (action.verb == "close") {
        return box.PressCloseBox();
    }
    return false;  // a message box has no rows to click
}

bool ActOnDialog(hostkit::DialogModal& window, const ScriptAction& action,
                 const DialogPresses& presses) {
    if (!window.IsOpen()) {
        return false;
    }
    DG::ModalDialog& dialog = window.Dialog();
    bool applied = false;
    if (action.verb == "click") {
        int row = 0;
        DG::ButtonItem* button = ParseRow(action.words, row) ? RowButton(dialog, row) : nullptr;
        applied = button != nullptr && presses.Click(window, *button);
    } else if ((action.verb == "close" || action.verb == "ok") && action.words.empty()) {
        applied = presses.PressCloseBox(window);
    }
    // What the action left on screen; a dialog it ended says so in its close line.
    if (applied && window.IsOpen()) {
        winsys::MainLoop::Instance().Trace(dialogtrace::DialogLine(dialog, "update"));
    }
    return applied;
}

}  // namespace

std::string Utf8(const GS::UniString& text) { return text.ToCStr(CC_UTF8).Get(); }

std::string JsonLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

void PresentationBackend::DialogOpened(DG::ModalDialog& dialog) {
    winsys::MainLoop::Instance().Trace(dialogtrace::DialogLine(dialog, "open"));
}

void PresentationBackend::DialogResized(DG::Dialog& dialog, int widthChange, int heightChange) {
    winsys::MainLoop::Instance().Trace(dialogtrace::ResizeLine(dialog, widthChange, heightChange));
}

void PresentationBackend::DialogClosed(DG::ModalDialog& dialog, bool aborted) {
    winsys::MainLoop::Instance().Trace(dialogtrace::CloseLine(dialog, aborted));
}

int ScriptErrorCount() {
    const PresentationBackend* backend = CurrentBackend();
    return backend != nullptr ? backend->ScriptErrors() : 0;
}

void CountScriptError() {
    if (PresentationBackend* backend = CurrentBackend()) {
        backend->CountScriptError();
    }
}

void ReportScriptError(int line, const std::string& message) {
    Json::Value trace(Json::objectValue);
    trace["kind"] = "script";
    trace["line"] = line;
    trace["error"] = message;
    winsys::MainLoop::Instance().Trace(JsonLine(trace));
    std::cerr << "orvhost: script line " << line << ": " << message << std::endl;
    CountScriptError();
}

bool DialogPresses::Click(hostkit::DialogModal& /*window*/, DG::ButtonItem& button) const {
    return button.Click();
}

bool DialogPresses::PressCloseBox(hostkit::DialogModal& window) const {
    return window.PressCloseBox();
}

bool ActOnWindow(winsys::ModalWindow& window, const ScriptAction& action,
                 const DialogPresses& presses) {
    if (auto* box = dynamic_cast<winsys::MessageBoxModal*>(&window)) {
        return ActOnMessageBox(*box, action);
    }
    if (auto* dialog = dynamic_cast<hostkit::DialogModal*>(&window)) {
        return ActOnDialog(*dialog, action, presses);
    }
    return false;
}

}  // namespace presentation
