// AlignLayout.cpp: sizes and places the centre child, and lets the edge children fill the margin
// around it.
#include "Wrapping.h"
#include "ui/Layout.h"

using namespace layout_math;

void AlignLayout::SetBounds(int32_t x, int32_t y, int32_t w, int32_t h) {
    int32_t cw = width != 0 ? width : w;
    int32_t ch = height != 0 ? height : h;
    if (Shows(DockCenter)) {
        const DG::Point pref = child[DockCenter]->GetPreferredSize();
        if (cw == -1) {
            cw = pref.GetX();
        }
        if (ch == -1) {
            ch = pref.GetY();
        }
    }
    // Also turns a -1 left without a visible centre child into 0.
    if (cw < 1) {
        cw = 0;
    }
    if (ch < 1) {
        ch = 0;
    }
    const int32_t freeV = Sub(h, ch);
    const int32_t topH = Div(Mul(vAlign, freeV), 100);
    const int32_t bottomH = Sub(freeV, topH);
    const int32_t freeH = Sub(w, cw);
    const int32_t leftW = Div(Mul(hAlign, freeH), 100);
    const int32_t rightW = Sub(freeH, leftW);

    if (Shows(DockTop)) {
        child[DockTop]->SetBounds(x, y, w, topH);
    }
    if (Shows(DockBottom)) {
        child[DockBottom]->SetBounds(x, Add(Sub(y, bottomH), h), w, bottomH);
    }
    if (Shows(DockLeft)) {
        child[DockLeft]->SetBounds(x, Add(y, topH), leftW, ch);
    }
    if (Shows(DockRight)) {
        child[DockRight]->SetBounds(Add(Sub(x, rightW), w), Add(y, topH), rightW, ch);
    }
    if (Shows(DockCenter)) {
        child[DockCenter]->SetBounds(Add(x, leftW), Add(y, topH), cw, ch);
    }
}

bool AlignLayout::IsVisible() const { return Shows(DockCenter); }

DG::Point AlignLayout::GetPreferredSize() const {
    return Shows(DockCenter) ? child[DockCenter]->GetPreferredSize() : DG::Point();
}
