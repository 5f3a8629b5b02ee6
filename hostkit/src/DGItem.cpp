// DGItem.cpp: the state changes of a dialog item, each told to ItemChanged.
#include "hostkit/DGItem.h"

namespace DG {

void Item::SetVisibility(bool shown) {
    visible = shown;
    ItemChanged(Aspect::Visibility);
}

void Item::SetRect(const Rect& newRect) {
    rect = newRect;
    ItemChanged(Aspect::Rect);
}

void Item::Enable() {
    enabled = true;
    ItemChanged(Aspect::Enabled);
}

void Item::Disable() {
    enabled = false;
    ItemChanged(Aspect::Enabled);
}

}  // namespace DG
