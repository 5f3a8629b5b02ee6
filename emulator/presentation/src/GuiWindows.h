// GuiWindows.h: the FLTK windows of the gui backend (GuiBackend.cpp): a modal dialog drawn item
// by item, and a message box.
#pragma once

#include "GuiCallbacks.h"
#include "hostkit/DG.h"
#include "hostkit/DGModal.h"
#include "winsys/MainLoop.h"

#include <functional>
#include <memory>

class Fl_Window;

namespace presentation::gui {

// A window the backend shows for one modal window, taken down by destroying it.
class ShownWindow {
public:
    virtual ~ShownWindow() = default;
    virtual Fl_Window& Window() = 0;
};

// Each item's widget carries the item as its user data, so that callbacks (and tests) find it.
std::unique_ptr<ShownWindow> ShowDialog(hostkit::DialogModal& modal);
std::unique_ptr<ShownWindow> ShowMessageBox(winsys::MessageBoxModal& modal);

// Places a new window in the middle of the screen.
void CenterOnScreen(Fl_Window& window);

}  // namespace presentation::gui
