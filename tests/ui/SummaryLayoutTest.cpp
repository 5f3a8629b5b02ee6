// SummaryLayoutTest.cpp: the tree that the summary dialog builds, laid out at the dialog's
// initial client size of 500 by 250: margins, a button bar with the close button centred in it,
// and a list of rows of name, state, update button and progress.
#include "LayoutTestSupport.h"
#include "ui/Layout.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using uitest::TestItem;

namespace {

struct RowSpec {
    std::string name;
    bool withButton;
};

struct RowItems {
    TestItem* name;
    TestItem* state;
    TestItem* button;  // null in a row without one
    TestItem* progress;
};

struct SummaryTree {
    std::unique_ptr<Layout> root;
    TestItem* closeButton = nullptr;
    std::vector<TestItem*> strips;
    std::vector<RowItems> rows;
};

SummaryTree BuildSummaryTree(const std::vector<RowSpec>& specs) {
    SummaryTree tree;
    tree.root = std::make_unique<DockLayout>(10, 10, 10, 40);
    Layout* root = tree.root.get();

    // Margins occupy the sides and the top.
    root->AddItem(new TestItem, DockLeft, DG::Point())
        ->AddItem(new TestItem, DockRight, DG::Point())
        ->AddItem(new TestItem, DockTop, DG::Point());

    // The button bar: the close button centred in the bottom margin, grey strips around it.
    auto* bar = new FlowLayout(true, 0, 0, true);
    auto* barAlign = new AlignLayout(-1, -1, 50, 50);
    for (const int32_t position : {DockRight, DockTop, DockBottom, DockLeft}) {
        auto* strip = new TestItem;
        tree.strips.push_back(strip);
        barAlign->AddItem(strip, position, DG::Point());
    }
    tree.closeButton = new TestItem;
    bar->AddItem(tree.closeButton, 0, DG::Point(80, 30));
    barAlign->AddChild(bar, DockCenter);
    root->AddChild(barAlign, DockBottom);

    // The row list, at the top of the centre, as high as its rows.
    auto* rowFlow = new FlowLayout(false, 0, 0, true);
    auto* rowDock = new DockLayout(0, -1, 0, 0);
    rowDock->AddChild(rowFlow, DockTop);
    root->AddChild(rowDock, DockCenter);

    for (const RowSpec& spec : specs) {
        RowItems items{};
        auto* row = new DockLayout(-1, 0, -1, -1);
        items.progress = new TestItem;
        auto* progressFlow = new FlowLayout(false, 0, 0, true);
        progressFlow->AddItem(items.progress, 0, DG::Point(0, 20));
        row->AddChild(progressFlow, DockBottom);
        items.name = new TestItem;
        row->AddItem(items.name, DockLeft,
                     DG::Point(static_cast<int16_t>(8 * spec.name.size()), 30));
        if (spec.withButton) {
            items.button = new TestItem;
            row->AddItem(items.button, DockRight, DG::Point(80, 30));
        }
        items.state = new TestItem;
        row->AddItem(items.state, DockCenter, DG::Point());
        rowFlow->AddChild(row, 0);
        tree.rows.push_back(items);
    }

    root->SetBounds(0, 0, 500, 250);
    return tree;
}

TEST(SummaryLayout, CloseButtonIsCentredInTheBottomBar) {
    const SummaryTree tree = BuildSummaryTree({{"Door", true}});
    EXPECT_EQ(tree.closeButton->GetRect(), DG::Rect(210, 215, 290, 245));
    EXPECT_EQ(tree.closeButton->GetRect().GetWidth(), 80);
    EXPECT_EQ(tree.closeButton->GetRect().GetHeight(), 30);
    // Right, top, bottom and left strips around it, over the bar's whole width.
    EXPECT_EQ(tree.strips[0]->GetRect(), DG::Rect(290, 215, 500, 245));
    EXPECT_EQ(tree.strips[1]->GetRect(), DG::Rect(0, 210, 500, 215));
    EXPECT_EQ(tree.strips[2]->GetRect(), DG::Rect(0, 245, 500, 250));
    EXPECT_EQ(tree.strips[3]->GetRect(), DG::Rect(0, 215, 210, 245));
}

TEST(SummaryLayout, RowsHaveNameStateAndButtonOnALineAndProgressBelow) {
    const SummaryTree tree = BuildSummaryTree({{"Door", true}, {"Window", false}});
    const RowItems& first = tree.rows[0];
    // Name column 8 x 4 wide, button column 80, the state takes the 400 - 32 left.
    EXPECT_EQ(first.name->GetRect(), DG::Rect(10, 10, 42, 40));
    EXPECT_EQ(first.state->GetRect(), DG::Rect(42, 10, 410, 40));
    EXPECT_EQ(first.state->GetRect().GetWidth(), 400 - 8 * 4);
    EXPECT_EQ(first.button->GetRect(), DG::Rect(410, 10, 490, 40));
    EXPECT_EQ(first.progress->GetRect(), DG::Rect(10, 40, 490, 60));

    // The second row starts 50 lower; without a button the state runs to the right margin.
    const RowItems& second = tree.rows[1];
    EXPECT_EQ(second.name->GetRect(), DG::Rect(10, 60, 58, 90));
    EXPECT_EQ(second.state->GetRect(), DG::Rect(58, 60, 490, 90));
    EXPECT_EQ(second.progress->GetRect(), DG::Rect(10, 90, 490, 110));
}

TEST(SummaryLayout, NameOf51CharactersWithAButtonLeavesTheStateANegativeWidth) {
    const SummaryTree tree = BuildSummaryTree({{std::string(51, 'n'), true}});
    const RowItems& row = tree.rows[0];
    EXPECT_EQ(row.name->GetRect(), DG::Rect(10, 10, 418, 40));
    EXPECT_EQ(row.state->GetRect(), DG::Rect(418, 10, 410, 40));
    EXPECT_EQ(row.state->GetRect().GetWidth(), -8);
    EXPECT_EQ(row.button->GetRect(), DG::Rect(410, 10, 490, 40));
    EXPECT_EQ(row.progress->GetRect(), DG::Rect(10, 40, 490, 60));
}

TEST(SummaryLayout, FourRowsFillTheRoomBetweenTheMargins) {
    const SummaryTree tree =
        BuildSummaryTree({{"A", true}, {"B", false}, {"C", true}, {"D", false}});
    EXPECT_EQ(tree.rows[3].progress->GetRect(), DG::Rect(10, 190, 490, 210));
    EXPECT_EQ(tree.closeButton->GetRect(), DG::Rect(210, 215, 290, 245));
}

TEST(SummaryLayout, RepeatedPassAtTheSameSizeTouchesNoItem) {
    const SummaryTree tree = BuildSummaryTree({{"Door", true}});
    const int before = tree.closeButton->setRectCalls + tree.rows[0].state->setRectCalls;
    tree.root->SetBounds(0, 0, 500, 250);
    EXPECT_EQ(tree.closeButton->setRectCalls + tree.rows[0].state->setRectCalls, before);
}

}  // namespace
