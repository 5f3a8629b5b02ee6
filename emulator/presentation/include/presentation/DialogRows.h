// DialogRows.h: the numbers a script and the terminal give a dialog's buttons.
#pragma once

#include "hostkit/DG.h"

namespace presentation {

// The update button of row `row` (from 1) of the dialog, or null.
DG::ButtonItem* RowButton(DG::ModalDialog& dialog, int row);

}  // namespace presentation
