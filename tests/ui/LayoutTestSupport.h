// LayoutTestSupport.h: stand-ins that a layout arranges in the tests: a dialog item that records
// its rectangle and counts what is done to it, and a probe that records every placement.
#pragma once

#include "hostkit/DGItem.h"
#include "ui/Layout.h"

#include <cstdint>
#include <ostream>
#include <vector>

namespace DG {
// Lets failed expectations show rectangles and points readably.
inline void PrintTo(const Rect& rect, std::ostream* os) {
    *os << "Rect(" << rect.GetLeft() << ", " << rect.GetTop() << ", " << rect.GetRight() << ", "
        << rect.GetBottom() << ")";
}
inline void PrintTo(const Point& point, std::ostream* os) {
    *os << "Point(" << point.GetX() << ", " << point.GetY() << ")";
}
}  // namespace DG

namespace uitest {

// A dialog item with no window behind it. Visible from the start, as the items of a dialog are
// by the time its layout pass runs.
class TestItem : public DG::Item {
public:
    explicit TestItem(int* deletions = nullptr) : deletions(deletions) { SetVisibility(true); }
    ~TestItem() override {
        if (deletions != nullptr) {
            ++*deletions;
        }
    }

    int setRectCalls = 0;

protected:
    void ItemChanged(Aspect aspect) override {
        if (aspect == Aspect::Rect) {
            ++setRectCalls;
        }
    }

private:
    int* deletions;
};

// The arguments of one SetBounds call.
struct Bounds {
    int32_t x, y, width, height;
    friend bool operator==(const Bounds&, const Bounds&) = default;
    friend void PrintTo(const Bounds& b, std::ostream* os) {
        *os << "Bounds(" << b.x << ", " << b.y << ", " << b.width << ", " << b.height << ")";
    }
};

// A leaf that records what a layout asks of it, so that calls with any arguments, zero and
// negative sizes included, can be checked as they were made.
class Probe : public Layoutable {
public:
    explicit Probe(DG::Point preferred = DG::Point(), bool shown = true, int* deletions = nullptr)
        : preferred(preferred), shown(shown), deletions(deletions) {}
    ~Probe() override {
        if (deletions != nullptr) {
            ++*deletions;
        }
    }

    void SetBounds(int32_t x, int32_t y, int32_t width, int32_t height) override {
        placed.push_back({x, y, width, height});
    }
    bool IsVisible() const override { return shown; }
    void SetVisible(bool visible) override { shown = visible; }
    void ApplyVisibility(bool visible) override {
        applied.push_back(visible);
        SetVisible(visible);
    }
    DG::Point GetPreferredSize() const override { return preferred; }
    bool CollectChildren(GS::Array<Layoutable*>& out) const override {
        out.Clear();
        return false;
    }

    DG::Point preferred;
    bool shown;
    std::vector<Bounds> placed;
    std::vector<bool> applied;

private:
    int* deletions;
};

}  // namespace uitest
