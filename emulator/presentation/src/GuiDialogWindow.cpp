// GuiDialogWindow.cpp: a modal dialog as a real FLTK window: one widget per item at the item's
// rectangle, kept up to date through the dialog's view.
#include "GuiWindows.h"
#include "Presentation.h"

#include <FL/Fl.H>
#include <FL/Fl_Box.H>
#include <FL/Fl_Button.H>
#include <FL/Fl_Double_Window.H>
#include <FL/Fl_RGB_Image.H>
#include <algorithm>
#include <map>
#include <string>

namespace presentation::gui {

namespace {

// The dialogs measure a name at eight pixels a character; a bold 12-pixel face fits that.
constexpr int kLargeFontSize = 12;
constexpr int kSmallFontSize = 11;

// FLTK reads a leading '@' as a symbol name; "@@" shows the character itself.
std::string LabelText(const std::string& text) {
    return !text.empty() && text.front() == '@' ? "@" + text : text;
}

Fl_Color ToFl(const Gfx::Color& color) {
    return fl_rgb_color(color.GetRed(), color.GetGreen(), color.GetBlue());
}

class DialogWindow final : public ShownWindow, public DG::DialogView {
public:
    explicit DialogWindow(hostkit::DialogModal& modal) : modal(modal), dialog(modal.Dialog()) {
        // Widgets are placed by hand: nothing may land in a group that another window left open.
        Fl_Group::current(nullptr);
        window = std::make_unique<Fl_Double_Window>(std::max<int>(dialog.GetWidth(), 1),
                                                    std::max<int>(dialog.GetHeight(), 1));
        window->end();
        // Items keep their rectangles when the dialog is resized, and the user cannot resize it.
        window->resizable(nullptr);
        window->callback(CloseBox, this);
        window->set_modal();
        ApplyDialog();
        for (DG::Item* item : dialog.GetItems()) {
            AddWidget(*item);
        }
        previousView = dialog.GetView();
        dialog.SetView(this);
        CenterOnScreen(*window);
        window->show();
    }

    ~DialogWindow() override {
        if (dialog.GetView() == this) {
            dialog.SetView(previousView);
        }
        window->hide();
        // The window deletes its widgets.
    }

    Fl_Window& Window() override { return *window; }

    DialogWindow(const DialogWindow&) = delete;
    DialogWindow& operator=(const DialogWindow&) = delete;

    void ItemChanged(DG::Item& item, DG::Item::Aspect /*aspect*/) override {
        Prune();
        auto found = widgets.find(&item);
        if (found == widgets.end()) {
            AddWidget(item);  // made after the dialog was shown
        } else {
            ApplyItem(item, *found->second);
        }
        // Texts have no box of their own: the window redraws what stood behind them.
        window->redraw();
    }

    void DialogChanged() override {
        Prune();
        ApplyDialog();
        window->redraw();
    }

private:
    static void CloseBox(Fl_Widget* /*widget*/, void* data) {
        auto* self = static_cast<DialogWindow*>(data);
        RunCallback([self] {
            if (DG::Button* cancel = self->dialog.CancelButton()) {
                cancel->Click();
            } else {
                self->modal.Close();
            }
        });
    }

    static void ButtonPressed(Fl_Widget* widget, void* data) {
        auto* self = static_cast<DialogWindow*>(widget->window()->user_data());
        auto* item = static_cast<DG::Item*>(data);
        RunCallback([self, item] {
            // An item destroyed while shown must not be reached through its old widget.
            const auto& items = self->dialog.GetItems();
            if (std::find(items.begin(), items.end(), item) != items.end()) {
                if (auto* button = dynamic_cast<DG::ButtonItem*>(item)) {
                    button->Click();
                }
            }
        });
    }

    void ApplyDialog() {
        window->copy_label(Utf8(dialog.GetTitle()).c_str());
        const DG::Icon& icon = dialog.GetIcon();
        if (icon.IsEmpty()) {
            window->icon(static_cast<const Fl_RGB_Image*>(nullptr));
        } else {
            // The window keeps a copy of the image.
            const Fl_RGB_Image image(icon.GetPixels().data(), icon.GetWidth(), icon.GetHeight(), 4);
            window->icon(&image);
        }
        window->size(std::max<int>(dialog.GetWidth(), 1), std::max<int>(dialog.GetHeight(), 1));
    }

    void AddWidget(DG::Item& item) {
        Fl_Group::current(nullptr);
        const DG::Rect rect = item.GetRect();
        Fl_Widget* widget = nullptr;
        if (dynamic_cast<DG::ButtonItem*>(&item) != nullptr) {
            widget =
                new Fl_Button(rect.GetLeft(), rect.GetTop(), rect.GetWidth(), rect.GetHeight());
            widget->callback(ButtonPressed, &item);
        } else {
            widget = new Fl_Box(rect.GetLeft(), rect.GetTop(), rect.GetWidth(), rect.GetHeight());
            widget->user_data(&item);
        }
        // Backgrounds go under everything else, whatever order they were made in, so that a
        // strip never hides the buttons and texts standing on it.
        if (dynamic_cast<DG::UserItem*>(&item) != nullptr) {
            window->insert(*widget, userItemCount++);
        } else {
            window->add(widget);
        }
        widgets[&item] = widget;
        ApplyItem(item, *widget);
    }

    void ApplyItem(DG::Item& item, Fl_Widget& widget) {
        const DG::Rect rect = item.GetRect();
        widget.resize(rect.GetLeft(), rect.GetTop(), rect.GetWidth(), rect.GetHeight());
        if (auto* text = dynamic_cast<DG::ItemTextProperty*>(&item)) {
            widget.copy_label(LabelText(Utf8(text->GetText())).c_str());
        }
        if (auto* font = dynamic_cast<DG::ItemFontProperty*>(&item)) {
            widget.labelsize(font->GetFontSize() < 0 ? kSmallFontSize : kLargeFontSize);
            widget.labelfont((font->GetFontStyle() & DG::ItemFontProperty::kFontStyleBold) != 0
                                 ? FL_HELVETICA_BOLD
                                 : FL_HELVETICA);
        }
        if (auto* colored = dynamic_cast<DG::ItemColorProperty*>(&item)) {
            widget.labelcolor(ToFl(colored->GetTextColor()));
        }
        if (auto* user = dynamic_cast<DG::UserItem*>(&item)) {
            widget.box(FL_FLAT_BOX);
            widget.color(user->HasBackground() ? ToFl(user->GetBackground()) : window->color());
        } else if (dynamic_cast<DG::ButtonItem*>(&item) == nullptr) {
            widget.box(FL_NO_BOX);
            widget.align(FL_ALIGN_LEFT | FL_ALIGN_INSIDE | FL_ALIGN_CLIP);
        }
        if (item.IsVisible()) {
            widget.show();
        } else {
            widget.hide();
        }
        if (item.IsEnabled()) {
            widget.activate();
        } else {
            widget.deactivate();
        }
    }

    // Drops the widgets of items destroyed since (an item does not tell the view it goes).
    void Prune() {
        const auto& items = dialog.GetItems();
        for (auto it = widgets.begin(); it != widgets.end();) {
            if (std::find(items.begin(), items.end(), it->first) == items.end()) {
                if (window->find(it->second) < userItemCount) {
                    --userItemCount;
                }
                window->remove(it->second);
                Fl::delete_widget(it->second);  // later: we may be inside its callback
                it = widgets.erase(it);
            } else {
                ++it;
            }
        }
    }

    hostkit::DialogModal& modal;
    DG::ModalDialog& dialog;
    DG::DialogView* previousView = nullptr;
    std::unique_ptr<Fl_Double_Window> window;
    std::map<DG::Item*, Fl_Widget*> widgets;
    int userItemCount = 0;
};

}  // namespace

std::unique_ptr<ShownWindow> ShowDialog(hostkit::DialogModal& modal) {
    return std::make_unique<DialogWindow>(modal);
}

void CenterOnScreen(Fl_Window& window) {
    window.position(std::max(0, (Fl::w() - window.w()) / 2),
                    std::max(0, (Fl::h() - window.h()) / 2));
}

}  // namespace presentation::gui
