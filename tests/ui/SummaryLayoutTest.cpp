// SummaryLayoutTest.cpp: the layout tree of a real summary dialog, read from its items at the
// initial client size of 500 by 250: margins, a button bar with the close button centred in it,
// and a list of rows of name, state, update button and progress.
#include "TestFiles.h"
#include "common/CUtils.h"
#include "ui/SummaryDialog.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

struct RowSpec {
    std::string name;
    bool withButton;
};

// The dialog's items by role, in the order the dialog made them.
struct SummaryItems {
    std::vector<DG::Rect> margins;  // left, right, top
    std::vector<DG::Rect> strips;   // right, top, bottom, left of the close button
    DG::Rect closeButton;
    struct Row {
        DG::Rect progress, name, state, button;
    };
    std::vector<Row> rows;
};

class SummaryLayout : public ::testing::Test {
protected:
    void SetUp() override {
        // The icon is looked for beside the module: here, the test's own folder.
        CUtils::SetModulePathOverride(CUtils::StringUTF8ToWstring(folder.At("OrvUpdate.so")));
        testfiles::WriteFileBytes(folder.At("Graphics/brennerstein.png"),
                                  testfiles::ReadFileBytes(ORV_ICON_FILE));
    }
    void TearDown() override { CUtils::SetModulePathOverride(WString()); }

    SummaryItems Build(const std::vector<RowSpec>& specs) {
        int key = 0;
        for (const RowSpec& spec : specs) {
            VersionCheckState record;
            record.name = GS::UniString(spec.name.c_str(), CC_UTF8);
            record.version = GS::UniString("1.0");
            record.downloadUrl = GS::UniString(spec.withButton ? "http://x/files/d.zip" : "");
            record.state = StateUpdateAvailable;
            record.checkTime = 0;
            monitor.GetTable().Add(++key, record);
        }
        SummaryDialog dialog(monitor);
        SummaryItems found;
        std::vector<DG::Rect> texts;  // per row: progress, name, state
        std::vector<DG::Rect> updateButtons;
        for (const DG::Item* item : dialog.GetItems()) {
            if (const auto* user = dynamic_cast<const DG::UserItem*>(item)) {
                (user->HasBackground() ? found.strips : found.margins).push_back(item->GetRect());
            } else if (const auto* button = dynamic_cast<const DG::Button*>(item)) {
                if (button->IsCancel()) {
                    found.closeButton = item->GetRect();
                } else {
                    updateButtons.push_back(item->GetRect());
                }
            } else if (dynamic_cast<const DG::LeftText*>(item) != nullptr) {
                texts.push_back(item->GetRect());
            }
        }
        std::size_t button = 0;
        for (std::size_t row = 0; row < specs.size(); ++row) {
            SummaryItems::Row items{texts.at(3 * row), texts.at(3 * row + 1), texts.at(3 * row + 2),
                                    DG::Rect()};
            if (specs[row].withButton) {
                items.button = updateButtons.at(button++);
            }
            found.rows.push_back(items);
        }
        return found;
    }

    testfiles::TempFolder folder;
    ObjectsMonitor monitor;
};

TEST_F(SummaryLayout, MarginsTakeTheSidesAndTheTop) {
    const SummaryItems items = Build({{"Door", true}});
    // Left and right between the top margin and the button bar; the top over the whole width.
    ASSERT_EQ(items.margins.size(), 3u);
    EXPECT_EQ(items.margins[0], DG::Rect(0, 10, 10, 210));
    EXPECT_EQ(items.margins[1], DG::Rect(490, 10, 500, 210));
    EXPECT_EQ(items.margins[2], DG::Rect(0, 0, 500, 10));
}

TEST_F(SummaryLayout, CloseButtonIsCentredInTheBottomBar) {
    const SummaryItems items = Build({{"Door", true}});
    EXPECT_EQ(items.closeButton, DG::Rect(210, 215, 290, 245));
    // Right, top, bottom and left strips around it, over the bar's whole width.
    ASSERT_EQ(items.strips.size(), 4u);
    EXPECT_EQ(items.strips[0], DG::Rect(290, 215, 500, 245));
    EXPECT_EQ(items.strips[1], DG::Rect(0, 210, 500, 215));
    EXPECT_EQ(items.strips[2], DG::Rect(0, 245, 500, 250));
    EXPECT_EQ(items.strips[3], DG::Rect(0, 215, 210, 245));
}

TEST_F(SummaryLayout, RowsHaveNameStateAndButtonOnALineAndProgressBelow) {
    const SummaryItems items = Build({{"Door", true}, {"Window", false}});
    const SummaryItems::Row& first = items.rows[0];
    // Name column 8 x 4 wide, button column 80, the state takes the 400 - 32 left.
    EXPECT_EQ(first.name, DG::Rect(10, 10, 42, 40));
    EXPECT_EQ(first.state, DG::Rect(42, 10, 410, 40));
    EXPECT_EQ(first.button, DG::Rect(410, 10, 490, 40));
    EXPECT_EQ(first.progress, DG::Rect(10, 40, 490, 60));

    // The second row starts 50 lower; without a button the state runs to the right margin.
    const SummaryItems::Row& second = items.rows[1];
    EXPECT_EQ(second.name, DG::Rect(10, 60, 58, 90));
    EXPECT_EQ(second.state, DG::Rect(58, 60, 490, 90));
    EXPECT_EQ(second.progress, DG::Rect(10, 90, 490, 110));
}

TEST_F(SummaryLayout, NameOf51CharactersWithAButtonLeavesTheStateANegativeWidth) {
    const SummaryItems items = Build({{std::string(51, 'n'), true}});
    const SummaryItems::Row& row = items.rows[0];
    EXPECT_EQ(row.name, DG::Rect(10, 10, 418, 40));
    EXPECT_EQ(row.state, DG::Rect(418, 10, 410, 40));
    EXPECT_EQ(row.state.GetWidth(), -8);
    EXPECT_EQ(row.button, DG::Rect(410, 10, 490, 40));
    EXPECT_EQ(row.progress, DG::Rect(10, 40, 490, 60));
}

TEST_F(SummaryLayout, FourRowsFillTheRoomBetweenTheMargins) {
    const SummaryItems items = Build({{"A", true}, {"B", false}, {"C", true}, {"D", false}});
    EXPECT_EQ(items.rows[3].progress, DG::Rect(10, 190, 490, 210));
    EXPECT_EQ(items.closeButton, DG::Rect(210, 215, 290, 245));
}

}  // namespace
