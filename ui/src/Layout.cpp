// Layout.cpp: what every layout manager shares: the owned child list, its visibility and the
// adding of items and children.
#include "ui/Layout.h"

#include <new>
#include <utility>

Layout::~Layout() {
    // The base behaviour, whatever a derived Clear adds: the derived parts are gone by now.
    Layout::Clear();
}

bool Layout::IsVisible() const {
    for (const Layoutable* child : children) {
        if (child != nullptr && child->IsVisible()) {
            return true;
        }
    }
    return false;
}

void Layout::SetVisible(bool shown) {
    visible = shown;
    ApplyVisibility(shown);
}

void Layout::ApplyVisibility(bool shown) {
    for (Layoutable* child : children) {
        if (child != nullptr) {
            child->ApplyVisibility(shown && visible);
        }
    }
}

bool Layout::CollectChildren(GS::Array<Layoutable*>& out) const {
    out.Clear();
    // A null entry, left by an item that could not be wrapped, is no child.
    for (Layoutable* child : children) {
        if (child != nullptr) {
            out.Push(child);
        }
    }
    return !out.IsEmpty();
}

Layout* Layout::AddItem(DG::Item* item, int32_t position, DG::Point preferred) {
    if (item == nullptr) {
        return this;
    }
    // The host's allocation gives null instead of throwing, and the null goes on to AddChild. The
    // item was handed over, so it is deleted rather than lost.
    auto* wrapper = new (std::nothrow) LayoutableItem(preferred, item);
    if (wrapper == nullptr) {
        delete item;
    }
    return AddChild(wrapper, position);
}

Layout* Layout::AddChild(Layoutable* child, int32_t /*position*/) {
    try {
        children.Push(child);
    } catch (...) {
        // The child was handed over: it goes rather than leaks, and the list stays as it was.
        delete child;
        throw;
    }
    return this;
}

void Layout::Clear() {
    // Detached first, so that nothing reached from a child's destructor sees a half-deleted list.
    GS::Array<Layoutable*> doomed;
    std::swap(doomed, children);
    for (Layoutable* child : doomed) {
        delete child;  // null entries included: deleting null does nothing
    }
}
