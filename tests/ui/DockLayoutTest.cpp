// DockLayoutTest.cpp: how a dock layout shrinks its rectangle edge by edge, what size it asks
// for, and what becomes of children it cannot place.
#include "LayoutTestSupport.h"
#include "ui/Layout.h"

#include <gtest/gtest.h>
#include <vector>

using uitest::Bounds;
using uitest::Probe;

namespace {

using Placed = std::vector<Bounds>;

TEST(DockLayout, TopAndBottomRunTheWholeWidthThenLeftRightAndCentreShareTheRest) {
    auto* top = new Probe(DG::Point(0, 15));
    auto* bottom = new Probe(DG::Point(0, 25));
    auto* left = new Probe(DG::Point(30, 0));
    auto* right = new Probe(DG::Point(40, 0));
    auto* center = new Probe(DG::Point(1, 1));
    DockLayout dock(-1, -1, -1, -1);
    dock.AddChild(center, DockCenter)
        ->AddChild(right, DockRight)
        ->AddChild(left, DockLeft)
        ->AddChild(bottom, DockBottom)
        ->AddChild(top, DockTop);
    dock.SetBounds(10, 20, 200, 100);
    EXPECT_EQ(top->placed, (Placed{{10, 20, 200, 15}}));
    EXPECT_EQ(bottom->placed, (Placed{{10, 95, 200, 25}}));
    EXPECT_EQ(left->placed, (Placed{{10, 35, 30, 60}}));
    EXPECT_EQ(right->placed, (Placed{{170, 35, 40, 60}}));
    EXPECT_EQ(center->placed, (Placed{{40, 35, 130, 60}}));
}

TEST(DockLayout, FixedSizesOverridePreferredOnes) {
    auto* top = new Probe(DG::Point(99, 99));
    auto* left = new Probe(DG::Point(99, 99));
    DockLayout dock(12, 7, -1, -1);
    dock.AddChild(top, DockTop)->AddChild(left, DockLeft);
    dock.SetBounds(0, 0, 100, 100);
    EXPECT_EQ(top->placed, (Placed{{0, 0, 100, 7}}));
    EXPECT_EQ(left->placed, (Placed{{0, 7, 12, 93}}));
}

TEST(DockLayout, SizeZeroGivesNoRoomAndStillPlacesTheChild) {
    auto* top = new Probe(DG::Point(50, 50));
    auto* bottom = new Probe(DG::Point(50, 50));
    auto* left = new Probe(DG::Point(50, 50));
    auto* right = new Probe(DG::Point(50, 50));
    auto* center = new Probe();
    DockLayout dock(0, 0, 0, 0);
    dock.AddChild(top, DockTop)
        ->AddChild(bottom, DockBottom)
        ->AddChild(left, DockLeft)
        ->AddChild(right, DockRight)
        ->AddChild(center, DockCenter);
    dock.SetBounds(5, 6, 100, 80);
    EXPECT_EQ(top->placed, (Placed{{5, 6, 100, 0}}));
    EXPECT_EQ(bottom->placed, (Placed{{5, 86, 100, 0}}));
    EXPECT_EQ(left->placed, (Placed{{5, 6, 0, 80}}));
    EXPECT_EQ(right->placed, (Placed{{105, 6, 0, 80}}));
    EXPECT_EQ(center->placed, (Placed{{5, 6, 100, 80}}));
}

TEST(DockLayout, PreferredSizeOfZeroHeightGivesZeroHeight) {
    auto* top = new Probe(DG::Point(40, 0));
    auto* center = new Probe();
    DockLayout dock(-1, -1, -1, -1);
    dock.AddChild(top, DockTop)->AddChild(center, DockCenter);
    dock.SetBounds(0, 0, 100, 50);
    EXPECT_EQ(top->placed, (Placed{{0, 0, 100, 0}}));
    EXPECT_EQ(center->placed, (Placed{{0, 0, 100, 50}}));
}

TEST(DockLayout, EdgesLargerThanTheContainerPassNegativeSizesToTheCentre) {
    auto* top = new Probe();
    auto* bottom = new Probe();
    auto* left = new Probe();
    auto* right = new Probe();
    auto* center = new Probe();
    DockLayout dock(30, 30, 30, 30);
    dock.AddChild(top, DockTop)
        ->AddChild(bottom, DockBottom)
        ->AddChild(left, DockLeft)
        ->AddChild(right, DockRight)
        ->AddChild(center, DockCenter);
    dock.SetBounds(0, 0, 50, 40);
    EXPECT_EQ(top->placed, (Placed{{0, 0, 50, 30}}));
    EXPECT_EQ(bottom->placed, (Placed{{0, 10, 50, 30}}));
    EXPECT_EQ(left->placed, (Placed{{0, 30, 30, -20}}));
    EXPECT_EQ(right->placed, (Placed{{20, 30, 30, -20}}));
    EXPECT_EQ(center->placed, (Placed{{30, 30, -10, -20}}));
}

TEST(DockLayout, InvisibleOrAbsentPositionsTakeNoRoom) {
    auto* top = new Probe(DG::Point(10, 10), false);
    auto* center = new Probe();
    DockLayout dock(20, 20, 20, 20);
    dock.AddChild(top, DockTop)->AddChild(center, DockCenter);
    dock.SetBounds(0, 0, 100, 100);
    EXPECT_TRUE(top->placed.empty());
    EXPECT_EQ(center->placed, (Placed{{0, 0, 100, 100}}));
}

TEST(DockLayout, AddChildTwiceAtOnePositionKeepsTheEarlierChildUnplaced) {
    int deletions = 0;
    auto* earlier = new Probe(DG::Point(), true, &deletions);
    auto* later = new Probe(DG::Point(), false, &deletions);
    DockLayout dock(10, 10, 10, 10);
    dock.AddChild(earlier, DockTop)->AddChild(later, DockTop);

    GS::Array<Layoutable*> children;
    ASSERT_TRUE(dock.CollectChildren(children));
    EXPECT_EQ(children.GetSize(), 2u);
    // Only the earlier child is visible, and it counts.
    EXPECT_TRUE(dock.IsVisible());

    later->shown = true;
    dock.SetBounds(0, 0, 100, 100);
    EXPECT_TRUE(earlier->placed.empty());
    EXPECT_EQ(later->placed, (Placed{{0, 0, 100, 10}}));

    dock.Clear();
    EXPECT_EQ(deletions, 2);
}

TEST(DockLayout, AddChildAtPositionFiveOrAboveIsOwnedAndCountedButNeverPlaced) {
    int deletions = 0;
    auto* five = new Probe(DG::Point(10, 10), true, &deletions);
    auto* large = new Probe(DG::Point(10, 10), true, &deletions);
    auto* negative = new Probe(DG::Point(10, 10), true, &deletions);
    {
        DockLayout dock(-1, -1, -1, -1);
        // -1 taken as unsigned is far above 5.
        dock.AddChild(five, 5)->AddChild(large, 1000)->AddChild(negative, -1);
        EXPECT_TRUE(dock.IsVisible());
        GS::Array<Layoutable*> children;
        EXPECT_TRUE(dock.CollectChildren(children));
        EXPECT_EQ(children.GetSize(), 3u);
        dock.SetBounds(0, 0, 100, 100);
        EXPECT_TRUE(five->placed.empty());
        EXPECT_TRUE(large->placed.empty());
        EXPECT_TRUE(negative->placed.empty());
        EXPECT_EQ(dock.GetPreferredSize(), DG::Point());
    }
    EXPECT_EQ(deletions, 3);
}

TEST(DockLayout, PreferredSizeIsTheWiderOfEdgesAndMiddleAndTheSumOfHeights) {
    DockLayout dock(-1, 10, 5, -1);
    dock.AddChild(new Probe(DG::Point(20, 40)), DockLeft)
        ->AddChild(new Probe(DG::Point(100, 99)), DockTop)
        ->AddChild(new Probe(DG::Point(7, 60)), DockRight)
        ->AddChild(new Probe(DG::Point(50, 15)), DockBottom)
        ->AddChild(new Probe(DG::Point(30, 50)), DockCenter);
    // Edges: width max(100, 50), height 10 + 15. Middle: width 20 + 5 + 30, height max(40, 60, 50).
    EXPECT_EQ(dock.GetPreferredSize(), DG::Point(100, 85));
}

TEST(DockLayout, PreferredSizeCanBeWiderInTheMiddle) {
    DockLayout dock(-1, -1, -1, -1);
    dock.AddChild(new Probe(DG::Point(40, 30)), DockLeft)
        ->AddChild(new Probe(DG::Point(500, 500), false), DockTop)
        ->AddChild(new Probe(DG::Point(80, 30)), DockRight)
        ->AddChild(new Probe(DG::Point(0, 20)), DockBottom)
        ->AddChild(new Probe(DG::Point(0, 0)), DockCenter);
    // The invisible top counts as zero.
    EXPECT_EQ(dock.GetPreferredSize(), DG::Point(120, 50));
}

TEST(DockLayout, PreferredSizeIsCutTo16Bits) {
    DockLayout dock(30000, 30000, 30000, 30000);
    dock.AddChild(new Probe(), DockTop)
        ->AddChild(new Probe(), DockBottom)
        ->AddChild(new Probe(), DockLeft)
        ->AddChild(new Probe(), DockRight);
    EXPECT_EQ(dock.GetPreferredSize(), DG::Point(-5536, -5536));
}

TEST(DockLayout, ClearEmptiesThePositionsAndKeepsTheSizes) {
    int deletions = 0;
    auto* oldTop = new Probe(DG::Point(), true, &deletions);
    auto* oldCenter = new Probe(DG::Point(), true, &deletions);
    DockLayout dock(0, 7, 0, 0);
    dock.AddChild(oldTop, DockTop)->AddChild(oldCenter, DockCenter);
    dock.Clear();
    EXPECT_EQ(deletions, 2);
    EXPECT_FALSE(dock.IsVisible());
    GS::Array<Layoutable*> children;
    EXPECT_FALSE(dock.CollectChildren(children));

    // Nothing stale is placed, and the top keeps its size of 7.
    auto* newTop = new Probe();
    dock.AddChild(newTop, DockTop);
    dock.SetBounds(0, 0, 50, 50);
    EXPECT_EQ(newTop->placed, (Placed{{0, 0, 50, 7}}));
}

TEST(DockLayout, AddItemWrapsTheItemAtItsPosition) {
    auto* item = new uitest::TestItem;
    DockLayout dock(-1, -1, -1, -1);
    EXPECT_EQ(dock.AddItem(item, DockRight, DG::Point(25, 3)), &dock);
    dock.SetBounds(0, 0, 100, 40);
    EXPECT_EQ(item->GetRect(), DG::Rect(75, 0, 100, 40));
}

}  // namespace
