// DG.h: the host's dialog classes, over one model of items that the loop's backend draws:
// panels and dialogs, static texts, buttons, user items, their observers and events.
//
// A modal dialog runs on the main loop's nested modal level: Invoke returns when Abort is called
// (or the dialog is cancelled). The backend sees the dialog through DialogView, which every
// change of a dialog or of one of its items reaches, and through DGModal.h.
#pragma once

#include "hostkit/DGItem.h"
#include "hostkit/GSGuid.h"
#include "hostkit/UniString.h"

#include <cstdint>
#include <vector>

namespace Gfx {

class Color {
public:
    constexpr Color() = default;
    constexpr Color(uint8_t red, uint8_t green, uint8_t blue, uint8_t alpha = 0xFF)
        : red(red), green(green), blue(blue), alpha(alpha) {}
    uint8_t GetRed() const { return red; }
    uint8_t GetGreen() const { return green; }
    uint8_t GetBlue() const { return blue; }
    uint8_t GetAlpha() const { return alpha; }
    friend bool operator==(const Color&, const Color&) = default;

    static const Color Black;

private:
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;
    uint8_t alpha = 0xFF;
};

}  // namespace Gfx

namespace GS {

class EventObserver {
public:
    virtual ~EventObserver() = default;
};

class EventSource {
public:
    virtual ~EventSource() = default;
};

}  // namespace GS

namespace DG {

class ButtonItem;
class Dialog;
class PanelObserver;
class ButtonItemObserver;

// Text of an item, kept by it; takes effect at once.
class ItemTextProperty : public virtual Item {
public:
    void SetText(const GS::UniString& newText);
    const GS::UniString& GetText() const { return text; }

private:
    GS::UniString text;
};

// Font of a text item: size 0 is the large font, -1 the small one; style 16 is bold.
class ItemFontProperty : public virtual Item {
public:
    void SetFontSize(int32_t size);
    void SetFontStyle(int32_t style);
    int32_t GetFontSize() const { return fontSize; }
    int32_t GetFontStyle() const { return fontStyle; }
    static constexpr int32_t kFontStyleBold = 16;

private:
    int32_t fontSize = 0;
    int32_t fontStyle = 0;
};

class ItemColorProperty : public virtual Item {
public:
    void SetTextColor(const Gfx::Color& color);
    Gfx::Color GetTextColor() const { return textColor; }

private:
    Gfx::Color textColor = Gfx::Color::Black;
};

// Left-aligned static text.
class LeftText : public ItemTextProperty, public ItemFontProperty, public ItemColorProperty {
public:
    LeftText(Panel& panel, const Rect& rect, int32_t frameType = 0, int32_t verticalAlign = 0,
             int32_t truncation = 0);
    const char* KindName() const override { return "LeftText"; }
};

struct ButtonClickEvent {
    ButtonItem* source = nullptr;
    ButtonItem* GetSource() const { return source; }
};

class ButtonItemObserver : public GS::EventObserver {
public:
    virtual void ButtonClicked(const ButtonClickEvent&) {}
};

class ButtonItem : public ItemTextProperty {
public:
    void Attach(ButtonItemObserver& observer);
    void Detach(ButtonItemObserver& observer);
    // The user pressed it: every observer hears of it, in the order attached, when the button is
    // visible and enabled. False when it was not pressable. An observer attached twice hears once.
    bool Click();

private:
    std::vector<ButtonItemObserver*> observers;
};

class Button : public ButtonItem, public ItemFontProperty {
public:
    Button(Panel& panel, const Rect& rect, int32_t buttonType = 0, int32_t frameType = 0);
    const char* KindName() const override { return "Button"; }
    // Makes it the dialog's cancel button: closing the dialog presses it.
    void SetAsCancel();
    bool IsCancel() const { return cancel; }

private:
    bool cancel = false;
};

// An item the add-on draws nothing into, but may fill.
class UserItem : public virtual Item {
public:
    UserItem(Panel& panel, const Rect& rect, int32_t userItemType = 0, int32_t frameType = 0);
    const char* KindName() const override { return "UserItem"; }
    void SetBackground(const Gfx::Color& color);
    bool HasBackground() const { return hasBackground; }
    Gfx::Color GetBackground() const { return background; }

private:
    Gfx::Color background;
    bool hasBackground = false;
};

struct PanelEvent {
    Panel* source = nullptr;
    Panel* GetSource() const { return source; }
};
struct PanelOpenEvent : PanelEvent {};
struct PanelResizeEvent : PanelEvent {
    int16_t horizontalChange = 0;
    int16_t verticalChange = 0;
};
struct PanelCloseEvent : PanelEvent {};

// Notifications of a panel, in the host's order; each does nothing unless overridden.
class PanelObserver : public GS::EventObserver {
public:
    virtual void PanelIdle(const PanelEvent&) {}
    virtual void PanelOpened(const PanelOpenEvent&) {}
    virtual void PanelResizeEntered(const PanelEvent&) {}
    virtual void PanelResizing(const PanelResizeEvent&) {}
    virtual void PanelResized(const PanelResizeEvent&) {}
    virtual void PanelResizeExited(const PanelEvent&) {}
    virtual void PanelClosed(const PanelCloseEvent&) {}
};

// What a backend follows of a dialog it shows.
class DialogView {
public:
    virtual void ItemChanged(Item& item, Item::Aspect aspect) = 0;
    // Title, icon or client size.
    virtual void DialogChanged() = 0;

protected:
    ~DialogView() = default;
};

class Panel : public GS::EventSource {
public:
    ~Panel() override;
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    // The client size.
    int16_t GetWidth() const { return width; }
    int16_t GetHeight() const { return height; }
    void ShowItems();
    void RedrawItems();
    void Attach(PanelObserver& observer);
    void Detach(PanelObserver& observer);

    // The items on the panel, in the order they were made.
    const std::vector<Item*>& GetItems() const { return items; }
    void SetView(DialogView* newView) { view = newView; }
    DialogView* GetView() const { return view; }

protected:
    Panel(int16_t width, int16_t height) : width(width), height(height) {}
    void SetClientSize(int16_t newWidth, int16_t newHeight);
    // Tells every observer; for the dialog and the backends.
    void NotifyOpened();
    void NotifyResized(int16_t horizontalChange, int16_t verticalChange);
    void NotifyClosed();

private:
    friend class Item;
    void Register(Item& item) { items.push_back(&item); }
    void Unregister(Item& item);

    int16_t width;
    int16_t height;
    std::vector<Item*> items;
    std::vector<PanelObserver*> observers;
    DialogView* view = nullptr;
};

// An icon made from an image (GX::Image::ToDGIcon), holding a copy of its pixels, so that the
// image need not outlive it; empty by default.
class Icon {
public:
    Icon() = default;
    explicit Icon(const void* image);
    bool IsEmpty() const { return pixels.empty(); }
    int GetWidth() const { return width; }
    int GetHeight() const { return height; }
    // RGBA, row by row.
    const std::vector<uint8_t>& GetPixels() const { return pixels; }

private:
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
};

class Dialog : public Panel {
public:
    void SetTitle(const GS::UniString& newTitle);
    const GS::UniString& GetTitle() const { return title; }
    void SetIcon(const Icon& newIcon);
    const Icon& GetIcon() const { return icon; }
    // Grows the client area by the changes; the fix point and the flag are the host's and change
    // nothing here (the dialog keeps its top-left corner).
    void Resize(int16_t widthChange, int16_t heightChange, int32_t fixPoint = 0,
                bool keepCenter = false);

protected:
    Dialog(int16_t width, int16_t height) : Panel(width, height) {}

private:
    GS::UniString title;
    Icon icon;
};

class ModalDialog : public Dialog {
public:
    // The client size is the rectangle's; the types are the host's and change nothing here.
    ModalDialog(const Rect& rect, int32_t growType = 0, int32_t captionType = 0,
                int32_t frameType = 0, const GS::Guid& guid = GS::NULLGuid);
    ~ModalDialog() override;

    // Shows the dialog and runs the modal loop until Abort or a cancel; true when it was ended by
    // Abort, false when it was cancelled from outside (the close box without a cancel button).
    // False at once when the dialog is already open.
    bool Invoke();
    // Ends the modal loop.
    void Abort();
    bool IsOpen() const { return open; }

    // The cancel button, or null.
    Button* CancelButton() const;

private:
    class Window;
    bool open = false;
    bool aborted = false;
};

}  // namespace DG

namespace IO {
class Location;
}

namespace GX {

// An image file loaded (PNG); an image that cannot be loaded is empty and gives an empty icon.
class Image {
public:
    explicit Image(const IO::Location& location);
    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    bool IsEmpty() const { return pixels.empty(); }
    int GetWidth() const { return width; }
    int GetHeight() const { return height; }
    // RGBA, row by row.
    const std::vector<uint8_t>& GetPixels() const { return pixels; }
    // The opaque handle a DG::Icon is made from (the icon copies the pixels). Null when empty.
    const void* ToDGIcon() const { return IsEmpty() ? nullptr : this; }

private:
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
};

}  // namespace GX

inline DG::Icon::Icon(const void* image) {
    if (image != nullptr) {
        const auto& source = *static_cast<const GX::Image*>(image);
        width = source.GetWidth();
        height = source.GetHeight();
        pixels = source.GetPixels();
    }
}
