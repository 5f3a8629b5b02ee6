// GuiBackend_windows.cpp: the Windows build has no windows of its own to draw dialogs in yet, so
// asking for them fails with a message that says so.
#include "presentation/Backends.h"

#include <stdexcept>

namespace presentation {

std::unique_ptr<winsys::UiBackend> MakeGuiBackend() {
    throw std::runtime_error("the gui backend is not built for Windows yet");
}

}  // namespace presentation
