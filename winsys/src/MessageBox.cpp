// MessageBox.cpp: MessageBoxW as a modal window on the main loop. The backend shows it (or not)
// and answers it; the trace records every box shown.
#include "LoopSupport.h"
#include "charcode/CharCode.h"
#include "winsys/MainLoop.h"
#include "winsys/WindowSystem.h"

namespace winsys {

namespace {

class MessageBoxWindow final : public MessageBoxModal {
public:
    MessageBoxWindow(std::string title, std::string text, UINT type)
        : title(std::move(title)), text(std::move(text)), type(type) {}

    bool IsOpen() const override { return open; }

    // The close box answers Cancel where there is a Cancel button, else OK, as on Windows.
    bool PressCloseBox() override {
        if (!open) {
            return false;
        }
        Answer(HasCancel() ? IDCANCEL : IDOK);
        return true;
    }

    void Close() override { Answer(HasCancel() ? IDCANCEL : IDOK); }

    std::string Title() const override { return title; }
    std::string Text() const override { return text; }
    uint32_t Type() const override { return type; }

    void Answer(int32_t value) override {
        answer = value == IDCANCEL && HasCancel() ? IDCANCEL : IDOK;
        open = false;
    }

    int32_t Answered() const { return answer; }

private:
    bool HasCancel() const { return (type & 0x0F) == MB_OKCANCEL; }

    std::string title;
    std::string text;
    UINT type;
    bool open = true;
    int32_t answer = IDOK;
};

}  // namespace

}  // namespace winsys

int32_t MessageBoxW(HWND /*owner*/, const char16_t* text, const char16_t* caption, UINT type) {
    using namespace winsys;
    // Windows shows "Error" when the caption is null.
    std::string title = caption != nullptr ? charcode::Utf16ToUtf8(caption) : std::string("Error");
    std::string body = text != nullptr ? charcode::Utf16ToUtf8(text) : std::string();

    Json::Value trace(Json::objectValue);
    trace["kind"] = "messagebox";
    trace["title"] = title;
    trace["text"] = body;
    trace["type"] = type;
    MainLoop& loop = MainLoop::Instance();
    loop.Trace(detail::JsonLine(trace));

    MessageBoxWindow window(std::move(title), std::move(body), type);
    loop.RunModal(window);
    return window.Answered();
}
