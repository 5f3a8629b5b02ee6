// DGModalDialog.cpp: the modal dialog on the main loop. A private window adapter puts it on the
// loop's modal stack, so that a backend can show it and a script can press its buttons.
#include "DGTrace.h"
#include "hostkit/DG.h"

#include <charconv>

namespace DG {

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

}  // namespace

class ModalDialog::Window final : public hostkit::DialogModal {
public:
    explicit Window(ModalDialog& dialog) : dialog(dialog) {}

    ModalDialog& Dialog() override { return dialog; }
    bool IsOpen() const override { return dialog.open; }

    bool Act(const hostkit::ScriptAction& action) override {
        if (!dialog.open) {
            return false;
        }
        bool applied = false;
        if (action.verb == "click") {
            int row = 0;
            ButtonItem* button = ParseRow(action.words, row) ? dialog.ScriptButton(row) : nullptr;
            applied = button != nullptr && button->Click();
        } else if ((action.verb == "close" || action.verb == "ok") && action.words.empty()) {
            applied = PressClose();
        }
        // What the action left on screen; a dialog it ended says so in its close line.
        if (applied && dialog.open) {
            hostkit::MainLoop::Instance().Trace(hostkit::dgtrace::DialogLine(dialog, "update"));
        }
        return applied;
    }

    void Close() override {
        PressClose();
        // A cancel handler that did not abort must not hold the loop for ever.
        dialog.open = false;
    }

private:
    // The close box: the cancel button where there is one (its handler is to Abort), else the
    // dialog ends as cancelled. False when the cancel button cannot be pressed.
    bool PressClose() {
        if (Button* cancel = dialog.CancelButton()) {
            return cancel->Click();
        }
        dialog.open = false;
        return true;
    }

    ModalDialog& dialog;
};

ModalDialog::ModalDialog(const Rect& rect, int32_t /*growType*/, int32_t /*captionType*/,
                         int32_t /*frameType*/, const GS::Guid& /*guid*/)
    : Dialog(rect.GetWidth(), rect.GetHeight()) {}

ModalDialog::~ModalDialog() = default;

bool ModalDialog::Invoke() {
    if (open) {
        return false;
    }
    open = true;
    aborted = false;
    hostkit::MainLoop& loop = hostkit::MainLoop::Instance();
    NotifyOpened();
    // Traced after the opened handlers, as the dialog then shows what they made of it.
    loop.Trace(hostkit::dgtrace::DialogLine(*this, "open"));
    if (open) {
        Window window(*this);
        try {
            loop.RunModal(window);
        } catch (...) {
            open = false;  // an exception leaving the loop takes the dialog down with it
            throw;
        }
    }
    open = false;
    loop.Trace(hostkit::dgtrace::CloseLine(*this, aborted));
    NotifyClosed();
    return aborted;
}

void ModalDialog::Abort() {
    if (open) {
        aborted = true;
        open = false;
    }
}

ButtonItem* ModalDialog::ScriptButton(int row) {
    int count = 0;
    for (Item* item : GetItems()) {
        auto* button = dynamic_cast<Button*>(item);
        if (button != nullptr && !button->IsCancel() && ++count == row) {
            return button;
        }
    }
    return nullptr;
}

Button* ModalDialog::CancelButton() const {
    for (Item* item : GetItems()) {
        if (auto* button = dynamic_cast<Button*>(item); button != nullptr && button->IsCancel()) {
            return button;
        }
    }
    return nullptr;
}

}  // namespace DG
