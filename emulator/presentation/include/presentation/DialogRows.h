// DialogRows.h: the numbers a script ("click ROW") and the terminal give a dialog's buttons, found
// from the dialog's items alone.
#pragma once

#include "hostkit/DG.h"

namespace presentation {

// The update button of row `row` (from 1) of the dialog, or null. In a dialog whose items say
// which row they stand in (DG::Item::GetRow), the first button of that row that is not the cancel
// button, so that a row without a button has none and the rows after it keep their numbers; in a
// dialog without rows, the row-th button that is not the cancel button, in the panel's order.
DG::ButtonItem* RowButton(DG::ModalDialog& dialog, int row);

}  // namespace presentation
