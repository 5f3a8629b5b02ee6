// DialogRows.cpp: a dialog's update button of a row, from its items.
#include "presentation/DialogRows.h"

#include <algorithm>

namespace presentation {

namespace {

DG::Button* RowCandidate(DG::Item* item) {
    auto* button = dynamic_cast<DG::Button*>(item);
    return button != nullptr && !button->IsCancel() ? button : nullptr;
}

}  // namespace

DG::ButtonItem* RowButton(DG::ModalDialog& dialog, int row) {
    if (row < 1) {
        return nullptr;
    }
    const std::vector<DG::Item*>& items = dialog.GetItems();
    const bool hasRows =
        std::any_of(items.begin(), items.end(), [](DG::Item* item) { return item->GetRow() != 0; });
    int count = 0;
    for (DG::Item* item : items) {
        DG::Button* button = RowCandidate(item);
        if (button == nullptr) {
            continue;
        }
        if (hasRows ? button->GetRow() == row : ++count == row) {
            return button;
        }
    }
    return nullptr;
}

}  // namespace presentation
