// FlowLayoutTest.cpp: how a flow stacks its visible children and what size it asks for.
#include "LayoutTestSupport.h"
#include "ui/Layout.h"

#include <gtest/gtest.h>
#include <vector>

using uitest::Bounds;
using uitest::Probe;

namespace {

using Placed = std::vector<Bounds>;

TEST(FlowLayout, WithNoChildrenDoesNothingAndPrefersTheDefaultPoint) {
    FlowLayout flow(true, 50, 10, false);
    flow.SetBounds(0, 0, 100, 100);
    EXPECT_EQ(flow.GetPreferredSize(), DG::Point());
    FlowLayout column(false, 0, 10, true);
    column.SetBounds(5, 5, 0, 0);
    EXPECT_EQ(column.GetPreferredSize(), DG::Point());
}

TEST(FlowLayout, AllChildrenInvisiblePlacesNothingAndNeverDividesByTheCount) {
    // Unsized children would take a share of the container, a division by the count of 0.
    auto* a = new Probe(DG::Point(), false);
    auto* b = new Probe(DG::Point(), false);
    FlowLayout flow(true, 0, 4, true);
    flow.AddChild(a, 0)->AddChild(b, 0);
    flow.SetBounds(0, 0, 100, 50);
    FlowLayout column(false, 0, 4, true);
    auto* c = new Probe(DG::Point(), false);
    column.AddChild(c, 0);
    column.SetBounds(0, 0, 100, 50);
    EXPECT_TRUE(a->placed.empty());
    EXPECT_TRUE(b->placed.empty());
    EXPECT_TRUE(c->placed.empty());
    EXPECT_EQ(flow.GetPreferredSize(), DG::Point());
}

TEST(FlowLayout, HorizontalUnstretchedChildIsAlignedByPercentOfTheFreeHeight) {
    auto* child = new Probe(DG::Point(80, 30));
    FlowLayout flow(true, 50, 0, false);
    flow.AddChild(child, 0);
    flow.SetBounds(10, 20, 300, 100);
    EXPECT_EQ(child->placed, (Placed{{10, 55, 80, 30}}));
}

TEST(FlowLayout, VerticalUnsizedChildrenShareTheWholeHeightWhateverTheSum) {
    auto* first = new Probe(DG::Point(10, 0));
    auto* second = new Probe(DG::Point(10, 0));
    auto* third = new Probe(DG::Point(10, 50));
    FlowLayout column(false, 0, 0, true);
    column.AddChild(first, 0)->AddChild(second, 0)->AddChild(third, 0);
    column.SetBounds(0, 0, 40, 300);
    EXPECT_EQ(first->placed, (Placed{{0, 0, 40, 100}}));
    EXPECT_EQ(second->placed, (Placed{{0, 100, 40, 100}}));
    EXPECT_EQ(third->placed, (Placed{{0, 200, 40, 50}}));
}

TEST(FlowLayout, CrossPositionInNegativeFreeSpaceTruncatesTowardZero) {
    // Free height 10 - 17 = -7; -7 * 50 / 100 is -3, where flooring would give -4.
    auto* child = new Probe(DG::Point(5, 17));
    FlowLayout flow(true, 50, 0, false);
    flow.AddChild(child, 0);
    flow.SetBounds(0, 100, 50, 10);
    EXPECT_EQ(child->placed, (Placed{{0, 97, 5, 17}}));

    auto* wide = new Probe(DG::Point(17, 5));
    FlowLayout column(false, 50, 0, false);
    column.AddChild(wide, 0);
    column.SetBounds(100, 0, 10, 50);
    EXPECT_EQ(wide->placed, (Placed{{97, 0, 17, 5}}));
}

TEST(FlowLayout, HorizontalPlacesLeftToRightWithSpacingAfterEachChild) {
    auto* sized = new Probe(DG::Point(20, 7));
    auto* unsized = new Probe(DG::Point(0, 0));
    auto* hidden = new Probe(DG::Point(99, 99), false);
    auto* last = new Probe(DG::Point(30, -4));
    FlowLayout flow(true, 0, 5, true);
    flow.AddChild(sized, 0)->AddChild(unsized, 0)->AddChild(hidden, 0)->AddChild(last, 0);
    flow.SetBounds(10, 20, 100, 40);
    // Three visible children: the unsized one takes 100 / 3 = 33.
    EXPECT_EQ(sized->placed, (Placed{{10, 20, 20, 40}}));
    EXPECT_EQ(unsized->placed, (Placed{{35, 20, 33, 40}}));
    EXPECT_TRUE(hidden->placed.empty());
    EXPECT_EQ(last->placed, (Placed{{73, 20, 30, 40}}));
}

TEST(FlowLayout, VerticalPlacesTopToBottomAlignedOnTheCrossAxis) {
    auto* narrow = new Probe(DG::Point(20, 10));
    auto* unsizedWidth = new Probe(DG::Point(0, 15));
    FlowLayout column(false, 100, 2, false);
    column.AddChild(narrow, 0)->AddChild(unsizedWidth, 0);
    column.SetBounds(0, 0, 60, 200);
    // At 100 % the narrow child stands at the right end; a child without a width fills it.
    EXPECT_EQ(narrow->placed, (Placed{{40, 0, 20, 10}}));
    EXPECT_EQ(unsizedWidth->placed, (Placed{{0, 12, 60, 15}}));
}

TEST(FlowLayout, StretchFillsTheCrossAxisWhateverThePreferredSize) {
    auto* child = new Probe(DG::Point(80, 30));
    FlowLayout flow(true, 50, 0, true);
    flow.AddChild(child, 0);
    flow.SetBounds(0, 0, 300, 100);
    EXPECT_EQ(child->placed, (Placed{{0, 0, 80, 100}}));
}

TEST(FlowLayout, MixOfSizedAndUnsizedChildrenRunsPastTheContainer) {
    auto* sized = new Probe(DG::Point(80, 0));
    auto* unsized = new Probe(DG::Point());
    FlowLayout flow(true, 0, 10, true);
    flow.AddChild(sized, 0)->AddChild(unsized, 0);
    flow.SetBounds(0, 0, 100, 20);
    EXPECT_EQ(unsized->placed, (Placed{{90, 0, 50, 20}}));
}

TEST(FlowLayout, HorizontalPreferredSizeSumsWidthsAndSpacingAndTakesTheTallest) {
    FlowLayout flow(true, 0, 5, true);
    flow.AddChild(new Probe(DG::Point(20, 7)), 0)
        ->AddChild(new Probe(DG::Point(0, 12)), 0)
        ->AddChild(new Probe(DG::Point(500, 500), false), 0)
        ->AddChild(new Probe(DG::Point(30, -40)), 0);
    // Spacing once per visible child, the last one included.
    EXPECT_EQ(flow.GetPreferredSize(), DG::Point(65, 12));
}

TEST(FlowLayout, VerticalPreferredSizeTakesTheWidestAndSumsHeightsAndSpacing) {
    FlowLayout column(false, 0, 2, false);
    column.AddChild(new Probe(DG::Point(10, 20)), 0)->AddChild(new Probe(DG::Point(-5, 30)), 0);
    EXPECT_EQ(column.GetPreferredSize(), DG::Point(10, 54));
}

TEST(FlowLayout, NegativeCrossSizesNeverWinThePreferredSize) {
    FlowLayout flow(true, 0, 0, false);
    flow.AddChild(new Probe(DG::Point(10, -20)), 0)->AddChild(new Probe(DG::Point(10, -1)), 0);
    EXPECT_EQ(flow.GetPreferredSize(), DG::Point(20, 0));
}

TEST(FlowLayout, PreferredSizeIsCutTo16Bits) {
    FlowLayout flow(true, 0, 0, false);
    flow.AddChild(new Probe(DG::Point(30000, 1)), 0)->AddChild(new Probe(DG::Point(30000, 1)), 0);
    EXPECT_EQ(flow.GetPreferredSize(), DG::Point(-5536, 1));
}

TEST(FlowLayout, NestedLayoutsTakeTheirPlaceByTheirPreferredSize) {
    auto* inner = new FlowLayout(true, 0, 0, true);
    auto* a = new Probe(DG::Point(10, 25));
    auto* b = new Probe(DG::Point(15, 5));
    inner->AddChild(a, 0)->AddChild(b, 0);
    auto* after = new Probe(DG::Point(0, 10));
    FlowLayout column(false, 0, 0, true);
    column.AddChild(inner, 0)->AddChild(after, 0);
    column.SetBounds(0, 0, 100, 100);
    EXPECT_EQ(a->placed, (Placed{{0, 0, 10, 25}}));
    EXPECT_EQ(b->placed, (Placed{{10, 0, 15, 25}}));
    EXPECT_EQ(after->placed, (Placed{{0, 25, 100, 10}}));
}

TEST(FlowLayout, ArithmeticWrapsIn32Bits) {
    auto* first = new Probe(DG::Point(1, 1));
    auto* second = new Probe(DG::Point(1, 1));
    FlowLayout flow(true, 0, 0x7FFFFFFF, true);
    flow.AddChild(first, 0)->AddChild(second, 0);
    flow.SetBounds(0, 0, 10, 10);
    // 0 + 1 + 0x7FFFFFFF comes round to the most negative value.
    EXPECT_EQ(second->placed, (Placed{{INT32_MIN, 0, 1, 10}}));
}

}  // namespace
