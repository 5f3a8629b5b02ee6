// DialogRows.cpp: a dialog's update button of a row.
#include "presentation/DialogRows.h"

namespace presentation {

DG::ButtonItem* RowButton(DG::ModalDialog& dialog, int row) { return dialog.ScriptButton(row); }

}  // namespace presentation
