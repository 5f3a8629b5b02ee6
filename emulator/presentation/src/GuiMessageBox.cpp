// GuiMessageBox.cpp: a message box as a modal FLTK window: an icon mark, the text, OK (and
// Cancel for MB_OKCANCEL), answering through the box's Answer.
#include "GuiWindows.h"
#include "winsys/WindowSystem.h"

#include <FL/Fl.H>
#include <FL/Fl_Box.H>
#include <FL/Fl_Button.H>
#include <FL/Fl_Double_Window.H>
#include <FL/Fl_Return_Button.H>
#include <FL/fl_draw.H>
#include <algorithm>

namespace presentation::gui {

namespace {

constexpr int kMargin = 10;
constexpr int kIconSize = 50;
constexpr int kButtonWidth = 90;
constexpr int kButtonHeight = 25;
constexpr int kTextFontSize = 14;
constexpr int kMaxTextWidth = 420;
constexpr int kMinWindowWidth = 260;

struct IconMark {
    const char* symbol;
    Fl_Color color;
};

// The kind of icon of the type's icon flags, as fl_message draws them; null symbol: none.
IconMark IconOf(uint32_t type) {
    switch (type & 0xF0) {
    case MB_ICONERROR:
        return {"X", FL_RED};
    case 0x20:  // MB_ICONQUESTION
        return {"?", FL_BLUE};
    case MB_ICONWARNING:
        return {"!", fl_rgb_color(0xC0, 0x80, 0x00)};
    case MB_ICONINFORMATION:
        return {"i", FL_BLUE};
    default:
        return {nullptr, FL_BLACK};
    }
}

class MessageBoxWindow final : public ShownWindow {
public:
    explicit MessageBoxWindow(winsys::MessageBoxModal& modal) : modal(modal) {
        const std::string text = modal.Text();
        const IconMark mark = IconOf(modal.Type());
        const bool withCancel = (modal.Type() & 0x0F) == MB_OKCANCEL;

        // The text's size, wrapped when a line would be too wide.
        fl_font(FL_HELVETICA, kTextFontSize);
        int textWidth = 0;
        int textHeight = 0;
        fl_measure(text.c_str(), textWidth, textHeight, 0);
        if (textWidth > kMaxTextWidth) {
            textWidth = kMaxTextWidth;
            textHeight = 0;
            fl_measure(text.c_str(), textWidth, textHeight, 0);
        }
        const int textLeft = kMargin + (mark.symbol != nullptr ? kIconSize + kMargin : 0);
        const int bodyHeight = std::max(textHeight, mark.symbol != nullptr ? kIconSize : 0);
        const int buttonsWidth = (withCancel ? 2 : 1) * kButtonWidth + kMargin;
        const int width = std::max({textLeft + textWidth + kMargin, kMinWindowWidth, buttonsWidth});
        const int height = kMargin + bodyHeight + kMargin + kButtonHeight + kMargin;

        Fl_Group::current(nullptr);
        window = std::make_unique<Fl_Double_Window>(width, height);
        window->copy_label(modal.Title().c_str());
        window->callback(CloseBox, this);
        if (mark.symbol != nullptr) {
            auto* icon = new Fl_Box(kMargin, kMargin, kIconSize, kIconSize, mark.symbol);
            icon->box(FL_THIN_UP_BOX);
            icon->color(FL_WHITE);
            icon->labelfont(FL_TIMES_BOLD);
            icon->labelsize(34);
            icon->labelcolor(mark.color);
        }
        auto* body = new Fl_Box(textLeft, kMargin, width - textLeft - kMargin, bodyHeight);
        body->copy_label(text.c_str());
        body->labelsize(kTextFontSize);
        body->align(FL_ALIGN_LEFT | FL_ALIGN_INSIDE | FL_ALIGN_WRAP | FL_ALIGN_CLIP);
        const int buttonTop = height - kMargin - kButtonHeight;
        int buttonLeft = width - kMargin - kButtonWidth;
        if (withCancel) {
            auto* cancel =
                new Fl_Button(buttonLeft, buttonTop, kButtonWidth, kButtonHeight, "Cancel");
            cancel->callback(Answered, this);
            cancel->shortcut(FL_Escape);
            buttonLeft -= kButtonWidth + kMargin;
        }
        auto* ok = new Fl_Return_Button(buttonLeft, buttonTop, kButtonWidth, kButtonHeight, "OK");
        ok->callback(Answered, this);
        ok->take_focus();
        okButton = ok;
        window->end();
        window->resizable(nullptr);
        window->set_modal();
        CenterOnScreen(*window);
        window->show();
    }

    ~MessageBoxWindow() override { window->hide(); }

    Fl_Window& Window() override { return *window; }

    MessageBoxWindow(const MessageBoxWindow&) = delete;
    MessageBoxWindow& operator=(const MessageBoxWindow&) = delete;

private:
    static void CloseBox(Fl_Widget* /*widget*/, void* data) {
        auto* self = static_cast<MessageBoxWindow*>(data);
        RunCallback([self] { self->modal.Close(); });
    }

    static void Answered(Fl_Widget* widget, void* data) {
        auto* self = static_cast<MessageBoxWindow*>(data);
        const int32_t answer = widget == self->okButton ? IDOK : IDCANCEL;
        RunCallback([self, answer] { self->modal.Answer(answer); });
    }

    winsys::MessageBoxModal& modal;
    std::unique_ptr<Fl_Double_Window> window;
    Fl_Widget* okButton = nullptr;
};

}  // namespace

std::unique_ptr<ShownWindow> ShowMessageBox(winsys::MessageBoxModal& modal) {
    return std::make_unique<MessageBoxWindow>(modal);
}

}  // namespace presentation::gui
