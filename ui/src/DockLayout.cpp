// DockLayout.cpp: places children at the four edges and the centre of a rectangle.
#include "Wrapping.h"
#include "ui/Layout.h"

#include <algorithm>
#include <iterator>

using namespace layout_math;

bool DockLayout::Shows(int32_t position) const {
    return child[position] != nullptr && child[position]->IsVisible();
}

void DockLayout::SetBounds(int32_t x, int32_t y, int32_t width, int32_t height) {
    // The rectangle shrinks in this fixed order; nothing is clamped, so what is left for the
    // centre may be negative.
    if (Shows(DockTop)) {
        const int32_t s =
            size[DockTop] == -1 ? child[DockTop]->GetPreferredSize().GetY() : size[DockTop];
        child[DockTop]->SetBounds(x, y, width, s);
        y = Add(y, s);
        height = Sub(height, s);
    }
    if (Shows(DockBottom)) {
        const int32_t s = size[DockBottom] == -1 ? child[DockBottom]->GetPreferredSize().GetY()
                                                 : size[DockBottom];
        child[DockBottom]->SetBounds(x, Sub(Add(y, height), s), width, s);
        height = Sub(height, s);
    }
    if (Shows(DockLeft)) {
        const int32_t s =
            size[DockLeft] == -1 ? child[DockLeft]->GetPreferredSize().GetX() : size[DockLeft];
        child[DockLeft]->SetBounds(x, y, s, height);
        x = Add(x, s);
        width = Sub(width, s);
    }
    if (Shows(DockRight)) {
        const int32_t s =
            size[DockRight] == -1 ? child[DockRight]->GetPreferredSize().GetX() : size[DockRight];
        child[DockRight]->SetBounds(Sub(Add(x, width), s), y, s, height);
        width = Sub(width, s);
    }
    if (Shows(DockCenter)) {
        child[DockCenter]->SetBounds(x, y, width, height);
    }
}

DG::Point DockLayout::GetPreferredSize() const {
    // Absent or invisible positions count as zero, and the larger-of values start there.
    int32_t edgeWidth = 0;
    int32_t edgeHeight = 0;
    for (const int32_t position : {DockTop, DockBottom}) {
        if (Shows(position)) {
            const DG::Point pref = child[position]->GetPreferredSize();
            edgeWidth = std::max<int32_t>(edgeWidth, pref.GetX());
            edgeHeight = Add(edgeHeight, size[position] == -1 ? pref.GetY() : size[position]);
        }
    }
    int32_t middleWidth = 0;
    int32_t middleHeight = 0;
    for (const int32_t position : {DockLeft, DockRight}) {
        if (Shows(position)) {
            const DG::Point pref = child[position]->GetPreferredSize();
            middleWidth = Add(middleWidth, size[position] == -1 ? pref.GetX() : size[position]);
            middleHeight = std::max<int32_t>(middleHeight, pref.GetY());
        }
    }
    if (Shows(DockCenter)) {
        const DG::Point pref = child[DockCenter]->GetPreferredSize();
        middleWidth = Add(middleWidth, pref.GetX());
        middleHeight = std::max<int32_t>(middleHeight, pref.GetY());
    }
    return DG::Point(Cut16(std::max(edgeWidth, middleWidth)), Cut16(Add(edgeHeight, middleHeight)));
}

Layout* DockLayout::AddItem(DG::Item* item, int32_t position, DG::Point preferred) {
    return Layout::AddItem(item, position, preferred);
}

Layout* DockLayout::AddChild(Layoutable* newChild, int32_t position) {
    // Owned first: if the list cannot grow the child is gone, and no position may point at it.
    Layout::AddChild(newChild, position);
    if (static_cast<uint32_t>(position) < 5) {
        child[position] = newChild;
    }
    return this;
}

void DockLayout::Clear() {
    Layout::Clear();
    std::fill(std::begin(child), std::end(child), nullptr);
}
