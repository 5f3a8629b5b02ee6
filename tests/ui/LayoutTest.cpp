// LayoutTest.cpp: what every layout shares: adding items and children in chains, the two levels
// of visibility, the child list, and the ownership of the whole tree.
#include "ui/Layout.h"

#include "FailingAllocation.h"
#include "LayoutTestSupport.h"

#include <gtest/gtest.h>
#include <vector>

using uitest::Bounds;
using uitest::Probe;
using uitest::TestItem;

namespace {

using Placed = std::vector<Bounds>;

TEST(Layout, AddItemWithANullItemChangesNothingAndTheChainGoesOn) {
    auto* item = new TestItem;
    FlowLayout flow(true, 0, 0, true);
    Layout* result = flow.AddItem(nullptr, 0, DG::Point(10, 10))->AddItem(item, 0, DG::Point(5, 5));
    EXPECT_EQ(result, &flow);
    GS::Array<Layoutable*> children;
    ASSERT_TRUE(flow.CollectChildren(children));
    EXPECT_EQ(children.GetSize(), 1u);
    EXPECT_EQ(flow.GetPreferredSize(), DG::Point(5, 5));

    DockLayout dock(-1, -1, -1, -1);
    auto* center = new Probe();
    dock.AddChild(center, DockCenter)->AddItem(nullptr, DockCenter, DG::Point());
    dock.SetBounds(0, 0, 10, 10);
    // The null item did not take the centre.
    EXPECT_EQ(center->placed, (Placed{{0, 0, 10, 10}}));
}

TEST(Layout, EveryAddReturnsTheReceiverSoThatCallsChain) {
    DockLayout dock(-1, -1, -1, -1);
    EXPECT_EQ(dock.AddItem(new TestItem, DockLeft, DG::Point()), &dock);
    EXPECT_EQ(dock.AddChild(new Probe(), DockTop), &dock);
    FlowLayout flow(false, 0, 0, true);
    EXPECT_EQ(flow.AddItem(new TestItem, 3, DG::Point()), &flow);
    EXPECT_EQ(flow.AddChild(new FlowLayout(true, 0, 0, true), 3), &flow);
    AlignLayout align(-1, -1, 50, 50);
    EXPECT_EQ(align.AddItem(new TestItem, DockCenter, DG::Point()), &align);
}

TEST(Layout, AddItemWhoseWrapperCannotBeAllocatedAddsANullChildAndDropsTheItem) {
    int deletions = 0;
    auto* center = new Probe(DG::Point(), true, &deletions);
    {
        DockLayout dock(-1, -1, -1, -1);
        dock.AddChild(center, DockCenter);
        uitest::failNextNothrowAllocation = true;
        EXPECT_EQ(dock.AddItem(new TestItem(&deletions), DockCenter, DG::Point()), &dock);
        EXPECT_FALSE(uitest::failNextNothrowAllocation);
        EXPECT_EQ(deletions, 1);
        // The null result took the centre, so the earlier child stays owned but unplaced.
        dock.SetBounds(0, 0, 10, 10);
        EXPECT_TRUE(center->placed.empty());
        EXPECT_TRUE(dock.IsVisible());
        dock.SetVisible(false);
        EXPECT_FALSE(center->shown);
        GS::Array<Layoutable*> children;
        EXPECT_TRUE(dock.CollectChildren(children));
        EXPECT_EQ(children.GetSize(), 1u);
    }
    EXPECT_EQ(deletions, 2);
}

TEST(Layout, IsVisibleWhenAnyChildIsWhateverItsOwnFlag) {
    auto* first = new Probe(DG::Point(), false);
    auto* second = new Probe(DG::Point(), false);
    FlowLayout flow(true, 0, 0, true);
    EXPECT_FALSE(flow.IsVisible());
    flow.AddChild(first, 0)->AddChild(second, 0);
    EXPECT_FALSE(flow.IsVisible());
    second->shown = true;
    EXPECT_TRUE(flow.IsVisible());

    // The flag gates only what is passed down.
    flow.SetVisible(false);
    EXPECT_FALSE(flow.IsVisible());
    second->shown = true;
    EXPECT_TRUE(flow.IsVisible());
}

TEST(Layout, SetVisiblePassesTheFlagToEveryChild) {
    auto* item = new TestItem;
    auto* probe = new Probe();
    DockLayout dock(0, 0, 0, 0);
    dock.AddItem(item, DockLeft, DG::Point())->AddChild(probe, DockRight);
    dock.SetVisible(false);
    EXPECT_FALSE(item->IsVisible());
    EXPECT_EQ(probe->applied, (std::vector<bool>{false}));
    dock.SetVisible(true);
    EXPECT_TRUE(item->IsVisible());
    EXPECT_EQ(probe->applied, (std::vector<bool>{false, true}));
}

TEST(Layout, NestedLayoutHiddenByItsOwnFlagStaysHiddenWhenItsParentIsShown) {
    auto* outerItem = new TestItem;
    auto* innerItem = new TestItem;
    auto* inner = new FlowLayout(false, 0, 0, true);
    inner->AddItem(innerItem, 0, DG::Point());
    DockLayout outer(-1, -1, -1, -1);
    outer.AddItem(outerItem, DockTop, DG::Point())->AddChild(inner, DockCenter);

    inner->SetVisible(false);
    EXPECT_FALSE(innerItem->IsVisible());
    outer.SetVisible(true);
    EXPECT_TRUE(outerItem->IsVisible());
    EXPECT_FALSE(innerItem->IsVisible());

    // The parent's call left the nested flag as it was; showing the nested layout shows it.
    inner->SetVisible(true);
    EXPECT_TRUE(innerItem->IsVisible());
    // A hidden parent hides the subtree while the nested flag stays true.
    outer.SetVisible(false);
    EXPECT_FALSE(innerItem->IsVisible());
    outer.ApplyVisibility(true);
    EXPECT_FALSE(innerItem->IsVisible());
}

TEST(Layout, CollectChildrenListsTheDirectChildrenInOrderOfAddition) {
    auto* probe = new Probe();
    auto* nested = new DockLayout(0, 0, 0, 0);
    nested->AddChild(new Probe(), DockCenter);
    DockLayout dock(0, 0, 0, 0);
    dock.AddChild(probe, DockCenter)
        ->AddItem(new TestItem, DockLeft, DG::Point())
        ->AddChild(nested, 9);

    Probe stale;
    GS::Array<Layoutable*> out;
    out.Push(&stale);
    ASSERT_TRUE(dock.CollectChildren(out));
    ASSERT_EQ(out.GetSize(), 3u);
    EXPECT_EQ(out[0], probe);
    EXPECT_NE(dynamic_cast<LayoutableItem*>(out[1]), nullptr);
    EXPECT_EQ(out[2], nested);

    FlowLayout empty(true, 0, 0, true);
    EXPECT_FALSE(empty.CollectChildren(out));
    EXPECT_TRUE(out.IsEmpty());
}

TEST(Layout, ClearSkipsNullEntries) {
    int deletions = 0;
    FlowLayout flow(true, 0, 0, true);
    flow.AddChild(nullptr, 0)
        ->AddItem(new TestItem(&deletions), 0, DG::Point())
        ->AddChild(nullptr, 0)
        ->AddChild(new Probe(DG::Point(), true, &deletions), 0);
    // A pass and a visibility change step over the null entries as well.
    flow.SetBounds(0, 0, 100, 100);
    flow.SetVisible(false);
    EXPECT_FALSE(flow.IsVisible());
    flow.Clear();
    EXPECT_EQ(deletions, 2);
    GS::Array<Layoutable*> out;
    EXPECT_FALSE(flow.CollectChildren(out));
}

TEST(Layout, DeletingTheRootDeletesEveryLayoutAndItem) {
    int deletions = 0;
    Layout* root = new DockLayout(10, 10, 10, 40);
    auto* bar = new FlowLayout(true, 0, 0, true);
    bar->AddItem(new TestItem(&deletions), 0, DG::Point(80, 30));
    auto* align = new AlignLayout(-1, -1, 50, 50);
    align->AddItem(new TestItem(&deletions), DockTop, DG::Point())
        ->AddChild(new Probe(DG::Point(), true, &deletions), DockLeft)
        ->AddChild(bar, DockCenter);
    auto* rows = new FlowLayout(false, 0, 0, true);
    for (int row = 0; row < 3; ++row) {
        auto* dock = new DockLayout(-1, 0, -1, -1);
        dock->AddItem(new TestItem(&deletions), DockLeft, DG::Point(8, 30))
            ->AddItem(new TestItem(&deletions), DockCenter, DG::Point());
        rows->AddChild(dock, 0);
    }
    root->AddItem(new TestItem(&deletions), DockLeft, DG::Point())
        ->AddChild(align, DockBottom)
        ->AddChild(rows, DockCenter);
    root->SetBounds(0, 0, 500, 250);
    delete root;
    EXPECT_EQ(deletions, 1 + 2 + 3 * 2 + 1);
}

TEST(Layout, ClearThenReuse) {
    int deletions = 0;
    FlowLayout flow(false, 0, 0, true);
    flow.AddItem(new TestItem(&deletions), 0, DG::Point(0, 10));
    flow.Clear();
    EXPECT_EQ(deletions, 1);
    auto* probe = new Probe(DG::Point(0, 10));
    flow.AddChild(probe, 0);
    flow.SetBounds(0, 0, 20, 20);
    EXPECT_EQ(probe->placed, (Placed{{0, 0, 20, 10}}));
}

}  // namespace
