// DGModalDialog.cpp: the modal dialog on the main loop. A private window adapter puts it on the
// loop's modal stack, so that a backend can show it and press its close box; the backend, when it
// presents dialogs, hears of its opening and its end.
#include "hostkit/DG.h"
#include "hostkit/DGModal.h"

namespace hostkit {

DialogPresenter* CurrentDialogPresenter() {
    return dynamic_cast<DialogPresenter*>(&winsys::MainLoop::Instance().Backend());
}

}  // namespace hostkit

namespace DG {

class ModalDialog::Window final : public hostkit::DialogModal {
public:
    explicit Window(ModalDialog& dialog) : dialog(dialog) {}

    ModalDialog& Dialog() override { return dialog; }
    bool IsOpen() const override { return dialog.open; }

    bool PressCloseBox() override { return dialog.open && Press(); }

    void Close() override {
        Press();
        // A cancel handler that did not abort must not hold the loop for ever.
        dialog.open = false;
    }

private:
    // The cancel button where there is one (its handler is to Abort), else the dialog ends as
    // cancelled. False when the cancel button cannot be pressed.
    bool Press() {
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
    winsys::MainLoop& loop = winsys::MainLoop::Instance();
    NotifyOpened();
    // Presented after the opened handlers, as the dialog then shows what they made of it.
    if (hostkit::DialogPresenter* presenter = hostkit::CurrentDialogPresenter()) {
        presenter->DialogOpened(*this);
    }
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
    if (hostkit::DialogPresenter* presenter = hostkit::CurrentDialogPresenter()) {
        presenter->DialogClosed(*this, aborted);
    }
    NotifyClosed();
    return aborted;
}

void ModalDialog::Abort() {
    if (open) {
        aborted = true;
        open = false;
    }
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
