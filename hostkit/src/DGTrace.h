// DGTrace.h: the trace lines of a modal dialog: what it shows when it opens and after each
// script action, and how it ended.
#pragma once

#include <string>

namespace DG {
class ModalDialog;
}

namespace hostkit::dgtrace {

// "open" or "update": title, client size, icon and every item in the panel's order.
std::string DialogLine(const DG::ModalDialog& dialog, const char* event);
std::string CloseLine(const DG::ModalDialog& dialog, bool aborted);

}  // namespace hostkit::dgtrace
