// MonitorWindow.h: the process-wide values beside the single monitor: its hidden window, the
// timer's last arming and the instance itself, shared by the monitor's files.
#pragma once

#include "addon/ObjectsMonitor.h"
#include "winsys/WindowSystem.h"

namespace monitor {

constexpr const char* kWindowClass = "ObjectsMonitor";
constexpr UINT_PTR kTimerId = 1;
constexpr UINT kTimerDelayMilliseconds = 1000;

extern ObjectsMonitor* instance;
extern HWND hiddenWindow;
extern UINT_PTR lastTimer;

// The hidden window's procedure: the timer's work.
LRESULT HandlerWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// SyncAllElements(0, null) as one undoable command; throws OVException when the command fails.
void ApplyStatesUndoable();
// Throws OVException with `status` and its text when a command failed.
void ThrowIfCommandFailed(int32_t status);

}  // namespace monitor
