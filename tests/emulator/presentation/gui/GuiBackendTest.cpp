// GuiBackendTest.cpp: the gui backend on a virtual X display: the widgets of a dialog at their
// items' rectangles, a screenshot kept as an artifact, item changes reaching the widgets, buttons
// and close boxes ending the modal loop, message boxes, timers firing inside the modal loop, and
// the refusal without a display.
#include "GuiTestSupport.h"
#include "TestFiles.h"
#include "hostkit/DG.h"
#include "hostkit/IOLocation.h"

#include <FL/Fl.H>
#include <FL/Fl_Button.H>
#include <FL/Fl_Window.H>
#include <FL/fl_draw.H>
#include <FL/x.H>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>
#include <unistd.h>

namespace {

using guitest::ChildLabelled;
using guitest::IsOnScreen;
using guitest::Screenshot;
using guitest::WidgetOf;
using GuiBackend = guitest::GuiTest;
using winsys::MainLoop;

GS::UniString Utf8(const char* text) { return GS::UniString(text, CC_UTF8); }

const std::filesystem::path kArtifacts = GUI_ARTIFACTS_DIR;

// A summary-like dialog: a heading, a bold name with Czech letters, a small coloured note, an
// update button, a close button (the cancel button, whose handler aborts) on a grey strip.
class SummaryDialog : public DG::ModalDialog, public DG::ButtonItemObserver {
public:
    explicit SummaryDialog(bool withCancel = true)
        : DG::ModalDialog(DG::Rect(0, 0, 520, 260)), heading(*this, DG::Rect(10, 10, 510, 34)),
          name(*this, DG::Rect(10, 44, 300, 64)), note(*this, DG::Rect(10, 70, 300, 88)),
          update(*this, DG::Rect(400, 40, 500, 68)), close(*this, DG::Rect(420, 222, 510, 250)),
          strip(*this, DG::Rect(0, 212, 520, 260)) {
        heading.SetText(Utf8("Seznam aktualizovatelných objektů"));
        name.SetText(Utf8("Dveře D01 – žluťoučký kůň úpěl ďábelské ódy"));
        name.SetFontStyle(DG::ItemFontProperty::kFontStyleBold);
        note.SetText(Utf8("Verze 1.2 → 1.3"));
        note.SetFontSize(-1);
        note.SetTextColor(Gfx::Color(0x80, 0x00, 0x00));
        update.SetText(Utf8("Aktualizovat"));
        close.SetText(Utf8("Zavřít"));
        if (withCancel) {
            close.SetAsCancel();
        }
        strip.SetBackground(Gfx::Color(0xD0, 0xD0, 0xD0));
        update.Attach(*this);
        close.Attach(*this);
        ShowItems();
        SetTitle(Utf8("Aktualizace knihovny – přehled"));
    }

    void ButtonClicked(const DG::ButtonClickEvent& event) override {
        if (event.GetSource() == &close) {
            Abort();
        } else if (onUpdate) {
            onUpdate();
        }
    }

    DG::LeftText heading;
    DG::LeftText name;
    DG::LeftText note;
    DG::Button update;
    DG::Button close;
    DG::UserItem strip;
    std::function<void()> onUpdate;
};

TEST_F(GuiBackend, EachItemIsAWidgetAtItsRectangleWithItsTextAndFont) {
    SummaryDialog dialog;
    bool checked = false;
    After(150, [&] {
        Fl_Window* shown = Fl::first_window();
        ASSERT_NE(shown, nullptr);
        EXPECT_STREQ(shown->label(), "Aktualizace knihovny – přehled");
        EXPECT_EQ(shown->w(), 520);
        EXPECT_EQ(shown->h(), 260);
        EXPECT_TRUE(shown->modal());
        EXPECT_EQ(shown->children(), 6);
        for (DG::Item* item : dialog.GetItems()) {
            Fl_Widget* widget = WidgetOf(*shown, *item);
            ASSERT_NE(widget, nullptr) << item->KindName();
            const DG::Rect rect = item->GetRect();
            EXPECT_EQ(std::make_tuple(widget->x(), widget->y(), widget->w(), widget->h()),
                      std::make_tuple(int{rect.GetLeft()}, int{rect.GetTop()}, int{rect.GetWidth()},
                                      int{rect.GetHeight()}))
                << item->KindName();
            EXPECT_TRUE(widget->visible());
            EXPECT_TRUE(widget->active());
        }
        Fl_Widget* name = WidgetOf(*shown, dialog.name);
        EXPECT_STREQ(name->label(), "Dveře D01 – žluťoučký kůň úpěl ďábelské ódy");
        EXPECT_EQ(name->labelfont(), FL_HELVETICA_BOLD);
        EXPECT_EQ(name->labelsize(), 12);
        EXPECT_EQ(name->align(), FL_ALIGN_LEFT | FL_ALIGN_INSIDE | FL_ALIGN_CLIP);
        Fl_Widget* note = WidgetOf(*shown, dialog.note);
        EXPECT_EQ(note->labelfont(), FL_HELVETICA);
        EXPECT_EQ(note->labelsize(), 11);
        EXPECT_EQ(note->labelcolor(), fl_rgb_color(0x80, 0x00, 0x00));
        Fl_Widget* strip = WidgetOf(*shown, dialog.strip);
        EXPECT_EQ(strip->box(), FL_FLAT_BOX);
        EXPECT_EQ(strip->color(), fl_rgb_color(0xD0, 0xD0, 0xD0));
        // The strip lies under the close button that stands on it.
        EXPECT_LT(shown->find(strip), shown->find(WidgetOf(*shown, dialog.close)));
        auto* close = dynamic_cast<Fl_Button*>(WidgetOf(*shown, dialog.close));
        ASSERT_NE(close, nullptr);
        EXPECT_STREQ(close->label(), "Zavřít");
        checked = true;
        close->do_callback();
    });
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_TRUE(checked);
    EXPECT_FALSE(dialog.IsOpen());
    EXPECT_EQ(Fl::first_window(), nullptr);
    EXPECT_EQ(dialog.GetView(), nullptr);
}

TEST_F(GuiBackend, AScreenshotOfTheDialogIsKeptAndShowsMoreThanOneColour) {
    // An icon, as the add-on sets one from a PNG of its own.
    std::vector<uint8_t> iconPixels;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            iconPixels.insert(iconPixels.end(), {static_cast<uint8_t>(x * 16),
                                                 static_cast<uint8_t>(y * 16), 0x80, 0xFF});
        }
    }
    const testfiles::TempFolder folder;
    const std::string iconPath = folder.At("icon.png");
    ASSERT_TRUE(presentation::WritePng(iconPath, iconPixels.data(), 16, 16, 4));
    const GX::Image iconImage{IO::Location(Utf8(iconPath.c_str()))};
    ASSERT_FALSE(iconImage.IsEmpty());

    SummaryDialog dialog;
    dialog.SetIcon(DG::Icon(iconImage.ToDGIcon()));
    size_t colours = 0;
    WhenViewable([&](Fl_Window& shown) {
        colours = Screenshot(shown, kArtifacts / "summary-like.png");
        WidgetOf(shown, dialog.close)->do_callback();
    });
    EXPECT_TRUE(dialog.Invoke());
    // Window, strip, texts and buttons: anti-aliased text alone gives many more.
    EXPECT_GT(colours, 4u);
    EXPECT_GT(std::filesystem::file_size(kArtifacts / "summary-like.png"), 100u);
}

TEST_F(GuiBackend, ItemChangesReachTheWidgetsWhileTheDialogIsOpen) {
    SummaryDialog dialog;
    After(150, [&] {
        Fl_Window* shown = Fl::first_window();
        ASSERT_NE(shown, nullptr);
        dialog.name.SetText(Utf8("Probíhá stahování"));
        dialog.update.Disable();
        dialog.note.SetVisibility(false);
        dialog.heading.SetRect(DG::Rect(20, 12, 500, 30));
        dialog.heading.SetFontSize(-1);
        dialog.strip.SetBackground(Gfx::Color(0xF0, 0xE0, 0xD0));
        dialog.SetTitle(Utf8("Stahování"));
        dialog.Resize(20, 10);

        EXPECT_STREQ(WidgetOf(*shown, dialog.name)->label(), "Probíhá stahování");
        EXPECT_FALSE(WidgetOf(*shown, dialog.update)->active());
        EXPECT_FALSE(WidgetOf(*shown, dialog.note)->visible());
        Fl_Widget* heading = WidgetOf(*shown, dialog.heading);
        EXPECT_EQ(std::make_tuple(heading->x(), heading->y(), heading->w(), heading->h()),
                  std::make_tuple(20, 12, 480, 18));
        EXPECT_EQ(heading->labelsize(), 11);
        EXPECT_EQ(WidgetOf(*shown, dialog.strip)->color(), fl_rgb_color(0xF0, 0xE0, 0xD0));
        EXPECT_STREQ(shown->label(), "Stahování");
        EXPECT_EQ(shown->w(), 540);
        EXPECT_EQ(shown->h(), 270);

        dialog.update.Enable();
        EXPECT_TRUE(WidgetOf(*shown, dialog.update)->active());
        WidgetOf(*shown, dialog.close)->do_callback();
    });
    EXPECT_TRUE(dialog.Invoke());
}

TEST_F(GuiBackend, TheCloseBoxPressesTheCancelButton) {
    SummaryDialog dialog;
    After(150, [&] {
        ASSERT_NE(Fl::first_window(), nullptr);
        Fl::first_window()->do_callback();
    });
    EXPECT_TRUE(dialog.Invoke());  // the cancel button's handler aborts
}

TEST_F(GuiBackend, TheCloseBoxOfADialogWithoutACancelButtonCancelsIt) {
    SummaryDialog dialog(false);
    After(150, [&] {
        ASSERT_NE(Fl::first_window(), nullptr);
        Fl::first_window()->do_callback();
    });
    EXPECT_FALSE(dialog.Invoke());
    EXPECT_FALSE(dialog.IsOpen());
}

TEST_F(GuiBackend, AMessageBoxIsAnsweredByItsOkButton) {
    bool checked = false;
    After(150, [&] {
        Fl_Window* box = Fl::first_window();
        ASSERT_NE(box, nullptr);
        EXPECT_STREQ(box->label(), "Upozornění");
        EXPECT_TRUE(box->modal());
        EXPECT_NE(ChildLabelled(*box, "Knihovna byla změněna."), nullptr);
        EXPECT_NE(ChildLabelled(*box, "!"), nullptr);  // the warning mark
        EXPECT_EQ(ChildLabelled(*box, "Cancel"), nullptr);
        Fl_Widget* ok = ChildLabelled(*box, "OK");
        ASSERT_NE(ok, nullptr);
        checked = true;
        ok->do_callback();
    });
    EXPECT_EQ(
        MessageBoxW(nullptr, u"Knihovna byla změněna.", u"Upozornění", MB_OK | MB_ICONWARNING),
        IDOK);
    EXPECT_TRUE(checked);
    EXPECT_EQ(Fl::first_window(), nullptr);
}

TEST_F(GuiBackend, AScreenshotOfAMessageBoxIsKeptBesideTheDialogs) {
    size_t colours = 0;
    WhenViewable([&](Fl_Window& box) {
        colours = Screenshot(box, kArtifacts / "messagebox.png");
        ChildLabelled(box, "OK")->do_callback();
    });
    EXPECT_EQ(MessageBoxW(nullptr, u"Knihovna byla změněna; stáhněte prosím novou verzi.",
                          u"Upozornění", MB_OK | MB_ICONWARNING),
              IDOK);
    EXPECT_GT(colours, 4u);
}

TEST_F(GuiBackend, AnOkCancelBoxAnswersCancelByItsButtonAndByItsCloseBox) {
    After(150, [&] {
        Fl_Window* box = Fl::first_window();
        ASSERT_NE(box, nullptr);
        EXPECT_NE(ChildLabelled(*box, "i"), nullptr);  // the information mark
        Fl_Widget* cancel = ChildLabelled(*box, "Cancel");
        ASSERT_NE(cancel, nullptr);
        cancel->do_callback();
    });
    EXPECT_EQ(MessageBoxW(nullptr, u"Stáhnout?", u"Dotaz", MB_OKCANCEL | MB_ICONINFORMATION),
              IDCANCEL);
    After(150, [&] {
        ASSERT_NE(Fl::first_window(), nullptr);
        Fl::first_window()->do_callback();
    });
    EXPECT_EQ(MessageBoxW(nullptr, u"Stáhnout?", u"Dotaz", MB_OKCANCEL), IDCANCEL);
}

TEST_F(GuiBackend, TimersKeepFiringInsideTheModalLoop) {
    int fired = 0;
    const uint64_t start = Now();
    onTimer = [&](UINT_PTR id) {
        if (id != 7 || ++fired < 3) {
            return;
        }
        KillTimer(window, 7);
        Fl_Window* box = Fl::first_window();
        ASSERT_NE(box, nullptr);
        ChildLabelled(*box, "OK")->do_callback();
    };
    ASSERT_EQ(SetTimer(window, 7, 40, nullptr), 7u);
    EXPECT_EQ(MessageBoxW(nullptr, u"Čekám", u"Časovač", MB_OK), IDOK);
    EXPECT_EQ(fired, 3);
    EXPECT_GE(Now() - start, 120u);
}

TEST_F(GuiBackend, AMessageBoxFromAButtonOfTheDialogRunsInsideItsLoop) {
    SummaryDialog dialog;
    int32_t answer = 0;
    dialog.onUpdate = [&] {
        answer = MessageBoxW(nullptr, u"Aktualizováno.", u"Hotovo", MB_OK | MB_ICONINFORMATION);
    };
    After(150, [&] {
        ASSERT_NE(Fl::first_window(), nullptr);
        WidgetOf(*Fl::first_window(), dialog.update)->do_callback();
    });
    After(300, [&] {
        Fl_Window* box = Fl::first_window();
        ASSERT_NE(box, nullptr);
        EXPECT_STREQ(box->label(), "Hotovo");
        ChildLabelled(*box, "OK")->do_callback();
    });
    After(450, [&] {
        Fl_Window* shown = Fl::first_window();
        ASSERT_NE(shown, nullptr);
        EXPECT_STREQ(shown->label(), "Aktualizace knihovny – přehled");
        WidgetOf(*shown, dialog.close)->do_callback();
    });
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(answer, IDOK);
}

TEST_F(GuiBackend, WithoutWindowsTheLoopWaitsForItsTimersThenEnds) {
    EXPECT_FALSE(MainLoop::Instance().Backend().Wait(std::nullopt));
    int fired = 0;
    onTimer = [&](UINT_PTR id) {
        if (++fired == 2) {
            KillTimer(window, id);
        }
    };
    const uint64_t start = Now();
    ASSERT_NE(SetTimer(window, 8, 30, nullptr), 0u);
    MainLoop::Instance().Run();
    EXPECT_EQ(fired, 2);
    EXPECT_GE(Now() - start, 60u);
}

TEST(GuiBackendDeathTest, WithoutADisplayItRefusesWithTheReason) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            unsetenv("DISPLAY");
            try {
                presentation::MakeGuiBackend();
            } catch (const std::runtime_error& error) {
                std::fputs(error.what(), stderr);
                std::_Exit(3);
            }
            std::_Exit(0);
        },
        testing::ExitedWithCode(3),
        "no display: the gui backend needs an X display \\(set DISPLAY or use --ui text\\)");
}

}  // namespace
