// DialogTrace.h: the trace lines of a modal dialog: what it shows when it opens and after each
// script action, and how it ended.
#pragma once

#include <string>

namespace DG {
class Dialog;
class ModalDialog;
}  // namespace DG

namespace presentation::dialogtrace {

// "open" or "update": title, client size, icon and every item in the panel's order.
std::string DialogLine(const DG::ModalDialog& dialog, const char* event);
std::string CloseLine(const DG::ModalDialog& dialog, bool aborted);
// "resize": the changes asked for and the client size they gave.
std::string ResizeLine(const DG::Dialog& dialog, int widthChange, int heightChange);

}  // namespace presentation::dialogtrace
