// DialogRowsTest.cpp: how a script's "click ROW" and the terminal find a row's update button from
// the dialog's items alone: by the rows the items say they stand in, or, in a dialog without
// rows, by counting the buttons that are not the cancel button.
#include "presentation/DialogRows.h"

#include "DgTestSupport.h"
#include "LoopTestSupport.h"

namespace {

using dgtest::SampleDialog;
using dgtest::TestDialog;
using looptest::LoopTest;
using DialogRows = LoopTest;

// Three rows of a name and a state, as the add-on lays out a list: rows 1 and 3 with an update
// button, row 2 without; a close button made first and a strip in no row.
class RowDialog : public TestDialog, public DG::ButtonItemObserver {
public:
    RowDialog()
        : close(*this, DG::Rect(210, 215, 290, 245)), firstName(*this, DG::Rect(10, 10, 100, 40)),
          firstButton(*this, DG::Rect(410, 10, 490, 40)),
          secondName(*this, DG::Rect(10, 60, 100, 90)),
          thirdName(*this, DG::Rect(10, 110, 100, 140)),
          thirdButton(*this, DG::Rect(410, 110, 490, 140)),
          strip(*this, DG::Rect(0, 210, 500, 250)) {
        close.SetAsCancel();
        firstName.SetRow(1);
        firstButton.SetRow(1);
        secondName.SetRow(2);
        thirdName.SetRow(3);
        thirdButton.SetRow(3);
        close.Attach(*this);
        firstButton.Attach(*this);
        thirdButton.Attach(*this);
        ShowItems();
    }

    void ButtonClicked(const DG::ButtonClickEvent& event) override {
        clicked.push_back(event.GetSource());
        if (event.GetSource() == &close) {
            Abort();
        }
    }

    DG::Button close;
    DG::LeftText firstName;
    DG::Button firstButton;
    DG::LeftText secondName;
    DG::LeftText thirdName;
    DG::Button thirdButton;
    DG::UserItem strip;
    std::vector<DG::ButtonItem*> clicked;
};

TEST_F(DialogRows, WithoutRowsTheyCountTheButtonsThatAreNotTheCancelButton) {
    SampleDialog dialog;
    EXPECT_EQ(presentation::RowButton(dialog, 1), &dialog.first);
    EXPECT_EQ(presentation::RowButton(dialog, 2), &dialog.second);
    EXPECT_EQ(presentation::RowButton(dialog, 3), nullptr);
    EXPECT_EQ(presentation::RowButton(dialog, 0), nullptr);
    EXPECT_EQ(presentation::RowButton(dialog, -1), nullptr);
}

TEST_F(DialogRows, ARowWithoutAButtonHasNoneAndTheRowsAfterItKeepTheirNumbers) {
    RowDialog dialog;
    EXPECT_EQ(presentation::RowButton(dialog, 1), &dialog.firstButton);
    EXPECT_EQ(presentation::RowButton(dialog, 2), nullptr);
    EXPECT_EQ(presentation::RowButton(dialog, 3), &dialog.thirdButton);
    EXPECT_EQ(presentation::RowButton(dialog, 4), nullptr);
    EXPECT_EQ(presentation::RowButton(dialog, 0), nullptr);
}

TEST_F(DialogRows, AScriptClicksARowByItsNumberAndARowWithoutAButtonIsAnError) {
    UseScript({"click 3", "click 2", "close"});
    RowDialog dialog;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(dialog.Invoke());
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.thirdButton, &dialog.close}));
    EXPECT_EQ(presentation::ScriptErrorCount(), 1);
    EXPECT_NE(errors.find("script line 2"), std::string::npos) << errors;
}

}  // namespace
