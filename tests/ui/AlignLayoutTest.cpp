// AlignLayoutTest.cpp: how an align layout sizes and places its centre child, how the edge
// children fill the margin, and what the layout reports to its parent.
#include "LayoutTestSupport.h"
#include "ui/Layout.h"

#include <gtest/gtest.h>
#include <vector>

using uitest::Bounds;
using uitest::Probe;

namespace {

using Placed = std::vector<Bounds>;

struct Edges {
    Probe* top = new Probe();
    Probe* bottom = new Probe();
    Probe* left = new Probe();
    Probe* right = new Probe();

    void AddTo(Layout& layout) {
        layout.AddChild(right, DockRight)
            ->AddChild(top, DockTop)
            ->AddChild(bottom, DockBottom)
            ->AddChild(left, DockLeft);
    }
};

TEST(AlignLayout, FixedCentreIsPlacedByPercentsAndEdgesFillTheMargin) {
    Edges edges;
    auto* center = new Probe(DG::Point(1, 1));
    AlignLayout align(40, 20, 25, 100);
    edges.AddTo(align);
    align.AddChild(center, DockCenter);
    align.SetBounds(0, 0, 200, 100);
    // Free 160 by 80: 40 before and 120 after across, 80 above and 0 below.
    EXPECT_EQ(center->placed, (Placed{{40, 80, 40, 20}}));
    EXPECT_EQ(edges.top->placed, (Placed{{0, 0, 200, 80}}));
    EXPECT_EQ(edges.bottom->placed, (Placed{{0, 100, 200, 0}}));
    EXPECT_EQ(edges.left->placed, (Placed{{0, 80, 40, 20}}));
    EXPECT_EQ(edges.right->placed, (Placed{{80, 80, 120, 20}}));
}

TEST(AlignLayout, PreferredCentreIsCentredAtFiftyFifty) {
    Edges edges;
    auto* center = new Probe(DG::Point(30, 10));
    AlignLayout align(-1, -1, 50, 50);
    edges.AddTo(align);
    align.AddChild(center, DockCenter);
    align.SetBounds(100, 200, 100, 50);
    EXPECT_EQ(center->placed, (Placed{{135, 220, 30, 10}}));
    EXPECT_EQ(edges.top->placed, (Placed{{100, 200, 100, 20}}));
    EXPECT_EQ(edges.bottom->placed, (Placed{{100, 230, 100, 20}}));
    EXPECT_EQ(edges.left->placed, (Placed{{100, 220, 35, 10}}));
    EXPECT_EQ(edges.right->placed, (Placed{{165, 220, 35, 10}}));
}

TEST(AlignLayout, SizeZeroGivesTheCentreTheWholeContainer) {
    Edges edges;
    auto* center = new Probe(DG::Point(30, 10));
    AlignLayout align(0, 0, 50, 50);
    edges.AddTo(align);
    align.AddChild(center, DockCenter);
    align.SetBounds(3, 4, 60, 70);
    EXPECT_EQ(center->placed, (Placed{{3, 4, 60, 70}}));
    EXPECT_EQ(edges.top->placed, (Placed{{3, 4, 60, 0}}));
    EXPECT_EQ(edges.right->placed, (Placed{{63, 4, 0, 70}}));
}

TEST(AlignLayout, FreeWidthOfSevenAtFiftyPercentGivesThreeBeforeAndFourAfter) {
    Edges edges;
    auto* center = new Probe();
    AlignLayout align(3, 10, 50, 0);
    edges.AddTo(align);
    align.AddChild(center, DockCenter);
    align.SetBounds(0, 0, 10, 10);
    EXPECT_EQ(edges.left->placed, (Placed{{0, 0, 3, 10}}));
    EXPECT_EQ(center->placed, (Placed{{3, 0, 3, 10}}));
    EXPECT_EQ(edges.right->placed, (Placed{{6, 0, 4, 10}}));
}

TEST(AlignLayout, PreferredWidthWithAnInvisibleCentreLeavesTheWholeRectangleToTheEdges) {
    Edges edges;
    auto* center = new Probe(DG::Point(30, 10), false);
    AlignLayout align(-1, -1, 50, 50);
    edges.AddTo(align);
    align.AddChild(center, DockCenter);
    align.SetBounds(0, 0, 100, 60);
    // cw and ch are 0: the strips share 100 by 60 and the side strips have no height.
    EXPECT_TRUE(center->placed.empty());
    EXPECT_EQ(edges.top->placed, (Placed{{0, 0, 100, 30}}));
    EXPECT_EQ(edges.bottom->placed, (Placed{{0, 30, 100, 30}}));
    EXPECT_EQ(edges.left->placed, (Placed{{0, 30, 50, 0}}));
    EXPECT_EQ(edges.right->placed, (Placed{{50, 30, 50, 0}}));
}

TEST(AlignLayout, CentreSizesBelowOneBecomeZero) {
    auto* center = new Probe(DG::Point(-5, 0));
    AlignLayout align(-1, -1, 0, 0);
    align.AddChild(center, DockCenter);
    align.SetBounds(0, 0, 10, 10);
    EXPECT_EQ(center->placed, (Placed{{0, 0, 0, 0}}));

    auto* fixed = new Probe();
    AlignLayout negative(-7, -2, 0, 0);
    negative.AddChild(fixed, DockCenter);
    negative.SetBounds(0, 0, 10, 10);
    EXPECT_EQ(fixed->placed, (Placed{{0, 0, 0, 0}}));
}

TEST(AlignLayout, CentreLargerThanTheContainerGivesNegativeMargins) {
    Edges edges;
    auto* center = new Probe();
    AlignLayout align(30, 20, 50, 50);
    edges.AddTo(align);
    align.AddChild(center, DockCenter);
    align.SetBounds(0, 0, 23, 13);
    // Free -7 across and vertically: -3 before, -4 after.
    EXPECT_EQ(center->placed, (Placed{{-3, -3, 30, 20}}));
    EXPECT_EQ(edges.top->placed, (Placed{{0, 0, 23, -3}}));
    EXPECT_EQ(edges.bottom->placed, (Placed{{0, 17, 23, -4}}));
    EXPECT_EQ(edges.right->placed, (Placed{{27, -3, -4, 20}}));
}

TEST(AlignLayout, PreferredSizeIsTheVisibleCentreChildsAlone) {
    auto* center = new Probe(DG::Point(30, 10));
    AlignLayout align(300, 300, 50, 50);
    align.AddChild(new Probe(DG::Point(500, 500)), DockTop)->AddChild(center, DockCenter);
    EXPECT_EQ(align.GetPreferredSize(), DG::Point(30, 10));
    center->shown = false;
    EXPECT_EQ(align.GetPreferredSize(), DG::Point());
}

TEST(AlignLayout, WithoutAVisibleCentreIsInvisibleAndTakesNoRoomInItsParent) {
    auto* align = new AlignLayout(-1, -1, 50, 50);
    auto* strip = new Probe(DG::Point(10, 10));
    align->AddChild(strip, DockTop);
    EXPECT_FALSE(align->IsVisible());

    auto* rest = new Probe();
    DockLayout parent(40, 40, 40, 40);
    parent.AddChild(align, DockBottom)->AddChild(rest, DockCenter);
    parent.SetBounds(0, 0, 100, 100);
    EXPECT_TRUE(strip->placed.empty());
    EXPECT_EQ(rest->placed, (Placed{{0, 0, 100, 100}}));

    auto* center = new Probe(DG::Point(20, 20));
    align->AddChild(center, DockCenter);
    EXPECT_TRUE(align->IsVisible());
    center->shown = false;
    EXPECT_FALSE(align->IsVisible());
}

}  // namespace
