// Presentation.h: what the backends share: the trace lines of the dialogs they show, the count of
// script errors, and the script's verbs on a modal window (which the terminal uses too, so that a
// typed press is traced as a script's would be).
#pragma once

#include "hostkit/DGModal.h"
#include "presentation/ScriptAction.h"
#include "winsys/MainLoop.h"

#include <json/json.h>
#include <string>

namespace presentation {

// A dialog's text as UTF-8, for the terminal, the windows and the trace.
std::string Utf8(const GS::UniString& text);

// One JSON line for the trace sink: no indentation, UTF-8 left as it is.
std::string JsonLine(const Json::Value& value);

// The base of every backend here: it presents the dialogs to the trace and counts script errors.
class PresentationBackend : public winsys::UiBackend, public hostkit::DialogPresenter {
public:
    void DialogOpened(DG::ModalDialog& dialog) override;
    void DialogResized(DG::Dialog& dialog, int widthChange, int heightChange) override;
    void DialogClosed(DG::ModalDialog& dialog, bool aborted) override;

    int ScriptErrors() const { return scriptErrors; }
    void CountScriptError() { ++scriptErrors; }

private:
    int scriptErrors = 0;
};

// Traces a script error of `line` and reports it on standard error, and counts it.
void ReportScriptError(int line, const std::string& message);

// How an action's press reaches a dialog: here through its items; the script backend on Windows
// clicks the controls of the dialog's real window instead (PresentationPort.h). False when the
// press cannot be made.
class DialogPresses {
public:
    virtual ~DialogPresses() = default;
    virtual bool Click(hostkit::DialogModal& window, DG::ButtonItem& button) const;
    virtual bool PressCloseBox(hostkit::DialogModal& window) const;
};

// "click ROW", "close" or "ok" on a modal window; false when the action does not apply there.
// On a message box "ok" answers OK and "close" is its close box; on a dialog "click ROW" presses
// the row's update button and "close" or "ok" its close box, and what the action left on screen
// is traced.
bool ActOnWindow(winsys::ModalWindow& window, const ScriptAction& action,
                 const DialogPresses& presses = DialogPresses());

}  // namespace presentation
