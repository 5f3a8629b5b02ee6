// PanelTest.cpp: panels and dialogs: client size, resizing, redrawing, title and icon, and the
// notifications of their observers.
#include "DgTestSupport.h"

#include <gtest/gtest.h>

namespace {

using dgtest::PanelRecorder;
using dgtest::RecordingView;
using dgtest::TestDialog;
using dgtest::TestPanel;

TEST(DgPanel, ObserversHearOpenedResizedAndClosedWithThePanelAsSource) {
    TestPanel panel;
    PanelRecorder first;
    PanelRecorder second;
    panel.Attach(first);
    panel.Attach(second);
    panel.Attach(first);  // once is enough
    panel.NotifyOpened();
    panel.NotifyResized(0, 50);
    panel.Detach(second);
    panel.NotifyClosed();
    EXPECT_EQ(first.heard, (std::vector<std::string>{"opened", "resized 0 50", "closed"}));
    EXPECT_EQ(first.sources, (std::vector<DG::Panel*>{&panel, &panel, &panel}));
    EXPECT_EQ(second.heard, (std::vector<std::string>{"opened", "resized 0 50"}));
}

TEST(DgPanel, RedrawItemsTellsTheViewIfThereIsOne) {
    TestPanel panel;
    panel.RedrawItems();  // no view: nothing to tell
    RecordingView view;
    panel.SetView(&view);
    panel.RedrawItems();
    EXPECT_EQ(view.dialogChanges, 1);
    EXPECT_TRUE(view.changes.empty());
}

TEST(DgPanel, TheClientSizeIsKeptAndToldToTheView) {
    TestPanel panel(300, 200);
    RecordingView view;
    panel.SetView(&view);
    panel.SetClientSize(320, 240);
    EXPECT_EQ(panel.GetWidth(), 320);
    EXPECT_EQ(panel.GetHeight(), 240);
    EXPECT_EQ(view.dialogChanges, 1);
}

TEST(DgDialog, AModalDialogTakesItsClientSizeFromItsRectangle) {
    TestDialog dialog(DG::Rect(10, 20, 510, 270));
    EXPECT_EQ(dialog.GetWidth(), 500);
    EXPECT_EQ(dialog.GetHeight(), 250);
    EXPECT_FALSE(dialog.IsOpen());
    EXPECT_TRUE(dialog.GetIcon().IsEmpty());
}

TEST(DgDialog, ResizeGrowsTheClientAreaAndTellsTheObserversAttachedThen) {
    TestDialog dialog;
    RecordingView view;
    dialog.SetView(&view);
    PanelRecorder early;
    dialog.Attach(early);
    dialog.Resize(0, 50, 0, false);
    PanelRecorder late;
    dialog.Attach(late);
    EXPECT_EQ(dialog.GetWidth(), 500);
    EXPECT_EQ(dialog.GetHeight(), 300);
    EXPECT_EQ(early.heard, (std::vector<std::string>{"resized 0 50"}));
    EXPECT_EQ(early.sources, (std::vector<DG::Panel*>{&dialog}));
    EXPECT_TRUE(late.heard.empty());
    EXPECT_EQ(view.dialogChanges, 1);
    dialog.Resize(-20, -10);
    EXPECT_EQ(dialog.GetWidth(), 480);
    EXPECT_EQ(dialog.GetHeight(), 290);
    EXPECT_EQ(late.heard, (std::vector<std::string>{"resized -20 -10"}));
}

TEST(DgDialog, TitleAndIconAreKeptAndToldToTheView) {
    TestDialog dialog;
    RecordingView view;
    dialog.SetView(&view);
    dialog.SetTitle("Seznam aktualizovatelných objektů");
    dialog.SetIcon(DG::Icon(nullptr));
    EXPECT_EQ(dialog.GetTitle(), "Seznam aktualizovatelných objektů");
    EXPECT_TRUE(dialog.GetIcon().IsEmpty());
    EXPECT_EQ(view.dialogChanges, 2);
}

}  // namespace
