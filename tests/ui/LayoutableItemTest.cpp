// LayoutableItemTest.cpp: the leaf that places one dialog item: its 16-bit rectangle, the
// comparison before SetRect, visibility and ownership.
#include "LayoutTestSupport.h"
#include "ui/Layout.h"

#include <gtest/gtest.h>

using uitest::TestItem;

namespace {

TEST(LayoutableItem, SetBoundsGivesTheItemTheRectangleOfCornerAndSize) {
    auto* item = new TestItem;
    LayoutableItem leaf(DG::Point(), item);
    leaf.SetBounds(10, 20, 30, 40);
    EXPECT_EQ(item->GetRect(), DG::Rect(10, 20, 40, 60));
    EXPECT_EQ(item->setRectCalls, 1);
}

TEST(LayoutableItem, CoordinateSumAbove32767WrapsIn16Bits) {
    auto* item = new TestItem;
    LayoutableItem leaf(DG::Point(), item);
    leaf.SetBounds(32760, 100, 10, 32700);
    // 32770 and 32800 read as 16-bit values.
    EXPECT_EQ(item->GetRect(), DG::Rect(32760, 100, -32766, -32736));
}

TEST(LayoutableItem, CoordinateBeyond16BitsIsCutToItsLowBits) {
    auto* item = new TestItem;
    LayoutableItem leaf(DG::Point(), item);
    leaf.SetBounds(40000, -40000, 0, 0);
    EXPECT_EQ(item->GetRect(), DG::Rect(-25536, 25536, -25536, 25536));
}

TEST(LayoutableItem, NegativeSizeGivesAnInvertedRectangle) {
    auto* item = new TestItem;
    LayoutableItem leaf(DG::Point(), item);
    leaf.SetBounds(50, 50, -8, -20);
    EXPECT_EQ(item->GetRect(), DG::Rect(50, 50, 42, 30));
}

TEST(LayoutableItem, UnchangedRectangleMakesNoSetRectCall) {
    auto* item = new TestItem;
    LayoutableItem leaf(DG::Point(), item);
    leaf.SetBounds(1, 2, 3, 4);
    leaf.SetBounds(1, 2, 3, 4);
    EXPECT_EQ(item->setRectCalls, 1);
    leaf.SetBounds(1, 2, 3, 5);
    EXPECT_EQ(item->setRectCalls, 2);
}

TEST(LayoutableItem, RectangleEqualToTheInitialOneIsNotSet) {
    auto* item = new TestItem;
    LayoutableItem leaf(DG::Point(), item);
    leaf.SetBounds(0, 0, 0, 0);
    EXPECT_EQ(item->setRectCalls, 0);
}

TEST(LayoutableItem, SecondPassWithTheSameSizeMakesNoSetRectCall) {
    auto* left = new TestItem;
    auto* center = new TestItem;
    auto* bottom = new TestItem;
    auto* inner = new FlowLayout(true, 0, 0, true);
    inner->AddItem(bottom, 0, DG::Point(40, 20));
    DockLayout root(-1, -1, -1, -1);
    root.AddItem(left, DockLeft, DG::Point(30, 10))
        ->AddItem(center, DockCenter, DG::Point())
        ->AddChild(inner, DockBottom);

    root.SetBounds(0, 0, 200, 100);
    ASSERT_EQ(left->setRectCalls, 1);
    ASSERT_EQ(center->setRectCalls, 1);
    ASSERT_EQ(bottom->setRectCalls, 1);

    root.SetBounds(0, 0, 200, 100);
    EXPECT_EQ(left->setRectCalls, 1);
    EXPECT_EQ(center->setRectCalls, 1);
    EXPECT_EQ(bottom->setRectCalls, 1);

    // A new size reaches only the items whose rectangle it changes: the bottom flow's item keeps
    // its 40 by 20 at the same corner when only the width grows.
    root.SetBounds(0, 0, 300, 100);
    EXPECT_EQ(left->setRectCalls, 1);
    EXPECT_EQ(center->setRectCalls, 2);
    EXPECT_EQ(bottom->setRectCalls, 1);
}

TEST(LayoutableItem, VisibilityIsTheItemsOwn) {
    auto* item = new TestItem;
    LayoutableItem leaf(DG::Point(), item);
    EXPECT_TRUE(leaf.IsVisible());
    leaf.SetVisible(false);
    EXPECT_FALSE(item->IsVisible());
    EXPECT_FALSE(leaf.IsVisible());
    leaf.ApplyVisibility(true);
    EXPECT_TRUE(item->IsVisible());
    item->SetVisibility(false);
    EXPECT_FALSE(leaf.IsVisible());
}

TEST(LayoutableItem, PreferredSizeIsTheOneGivenAtCreation) {
    LayoutableItem leaf(DG::Point(-3, 70), new TestItem);
    EXPECT_EQ(leaf.GetPreferredSize(), DG::Point(-3, 70));
    leaf.SetBounds(0, 0, 500, 500);
    EXPECT_EQ(leaf.GetPreferredSize(), DG::Point(-3, 70));
}

TEST(LayoutableItem, CollectChildrenEmptiesTheListAndFindsNone) {
    LayoutableItem leaf(DG::Point(), new TestItem);
    LayoutableItem other(DG::Point(), new TestItem);
    GS::Array<Layoutable*> out;
    out.Push(&other);
    EXPECT_FALSE(leaf.CollectChildren(out));
    EXPECT_TRUE(out.IsEmpty());
}

TEST(LayoutableItem, DestructorDeletesTheItem) {
    int deletions = 0;
    Layoutable* leaf = new LayoutableItem(DG::Point(), new TestItem(&deletions));
    delete leaf;
    EXPECT_EQ(deletions, 1);
}

TEST(LayoutableItem, WithoutAnItemDoesNothing) {
    LayoutableItem leaf(DG::Point(5, 5), nullptr);
    leaf.SetBounds(1, 2, 3, 4);
    leaf.SetVisible(true);
    EXPECT_FALSE(leaf.IsVisible());
}

}  // namespace
