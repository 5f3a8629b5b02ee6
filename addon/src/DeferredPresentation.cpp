// DeferredPresentation.cpp: the work of the one-second timer: the states written into the
// elements as one undoable command, then the summary when there is something to offer.
#include "HostOperations.h"
#include "MonitorWindow.h"
#include "addon/ObjectsMonitor.h"
#include "catalogue/MessageCatalogue.h"
#include "ui/SummaryDialog.h"

namespace monitor {

LRESULT HandlerWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_TIMER && window == hiddenWindow) {
        // The timer fires once per arming; the message's timer id is not looked at.
        KillTimer(window, kTimerId);
        ApplyStatesUndoable();
        MonitorInstance().ShowSummaryIfNeeded();
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void ApplyStatesUndoable() {
    ThrowIfCommandFailed(HostCallUndoable(MessageString(kMessageCheckCommandTitle), [] {
        MonitorInstance().SyncAllElements(0, nullptr);
        return int32_t{0};
    }));
}

}  // namespace monitor

void ObjectsMonitor::ShowSummaryIfNeeded() {
    // A timer can fire inside the dialog's own loop: no second dialog then.
    if (summaryOpen != 0) {
        return;
    }
    summaryOpen = 1;
    bool worthShowing = false;
    for (const auto& entry : table) {
        if (!entry.value.downloadUrl.IsEmpty() && entry.value.state != StateUpToDate) {
            worthShowing = true;
            break;
        }
    }
    if (!worthShowing) {
        summaryOpen = 0;
        return;
    }
    {
        SummaryDialog dialog(*this);
        dialog.Invoke();
    }
    // Only here: a failure while the dialog is built or shown leaves the flag set.
    summaryOpen = 0;
}
