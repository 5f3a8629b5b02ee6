// LayoutableItem.cpp: the leaf of a layout tree, which places one dialog item.
#include "Wrapping.h"
#include "ui/Layout.h"

LayoutableItem::~LayoutableItem() { delete item; }

void LayoutableItem::SetBounds(int32_t x, int32_t y, int32_t width, int32_t height) {
    if (item == nullptr) {
        return;
    }
    // The host's rectangle is 16-bit: the corner sums wrap there, so a coordinate past 32767
    // comes out negative rather than clamped.
    const DG::Rect wanted(layout_math::Cut16(x), layout_math::Cut16(y),
                          layout_math::Cut16(layout_math::Add(x, width)),
                          layout_math::Cut16(layout_math::Add(y, height)));
    // A repeated pass at the same size must not touch the host's item.
    if (item->GetRect() != wanted) {
        item->SetRect(wanted);
    }
}

bool LayoutableItem::IsVisible() const { return item != nullptr && item->IsVisible(); }

void LayoutableItem::SetVisible(bool visible) {
    if (item != nullptr) {
        item->SetVisibility(visible);
    }
}

void LayoutableItem::ApplyVisibility(bool visible) { SetVisible(visible); }

bool LayoutableItem::CollectChildren(GS::Array<Layoutable*>& out) const {
    out.Clear();
    return false;
}
