// DGItem.cpp: the state changes of a dialog item, each told to ItemChanged, and its place in
// its panel's list.
#include "hostkit/DG.h"

namespace DG {

Item::Item(Panel& owner, const Rect& rect) : panel(&owner), rect(rect) { owner.Register(*this); }

Item::~Item() {
    if (panel != nullptr) {
        panel->Unregister(*this);
    }
}

void Item::ItemChanged(Aspect aspect) {
    if (panel != nullptr && panel->GetView() != nullptr) {
        panel->GetView()->ItemChanged(*this, aspect);
    }
}

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
