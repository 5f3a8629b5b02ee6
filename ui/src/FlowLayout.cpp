// FlowLayout.cpp: stacks the visible children along one axis.
#include "Wrapping.h"
#include "ui/Layout.h"

#include <algorithm>

using namespace layout_math;

namespace {

int32_t CountVisible(const GS::Array<Layoutable*>& children) {
    int32_t count = 0;
    for (const Layoutable* child : children) {
        if (child->IsVisible()) {
            ++count;
        }
    }
    return count;
}

}  // namespace

void FlowLayout::SetBounds(int32_t x, int32_t y, int32_t width, int32_t height) {
    // A copy of the list at each pass.
    GS::Array<Layoutable*> list;
    if (!CollectChildren(list)) {
        return;
    }
    // Only a visible child without a preferred main size divides by the count, so a flow with no
    // visible child never does.
    const int32_t count = CountVisible(list);
    for (Layoutable* child : list) {
        if (!child->IsVisible()) {
            continue;
        }
        const DG::Point pref = child->GetPreferredSize();
        // The share of an unsized child is of the whole container and of all visible children,
        // spacing not taken off: a flow that mixes sized and unsized children may overrun.
        if (horizontal) {
            const int32_t cross = (stretch || pref.GetY() <= 0) ? height : pref.GetY();
            const int32_t crossPos = Add(y, Div(Mul(Sub(height, cross), align), 100));
            const int32_t main = pref.GetX() > 0 ? pref.GetX() : Div(width, count);
            child->SetBounds(x, crossPos, main, cross);
            x = Add(x, Add(main, spacing));
        } else {
            const int32_t cross = (stretch || pref.GetX() <= 0) ? width : pref.GetX();
            const int32_t crossPos = Add(x, Div(Mul(Sub(width, cross), align), 100));
            const int32_t main = pref.GetY() > 0 ? pref.GetY() : Div(height, count);
            child->SetBounds(crossPos, y, cross, main);
            y = Add(y, Add(main, spacing));
        }
    }
}

DG::Point FlowLayout::GetPreferredSize() const {
    GS::Array<Layoutable*> list;
    if (!CollectChildren(list)) {
        return DG::Point();
    }
    int32_t mainSum = 0;
    int32_t crossMax = 0;  // from 0, so a negative size never wins
    int32_t count = 0;
    for (const Layoutable* child : list) {
        if (!child->IsVisible()) {
            continue;
        }
        const DG::Point pref = child->GetPreferredSize();
        mainSum = Add(mainSum, horizontal ? pref.GetX() : pref.GetY());
        crossMax = std::max<int32_t>(crossMax, horizontal ? pref.GetY() : pref.GetX());
        ++count;
    }
    // Spacing follows every child, the last one included, as SetBounds advances.
    const int32_t main = Add(mainSum, Mul(spacing, count));
    return horizontal ? DG::Point(Cut16(main), Cut16(crossMax))
                      : DG::Point(Cut16(crossMax), Cut16(main));
}
