// DGModal.h: how the loop's backend sees the host's dialogs. A modal dialog stands on the main
// loop's modal stack as a DialogModal; a backend that shows dialogs also implements
// DialogPresenter, through which a dialog tells it what its items do not: that it opened, was
// resized or closed.
#pragma once

#include "hostkit/DG.h"
#include "winsys/MainLoop.h"

namespace hostkit {

// A modal dialog as a backend sees it (through dynamic_cast of the ModalWindow), to draw it.
// Its close box presses the cancel button where there is one, else ends the dialog as
// cancelled.
class DialogModal : public winsys::ModalWindow {
public:
    virtual DG::ModalDialog& Dialog() = 0;
};

// What a dialog tells the loop's backend, when the backend implements it too.
class DialogPresenter {
public:
    virtual ~DialogPresenter() = default;
    // After its opened handlers, before its modal loop (which does not run when they ended it).
    virtual void DialogOpened(DG::ModalDialog& dialog) = 0;
    // After each Resize, with the changes asked for; the dialog may not be shown.
    virtual void DialogResized(DG::Dialog& dialog, int widthChange, int heightChange) = 0;
    // When its modal loop has ended, before its closed handlers.
    virtual void DialogClosed(DG::ModalDialog& dialog, bool aborted) = 0;
};

// The loop's backend as a DialogPresenter, or null.
DialogPresenter* CurrentDialogPresenter();

}  // namespace hostkit
