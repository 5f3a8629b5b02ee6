// DGItem.h: the host's dialog geometry and the base of every dialog item.
//
// DG::Point and DG::Rect are 16-bit value types, as the host's dialog library keeps them. A
// DG::Item holds the state every backend draws from: rectangle, visibility, enabled. A change
// goes through ItemChanged, where a backend (or a test) follows it; setting a rectangle equal to
// the one there still counts as a change. An item made on a panel is listed by that panel, in
// the order of creation, until it is destroyed. An item may also say which row of a list it
// stands in, which is not drawn.
#pragma once

#include <cstdint>

namespace DG {

class Panel;

class Point {
public:
    Point() = default;
    Point(int16_t x, int16_t y) : x(x), y(y) {}
    int16_t GetX() const { return x; }
    int16_t GetY() const { return y; }
    friend bool operator==(const Point&, const Point&) = default;

private:
    int16_t x = 0;
    int16_t y = 0;
};

class Rect {
public:
    Rect() = default;
    Rect(int16_t left, int16_t top, int16_t right, int16_t bottom)
        : left(left), top(top), right(right), bottom(bottom) {}
    int16_t GetLeft() const { return left; }
    int16_t GetTop() const { return top; }
    int16_t GetRight() const { return right; }
    int16_t GetBottom() const { return bottom; }
    int16_t GetWidth() const { return static_cast<int16_t>(right - left); }
    int16_t GetHeight() const { return static_cast<int16_t>(bottom - top); }
    friend bool operator==(const Rect&, const Rect&) = default;

private:
    int16_t left = 0;
    int16_t top = 0;
    int16_t right = 0;
    int16_t bottom = 0;
};

class Item {
public:
    enum class Aspect { Rect, Visibility, Enabled, Text, Font, Color, Background };

    virtual ~Item();
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    bool IsVisible() const { return visible; }
    void SetVisibility(bool shown);
    Rect GetRect() const { return rect; }
    void SetRect(const Rect& newRect);
    bool IsEnabled() const { return enabled; }
    void Enable();
    void Disable();

    // The row of a list of rows that the item stands in, from 1; 0, the default, when it stands
    // in none. The dialog that lays out the rows sets it; nothing is drawn differently.
    int32_t GetRow() const { return row; }
    void SetRow(int32_t newRow) { row = newRow; }

    // The panel the item stands on; null for an item made without one.
    Panel* GetPanel() const { return panel; }
    // "LeftText", "Button", "UserItem", ...: what a backend draws.
    virtual const char* KindName() const { return "Item"; }

protected:
    explicit Item(const Rect& rect = Rect()) : rect(rect) {}
    Item(Panel& panel, const Rect& rect);
    // Called after each change, with what changed. The default tells the panel's view.
    virtual void ItemChanged(Aspect aspect);

private:
    friend class Panel;  // forgets its items when it goes first
    Panel* panel = nullptr;
    Rect rect;
    bool visible = false;
    bool enabled = true;
    int32_t row = 0;
};

}  // namespace DG
