// SummaryDialogGuiTest.cpp: the summary dialog in real windows on a virtual X display: every
// widget at the rectangle the layout gave its item, a screenshot kept as an artifact, and the
// close button ending the modal loop.
#include "GuiTestSupport.h"
#include "common/CUtils.h"
#include "ui/SummaryDialog.h"

#include <FL/Fl_Button.H>
#include <filesystem>
#include <gtest/gtest.h>
#include <tuple>

namespace {

VersionCheckState Record(const char* name, int32_t state, const char* url) {
    VersionCheckState record;
    record.url = GS::UniString("http://127.0.0.1:1/check?id=1&version=1");
    record.version = GS::UniString("1.0");
    record.name = GS::UniString(name, CC_UTF8);
    record.downloadUrl = GS::UniString(url, CC_UTF8);
    record.state = state;
    record.checkTime = 0;
    return record;
}

class SummaryDialogGui : public guitest::GuiTest {
protected:
    void SetUp() override {
        GuiTest::SetUp();
        // The icon beside the "module": the add-on's own, as it is installed.
        CUtils::SetModulePathOverride(CUtils::StringUTF8ToWstring(ORV_MODULE_FOR_ICON));
        monitor.GetTable().Add(1, Record("Dveře D01", StateUpdateAvailable, "http://x/d01.zip"));
        monitor.GetTable().Add(2, Record("Okno W02", StateUpToDate, ""));
        monitor.GetTable().Add(3, Record("Lampa – žluťoučký kůň", StateTestVersion, ""));
        monitor.GetTable().Add(4, Record("Židle", StateUnknown, "http://x/z.zip"));
        monitor.GetTable().Add(5, Record("Stůl", StateUpdateAvailable, "http://x/s.zip"));
    }
    void TearDown() override {
        CUtils::SetModulePathOverride(WString());
        GuiTest::TearDown();
    }

    ObjectsMonitor monitor;
};

TEST_F(SummaryDialogGui, EveryWidgetStandsAtItsItemsRectangleAndTheCloseButtonEndsTheLoop) {
    SummaryDialog dialog(monitor);
    bool checked = false;
    std::size_t colours = 0;
    WhenViewable([&](Fl_Window& shown) {
        EXPECT_EQ(shown.w(), 500);
        EXPECT_EQ(shown.h(), 300) << "five rows: one more than fits";
        EXPECT_STREQ(shown.label(), "Seznam aktualizovatelných objektů");
        for (DG::Item* item : dialog.GetItems()) {
            Fl_Widget* widget = guitest::WidgetOf(shown, *item);
            ASSERT_NE(widget, nullptr) << item->KindName();
            const DG::Rect rect = item->GetRect();
            EXPECT_EQ(std::make_tuple(widget->x(), widget->y(), widget->w(), widget->h()),
                      std::make_tuple(int{rect.GetLeft()}, int{rect.GetTop()}, int{rect.GetWidth()},
                                      int{rect.GetHeight()}))
                << item->KindName();
        }
        colours = guitest::Screenshot(shown, std::filesystem::path(ORV_GUI_ARTIFACTS) /
                                                 "summary-dialog.png");
        checked = true;
        Fl_Widget* close = guitest::ChildLabelled(shown, "Zavřít");
        ASSERT_NE(close, nullptr);
        close->do_callback();
    });
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_TRUE(checked);
    EXPECT_GT(colours, 4u);
    EXPECT_EQ(Fl::first_window(), nullptr);
}

}  // namespace
