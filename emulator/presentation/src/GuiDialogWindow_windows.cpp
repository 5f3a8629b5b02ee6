// GuiDialogWindow_windows.cpp: a modal dialog as a real Win32 window: one control per item at the
// item's rectangle, kept up to date through the dialog's view.
#include "GuiWindows_windows.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>

namespace presentation::gui {

namespace {

constexpr const wchar_t* kClassName = L"OrvhostDialog";
constexpr DWORD kStyle = WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN;
constexpr DWORD kExtendedStyle = WS_EX_DLGMODALFRAME;
// The dialogs measure a name at eight pixels a character; a bold 12-pixel face fits that.
constexpr int kLargeFontSize = 12;
constexpr int kSmallFontSize = 11;
constexpr int kFirstControlId = 1000;

std::wstring Wide(const GS::UniString& text) {
    const GS::UniString::UStr units = text.ToUStr();
    const auto* wide = reinterpret_cast<const wchar_t*>(units.Get());
    return std::wstring(wide, wide + text.GetLength());
}

COLORREF ToColorRef(const Gfx::Color& color) {
    return RGB(color.GetRed(), color.GetGreen(), color.GetBlue());
}

bool Contains(const DG::Rect& outer, const DG::Rect& inner) {
    return inner.GetLeft() >= outer.GetLeft() && inner.GetTop() >= outer.GetTop() &&
           inner.GetRight() <= outer.GetRight() && inner.GetBottom() <= outer.GetBottom();
}

// A window's icon from RGBA pixels, its transparency kept.
HICON MakeIcon(const DG::Icon& icon) {
    BITMAPV5HEADER header{};
    header.bV5Size = sizeof header;
    header.bV5Width = icon.GetWidth();
    header.bV5Height = -icon.GetHeight();  // top-down
    header.bV5Planes = 1;
    header.bV5BitCount = 32;
    header.bV5Compression = BI_BITFIELDS;
    header.bV5RedMask = 0x00FF0000;
    header.bV5GreenMask = 0x0000FF00;
    header.bV5BlueMask = 0x000000FF;
    header.bV5AlphaMask = 0xFF000000;
    void* bits = nullptr;
    HDC screen = GetDC(nullptr);
    HBITMAP colour = CreateDIBSection(screen, reinterpret_cast<BITMAPINFO*>(&header),
                                      DIB_RGB_COLORS, &bits, nullptr, 0);
    ReleaseDC(nullptr, screen);
    if (colour == nullptr) {
        return nullptr;
    }
    const std::vector<uint8_t>& rgba = icon.GetPixels();
    auto* bgra = static_cast<uint8_t*>(bits);
    for (size_t at = 0; at + 3 < rgba.size(); at += 4) {
        bgra[at] = rgba[at + 2];
        bgra[at + 1] = rgba[at + 1];
        bgra[at + 2] = rgba[at];
        bgra[at + 3] = rgba[at + 3];
    }
    HBITMAP mask = CreateBitmap(icon.GetWidth(), icon.GetHeight(), 1, 1, nullptr);
    ICONINFO info{TRUE, 0, 0, mask, colour};
    HICON made = CreateIconIndirect(&info);
    DeleteObject(mask);
    DeleteObject(colour);
    return made;
}

class DialogWindow final : public ShownWindow, public DG::DialogView {
public:
    explicit DialogWindow(hostkit::DialogModal& modal) : modal(modal), dialog(modal.Dialog()) {
        RegisterWindowClass();
        RECT frame = ClientFrame();
        window = CreateWindowExW(kExtendedStyle, kClassName, Wide(dialog.GetTitle()).c_str(),
                                 kStyle, CW_USEDEFAULT, CW_USEDEFAULT, frame.right - frame.left,
                                 frame.bottom - frame.top, nullptr, nullptr,
                                 GetModuleHandleW(nullptr), this);
        if (window == nullptr) {
            throw std::runtime_error("cannot make the dialog's window: error " +
                                     std::to_string(GetLastError()));
        }
        largeFont = MakeFont(kLargeFontSize, FW_NORMAL);
        largeBoldFont = MakeFont(kLargeFontSize, FW_BOLD);
        smallFont = MakeFont(kSmallFontSize, FW_NORMAL);
        smallBoldFont = MakeFont(kSmallFontSize, FW_BOLD);
        ApplyDialog();
        for (DG::Item* item : dialog.GetItems()) {
            AddControl(*item);
        }
        previousView = dialog.GetView();
        dialog.SetView(this);
        CenterOnScreen();
        ShowWindow(window, SW_SHOW);
        UpdateWindow(window);
    }

    ~DialogWindow() override {
        if (dialog.GetView() == this) {
            dialog.SetView(previousView);
        }
        SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        DestroyWindow(window);  // and its controls
        for (HFONT font : {largeFont, largeBoldFont, smallFont, smallBoldFont}) {
            DeleteObject(font);
        }
        for (auto& [colour, brush] : brushes) {
            DeleteObject(brush);
        }
        if (icon != nullptr) {
            DestroyIcon(icon);
        }
    }

    DialogWindow(const DialogWindow&) = delete;
    DialogWindow& operator=(const DialogWindow&) = delete;

    HWND Window() const override { return window; }

    HWND ControlOf(const DG::Item& item) const override {
        const auto found = controls.find(const_cast<DG::Item*>(&item));
        return found != controls.end() ? found->second : nullptr;
    }

    void ItemChanged(DG::Item& item, DG::Item::Aspect /*aspect*/) override {
        Prune();
        const auto found = controls.find(&item);
        if (found == controls.end()) {
            AddControl(item);  // made after the dialog was shown
        } else {
            ApplyItem(item, found->second);
        }
        InvalidateRect(window, nullptr, TRUE);
    }

    void DialogChanged() override {
        Prune();
        ApplyDialog();
        InvalidateRect(window, nullptr, TRUE);
    }

private:
    static void RegisterWindowClass() {
        static const bool registered = [] {
            WNDCLASSEXW windowClass{};
            windowClass.cbSize = sizeof windowClass;
            windowClass.lpfnWndProc = Procedure;
            windowClass.hInstance = GetModuleHandleW(nullptr);
            windowClass.hCursor = LoadCursorA(nullptr, IDC_ARROW);
            windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
            windowClass.lpszClassName = kClassName;
            return RegisterClassExW(&windowClass) != 0;
        }();
        static_cast<void>(registered);
    }

    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE) {
            const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
            SetWindowLongPtrW(window, GWLP_USERDATA,
                              reinterpret_cast<LONG_PTR>(create->lpCreateParams));
        }
        auto* self = reinterpret_cast<DialogWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self != nullptr) {
            switch (message) {
            case WM_COMMAND:
                if (HIWORD(wParam) == BN_CLICKED) {
                    self->Pressed(LOWORD(wParam));
                    return 0;
                }
                break;
            case WM_CLOSE:
                self->CloseBox();
                return 0;
            case WM_CTLCOLORSTATIC:
                return self->StaticColours(reinterpret_cast<HDC>(wParam),
                                           reinterpret_cast<HWND>(lParam));
            default:
                break;
            }
        }
        return DefWindowProcW(window, message, wParam, lParam);
    }

    // The close box presses the cancel button where there is one, else ends the dialog.
    void CloseBox() {
        RunCallback([this] {
            if (DG::Button* cancel = dialog.CancelButton()) {
                cancel->Click();
            } else {
                modal.Close();
            }
        });
    }

    void Pressed(int controlId) {
        DG::Item* item = ItemOfControl(controlId);
        RunCallback([this, item] {
            // An item destroyed while shown must not be reached through its old control.
            if (item != nullptr && IsItemOfDialog(item)) {
                if (auto* button = dynamic_cast<DG::ButtonItem*>(item)) {
                    button->Click();
                }
            }
        });
    }

    // A strip shows its background colour; a text stands on the colour of the strip under it,
    // as if it had no background of its own.
    LRESULT StaticColours(HDC dc, HWND control) {
        DG::Item* item = ItemOfControl(GetDlgCtrlID(control));
        if (item == nullptr) {
            return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_BTNFACE));
        }
        if (auto* colored = dynamic_cast<DG::ItemColorProperty*>(item)) {
            SetTextColor(dc, ToColorRef(colored->GetTextColor()));
        }
        SetBkMode(dc, TRANSPARENT);
        const DG::UserItem* strip = dynamic_cast<DG::UserItem*>(item);
        if (strip == nullptr) {
            strip = StripUnder(*item);
        }
        if (strip == nullptr || !strip->HasBackground()) {
            return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_BTNFACE));
        }
        return reinterpret_cast<LRESULT>(BrushOf(ToColorRef(strip->GetBackground())));
    }

    const DG::UserItem* StripUnder(const DG::Item& item) const {
        const DG::UserItem* under = nullptr;
        for (DG::Item* other : dialog.GetItems()) {
            auto* strip = dynamic_cast<DG::UserItem*>(other);
            if (strip != nullptr && strip->IsVisible() && strip->HasBackground() &&
                Contains(strip->GetRect(), item.GetRect())) {
                under = strip;
            }
        }
        return under;
    }

    HBRUSH BrushOf(COLORREF colour) {
        HBRUSH& brush = brushes[colour];
        if (brush == nullptr) {
            brush = CreateSolidBrush(colour);
        }
        return brush;
    }

    HFONT MakeFont(int pixels, int weight) {
        return CreateFontW(-pixels, 0, 0, 0, weight, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                           OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY,
                           DEFAULT_PITCH | FF_SWISS, L"Tahoma");
    }

    RECT ClientFrame() const {
        RECT frame{0, 0, std::max<int>(dialog.GetWidth(), 1), std::max<int>(dialog.GetHeight(), 1)};
        AdjustWindowRectEx(&frame, kStyle, FALSE, kExtendedStyle);
        return frame;
    }

    void CenterOnScreen() {
        RECT frame{};
        GetWindowRect(window, &frame);
        const int width = frame.right - frame.left;
        const int height = frame.bottom - frame.top;
        SetWindowPos(window, nullptr, std::max(0, (GetSystemMetrics(SM_CXSCREEN) - width) / 2),
                     std::max(0, (GetSystemMetrics(SM_CYSCREEN) - height) / 2), 0, 0,
                     SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    }

    void ApplyDialog() {
        SetWindowTextW(window, Wide(dialog.GetTitle()).c_str());
        HICON old = icon;
        icon = dialog.GetIcon().IsEmpty() ? nullptr : MakeIcon(dialog.GetIcon());
        SendMessageW(window, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon));
        SendMessageW(window, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon));
        if (old != nullptr) {
            DestroyIcon(old);
        }
        const RECT frame = ClientFrame();
        SetWindowPos(window, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top,
                     SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    }

    void AddControl(DG::Item& item) {
        const bool button = dynamic_cast<DG::ButtonItem*>(&item) != nullptr;
        const int id = nextControlId++;
        const DWORD style = WS_CHILD | (button ? BS_PUSHBUTTON : SS_LEFT | SS_NOPREFIX);
        const DG::Rect rect = item.GetRect();
        HWND control = CreateWindowExW(
            0, button ? L"BUTTON" : L"STATIC", L"", style, rect.GetLeft(), rect.GetTop(),
            rect.GetWidth(), rect.GetHeight(), window,
            reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
        // Strips go under everything else, whatever order they were made in.
        if (dynamic_cast<DG::UserItem*>(&item) != nullptr) {
            SetWindowPos(control, HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
        }
        controls[&item] = control;
        itemsById[id] = &item;
        ApplyItem(item, control);
    }

    void ApplyItem(DG::Item& item, HWND control) {
        const DG::Rect rect = item.GetRect();
        MoveWindow(control, rect.GetLeft(), rect.GetTop(), rect.GetWidth(), rect.GetHeight(), TRUE);
        if (auto* text = dynamic_cast<DG::ItemTextProperty*>(&item)) {
            SetWindowTextW(control, Wide(text->GetText()).c_str());
        }
        HFONT font = largeFont;
        if (auto* property = dynamic_cast<DG::ItemFontProperty*>(&item)) {
            const bool small = property->GetFontSize() < 0;
            const bool bold =
                (property->GetFontStyle() & DG::ItemFontProperty::kFontStyleBold) != 0;
            font = small ? (bold ? smallBoldFont : smallFont) : (bold ? largeBoldFont : largeFont);
        }
        SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
        ShowWindow(control, item.IsVisible() ? SW_SHOW : SW_HIDE);
        EnableWindow(control, item.IsEnabled() ? TRUE : FALSE);
        InvalidateRect(control, nullptr, TRUE);
    }

    DG::Item* ItemOfControl(int id) const {
        const auto found = itemsById.find(id);
        return found != itemsById.end() ? found->second : nullptr;
    }

    bool IsItemOfDialog(const DG::Item* item) const {
        const auto& items = dialog.GetItems();
        return std::find(items.begin(), items.end(), item) != items.end();
    }

    // Drops the controls of items destroyed since (an item does not tell the view it goes).
    void Prune() {
        for (auto it = controls.begin(); it != controls.end();) {
            if (!IsItemOfDialog(it->first)) {
                const int id = GetDlgCtrlID(it->second);
                itemsById.erase(id);
                // Later: we may be inside its own click.
                PostMessageW(it->second, WM_CLOSE, 0, 0);
                ShowWindow(it->second, SW_HIDE);
                it = controls.erase(it);
            } else {
                ++it;
            }
        }
    }

    hostkit::DialogModal& modal;
    DG::ModalDialog& dialog;
    DG::DialogView* previousView = nullptr;
    HWND window = nullptr;
    HICON icon = nullptr;
    HFONT largeFont = nullptr;
    HFONT largeBoldFont = nullptr;
    HFONT smallFont = nullptr;
    HFONT smallBoldFont = nullptr;
    std::map<COLORREF, HBRUSH> brushes;
    std::map<DG::Item*, HWND> controls;
    std::map<int, DG::Item*> itemsById;
    int nextControlId = kFirstControlId;
};

}  // namespace

std::unique_ptr<ShownWindow> ShowDialog(hostkit::DialogModal& modal) {
    return std::make_unique<DialogWindow>(modal);
}

}  // namespace presentation::gui
