// Layout.h: the layout engine that places dialog items. A dialog builds a tree of layouts once
// and applies it with its client size; leaves wrap dialog items, inner nodes divide the
// rectangle they are given among their children.
//
// All of it is integer arithmetic in dialog pixels: 32-bit coordinates and sums that wrap, 16-bit
// preferred sizes and item rectangles, division truncating toward zero, nothing clamped. A
// remainder may go negative and is passed on as it is.
//
// Ownership follows the host's object model: a layout owns its children and deletes them through
// the virtual destructor, and a LayoutableItem owns its dialog item. Nothing here throws on its
// own or reports anything.
#pragma once

#include "hostkit/DGItem.h"
#include "hostkit/GSArray.h"

#include <cstdint>

// The positions of a DockLayout. Any other value is accepted: the child is owned, never placed.
constexpr int32_t DockLeft = 0;
constexpr int32_t DockTop = 1;
constexpr int32_t DockRight = 2;
constexpr int32_t DockBottom = 3;
constexpr int32_t DockCenter = 4;

// Everything that a layout arranges.
class Layoutable {
public:
    virtual ~Layoutable() = default;
    virtual void SetBounds(int32_t x, int32_t y, int32_t width, int32_t height) = 0;
    virtual bool IsVisible() const = 0;
    virtual void SetVisible(bool visible) = 0;
    // What a parent layout passes down when its own visibility changes.
    virtual void ApplyVisibility(bool visible) = 0;
    virtual DG::Point GetPreferredSize() const = 0;
    // Empties `out`, then appends the direct children; true if any was appended.
    virtual bool CollectChildren(GS::Array<Layoutable*>& out) const = 0;

    Layoutable(const Layoutable&) = delete;
    Layoutable& operator=(const Layoutable&) = delete;

protected:
    Layoutable() = default;
};

// A leaf: one dialog item with a fixed preferred size. Owns the item.
class LayoutableItem : public Layoutable {
public:
    LayoutableItem(DG::Point preferred, DG::Item* item) : preferred(preferred), item(item) {}
    ~LayoutableItem() override;

    // Sets the item's rectangle, in 16 bits, only if it differs from the one there.
    void SetBounds(int32_t x, int32_t y, int32_t width, int32_t height) override;
    bool IsVisible() const override;
    void SetVisible(bool visible) override;
    void ApplyVisibility(bool visible) override;
    DG::Point GetPreferredSize() const override { return preferred; }
    bool CollectChildren(GS::Array<Layoutable*>& out) const override;

private:
    DG::Point preferred;
    DG::Item* item;
};

// The base of the managers: an ordered list of owned children and a visibility flag that gates
// only what is passed down to them.
class Layout : public Layoutable {
public:
    ~Layout() override;

    // A layout is visible if any child is; its own flag is not read here.
    bool IsVisible() const override;
    // Stores the flag, then passes it down.
    void SetVisible(bool visible) override;
    // Hands every child `visible && own flag`, leaving nested layouts' flags as they are.
    void ApplyVisibility(bool visible) override;
    bool CollectChildren(GS::Array<Layoutable*>& out) const override;

    // Wraps a non-null item in a LayoutableItem and adds it by AddChild; the layout then owns the
    // item. A null item adds nothing. Returns this layout, so that calls chain.
    virtual Layout* AddItem(DG::Item* item, int32_t position, DG::Point preferred);
    // Appends and takes ownership; the position means nothing here. Returns this layout.
    virtual Layout* AddChild(Layoutable* child, int32_t position);
    // Deletes every child and empties the list.
    virtual void Clear();

protected:
    Layout() = default;

    GS::Array<Layoutable*> children;
    bool visible = true;
};

// Stacks its visible children along one axis, each at its preferred main size or, without one,
// an equal share of the whole container. Nothing shrinks to fit.
class FlowLayout : public Layout {
public:
    // `align` is the cross-axis position of a child in the free space, in percent; `spacing`
    // follows every child; `stretch` makes every child fill the cross axis.
    FlowLayout(bool horizontal, int32_t align, int32_t spacing, bool stretch)
        : horizontal(horizontal), align(align), spacing(spacing), stretch(stretch) {}

    void SetBounds(int32_t x, int32_t y, int32_t width, int32_t height) override;
    DG::Point GetPreferredSize() const override;

private:
    bool horizontal;
    int32_t align;
    int32_t spacing;
    bool stretch;
};

// Four edges and a centre. Top and bottom take the whole width, then left and right share the
// rest of the height with the centre. An absent or invisible position takes no room.
class DockLayout : public Layout {
public:
    // Sizes of the edges; -1 stands for the child's preferred size.
    DockLayout(int32_t left, int32_t top, int32_t right, int32_t bottom)
        : size{left, top, right, bottom} {}

    void SetBounds(int32_t x, int32_t y, int32_t width, int32_t height) override;
    DG::Point GetPreferredSize() const override;
    Layout* AddItem(DG::Item* item, int32_t position, DG::Point preferred) override;
    // Takes the position if it is one of the five, replacing what was there; owns the child in
    // every case.
    Layout* AddChild(Layoutable* child, int32_t position) override;
    // Also empties the five positions; the sizes stay.
    void Clear() override;

protected:
    // Whether the position holds a child that takes part in a pass.
    bool Shows(int32_t position) const;

    // Not owning: ownership stays in `children`.
    Layoutable* child[5] = {};
    int32_t size[4];
};

// Sizes the centre child and places it by percentages in the free space; the edge children fill
// the margin around it: top and bottom the whole width, left and right the height of the centre.
class AlignLayout : public DockLayout {
public:
    // `width` and `height` of the centre child: 0 for the whole container, -1 for its preferred
    // size. `hAlign` and `vAlign` divide the free space before and after it, in percent.
    AlignLayout(int32_t width, int32_t height, int32_t hAlign, int32_t vAlign)
        : DockLayout(0, 0, 0, 0), width(width), height(height), hAlign(hAlign), vAlign(vAlign) {}

    void SetBounds(int32_t x, int32_t y, int32_t w, int32_t h) override;
    // Only the centre child counts, so edges alone leave the layout invisible to its parent.
    bool IsVisible() const override;
    // The centre child's, or the default point.
    DG::Point GetPreferredSize() const override;

private:
    int32_t width;
    int32_t height;
    int32_t hAlign;
    int32_t vAlign;
};
