// GuiWindows_windows.h: the Win32 windows of the gui backend (GuiBackend_windows.cpp): a modal
// dialog whose items are real controls. Message boxes are the system's own.
#pragma once

#include "GuiCallbacks.h"
#include "hostkit/DGModal.h"

#include <windows.h>

#include <memory>

namespace presentation::gui {

// A window the backend shows for one modal dialog, taken down by destroying it.
class ShownWindow {
public:
    virtual ~ShownWindow() = default;
    virtual HWND Window() const = 0;
    // The control of `item`; null when it has none.
    virtual HWND ControlOf(const DG::Item& item) const = 0;
};

// Each item becomes a control at its rectangle: a push button, a static text, or a static strip
// of its background colour. Throws std::runtime_error when the window cannot be made.
std::unique_ptr<ShownWindow> ShowDialog(hostkit::DialogModal& modal);

}  // namespace presentation::gui
