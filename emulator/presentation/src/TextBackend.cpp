// TextBackend.cpp: the terminal backend: a modal window is drawn as plain text (no escape codes,
// so that it reads the same in a pipe, a log or tmux) and answered by typing a line. The loop's
// timers keep firing while a window waits for input, as input is waited for with the time left
// to the next timer (on Windows also until the next message: PresentationPort.h).
#include "Presentation.h"
#include "PresentationPort.h"
#include "hostkit/DG.h"
#include "hostkit/DGModal.h"
#include "presentation/Backends.h"
#include "presentation/DialogRows.h"
#include "winsys/WindowSystem.h"

#include <algorithm>
#include <charconv>
#include <map>

namespace presentation {

namespace {

// A terminal cell stands for this many dialog pixels, so that items keep their columns.
constexpr int kPixelsPerColumn = 7;

// Code points, as a stand-in for the cells the text takes on the terminal.
size_t Columns(const std::string& text) {
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string Trimmed(const std::string& text) {
    const char* blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<int> ParseNumber(const std::string& text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// The number each button answers to: the cancel button 0, a row's update button its row.
std::map<const DG::Item*, int> ButtonNumbers(DG::ModalDialog& dialog) {
    std::map<const DG::Item*, int> numbers;
    if (DG::Button* cancel = dialog.CancelButton()) {
        numbers.emplace(cancel, 0);
    }
    // Rows are asked one by one, up to the last row an item stands in, or, in a dialog without
    // rows, up to the count of items.
    int rows = static_cast<int>(dialog.GetItems().size());
    for (const DG::Item* item : dialog.GetItems()) {
        rows = std::max(rows, static_cast<int>(item->GetRow()));
    }
    for (int row = 1; row <= rows; ++row) {
        if (DG::ButtonItem* button = RowButton(dialog, row)) {
            numbers.emplace(button, row);  // the first number a button gets is the one shown
        }
    }
    return numbers;
}

// One item as it reads on its line; empty when there is nothing to read.
std::string ItemText(const DG::Item& item, const std::map<const DG::Item*, int>& numbers) {
    const auto* textItem = dynamic_cast<const DG::ItemTextProperty*>(&item);
    if (const auto* button = dynamic_cast<const DG::ButtonItem*>(&item)) {
        const std::string label = textItem ? Utf8(textItem->GetText()) : std::string();
        const auto number = numbers.find(&item);
        if (number == numbers.end()) {
            return "[ " + label + " ]";  // shown, but no number reaches it
        }
        const std::string digits = std::to_string(number->second);
        // Round brackets: it cannot be pressed now (an item hidden is not drawn at all).
        return (button->IsEnabled() ? "[" + digits + "] " : "(" + digits + ") ") + label;
    }
    if (textItem == nullptr || textItem->GetText().IsEmpty()) {
        return {};
    }
    std::string text = Utf8(textItem->GetText());
    const auto* font = dynamic_cast<const DG::ItemFontProperty*>(&item);
    if (font != nullptr && (font->GetFontStyle() & DG::ItemFontProperty::kFontStyleBold) != 0) {
        text = "*" + text + "*";
    }
    return text;
}

struct Placed {
    DG::Rect rect;
    std::string text;
};

// The visible items grouped into lines: items whose vertical ranges overlap share a line, left
// to right; each placed at its column where the line leaves room for it.
std::string DialogText(DG::ModalDialog& dialog) {
    const std::string title = Utf8(dialog.GetTitle());
    std::string out = "\n" + title + "\n" + std::string(std::max<size_t>(Columns(title), 1), '=');
    out += "\n\n";

    const auto numbers = ButtonNumbers(dialog);
    std::vector<Placed> placed;
    for (const DG::Item* item : dialog.GetItems()) {
        if (!item->IsVisible()) {
            continue;
        }
        std::string text = ItemText(*item, numbers);
        if (!text.empty()) {
            placed.push_back({item->GetRect(), std::move(text)});
        }
    }
    // Stable, so that items at the same place keep their order of creation.
    std::stable_sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) {
        return a.rect.GetTop() < b.rect.GetTop();
    });

    size_t next = 0;
    while (next < placed.size()) {
        // A line grows downwards while the next item starts above its bottom; an empty
        // rectangle still takes one pixel, so that it overlaps what it stands in.
        int bottom = std::max<int>(placed[next].rect.GetBottom(), placed[next].rect.GetTop() + 1);
        size_t end = next + 1;
        while (end < placed.size() && placed[end].rect.GetTop() < bottom) {
            bottom = std::max<int>(
                bottom, std::max<int>(placed[end].rect.GetBottom(), placed[end].rect.GetTop() + 1));
            ++end;
        }
        std::stable_sort(
            placed.begin() + static_cast<std::ptrdiff_t>(next),
            placed.begin() + static_cast<std::ptrdiff_t>(end),
            [](const Placed& a, const Placed& b) { return a.rect.GetLeft() < b.rect.GetLeft(); });
        std::string line;
        size_t width = 0;
        for (size_t index = next; index < end; ++index) {
            const size_t column =
                static_cast<size_t>(std::max(0, placed[index].rect.GetLeft() / kPixelsPerColumn));
            // At least two spaces between items, so that two texts never run together.
            const size_t pad = index == next ? column : std::max(column, width + 2) - width;
            line.append(pad, ' ');
            line += placed[index].text;
            width += pad + Columns(placed[index].text);
        }
        out += line + "\n";
        next = end;
    }
    return out;
}

bool HasCancel(const winsys::MessageBoxModal& box) { return (box.Type() & 0x0F) == MB_OKCANCEL; }

std::string MessageBoxText(const winsys::MessageBoxModal& box) {
    std::string out = "\n== " + box.Title() + " ==\n" + box.Text() + "\n";
    out += HasCancel(box) ? "[1] OK  [2] Cancel\n" : "[Enter] OK\n";
    return out;
}

// Follows one dialog's changes, to redraw it once before the next prompt.
class ChangeView final : public DG::DialogView {
public:
    explicit ChangeView(bool& dirty) : dirty(dirty) {}
    void ItemChanged(DG::Item& /*item*/, DG::Item::Aspect /*aspect*/) override { dirty = true; }
    void DialogChanged() override { dirty = true; }

private:
    bool& dirty;
};

// A window the backend shows, with what it still owes the user before reading the next line.
struct Shown {
    winsys::ModalWindow* window = nullptr;
    DG::ModalDialog* dialog = nullptr;       // when it is a dialog
    winsys::MessageBoxModal* box = nullptr;  // when it is a message box
    DG::DialogView* previousView = nullptr;
    bool dirty = true;
    std::unique_ptr<ChangeView> view;
    bool prompt = true;
};

class TextBackend final : public PresentationBackend {
public:
    TextBackend(int inputFd, FILE* output) : inputFd(inputFd), output(output) {}

    std::string Name() const override { return "text"; }

    uint64_t NowMilliseconds() override { return winsys::SteadyMilliseconds(); }

    bool Wait(std::optional<uint64_t> deadline) override {
        Shown* top = Top();
        if (top == nullptr) {
            // No window: input belongs to no one and stays unread until one opens.
            return winsys::WaitWithoutInput(deadline);
        }
        Show(*top);
        if (std::optional<std::string> line = TakeLine()) {
            Handle(*top, Trimmed(*line));
            return true;
        }
        if (inputEnded) {
            Write("\n");
            top->window->Close();
            // False lets the loop give up on a window that refuses to close.
            return !top->window->IsOpen();
        }
        if (deadline && *deadline <= NowMilliseconds()) {
            return true;
        }
        if (!port::ReadInput(inputFd, deadline, buffer)) {
            inputEnded = true;
        }
        if (std::optional<std::string> line = TakeLine()) {
            Handle(*top, Trimmed(*line));
        }
        return true;
    }

    void ModalOpened(winsys::ModalWindow& window) override {
        // Held by pointer: a press may open a window above while its own entry is in use.
        auto shown = std::make_unique<Shown>();
        shown->window = &window;
        if (auto* dialogWindow = dynamic_cast<hostkit::DialogModal*>(&window)) {
            shown->dialog = &dialogWindow->Dialog();
            shown->view = std::make_unique<ChangeView>(shown->dirty);
            shown->previousView = shown->dialog->GetView();
            shown->dialog->SetView(shown->view.get());
        } else {
            shown->box = dynamic_cast<winsys::MessageBoxModal*>(&window);
        }
        // Drawn at the next wait, so that what happens before then is drawn once.
        windows.push_back(std::move(shown));
    }

    void ModalClosing(winsys::ModalWindow& window) override {
        const auto found =
            std::find_if(windows.begin(), windows.end(),
                         [&window](const auto& shown) { return shown->window == &window; });
        if (found == windows.end()) {
            return;
        }
        const Shown& shown = **found;
        if (shown.dialog != nullptr && shown.dialog->GetView() == shown.view.get()) {
            shown.dialog->SetView(shown.previousView);
        }
        windows.erase(found);
        // The window below shows again, as it is now.
        if (!windows.empty()) {
            windows.back()->dirty = true;
        }
    }

private:
    Shown* Top() {
        winsys::ModalWindow* top = winsys::MainLoop::Instance().TopModal();
        if (top == nullptr || windows.empty() || windows.back()->window != top) {
            return nullptr;
        }
        return windows.back().get();
    }

    // Draws what changed, then the prompt, once each.
    void Show(Shown& shown) {
        if (shown.dirty) {
            shown.dirty = false;
            shown.prompt = true;
            if (shown.dialog != nullptr) {
                Write(DialogText(*shown.dialog));
            } else if (shown.box != nullptr) {
                Write(MessageBoxText(*shown.box));
            }
        }
        if (shown.prompt) {
            shown.prompt = false;
            if (shown.box != nullptr) {
                Write(HasCancel(*shown.box) ? "Choose 1 or 2: " : "Press Enter: ");
            } else {
                Write("Choose a button number (0 closes): ");
            }
        }
    }

    void Handle(Shown& shown, const std::string& line) {
        if (shown.box != nullptr) {
            AnswerBox(shown, line);
        } else if (shown.dialog != nullptr) {
            PressButton(shown, line);
        } else if (line == "0") {
            shown.window->Close();  // a window of another kind: only its close box
        } else {
            Hint(shown, "Type 0 to close.");
        }
    }

    void AnswerBox(Shown& shown, const std::string& line) {
        if (line.empty() || line == "1") {
            shown.box->Answer(IDOK);
        } else if (line == "2" && HasCancel(*shown.box)) {
            shown.box->Answer(IDCANCEL);
        } else {
            Hint(shown,
                 HasCancel(*shown.box) ? "Type 1 for OK or 2 for Cancel." : "Press Enter for OK.");
        }
    }

    void PressButton(Shown& shown, const std::string& line) {
        const std::optional<int> number = ParseNumber(line);
        if (!number || *number < 0) {
            Hint(shown, "Type the number of a button, 0 to close.");
            return;
        }
        DG::ModalDialog& dialog = *shown.dialog;
        // The script's verbs, so that a press is traced as a script's would be.
        ScriptAction action{0, "close", {}};
        if (*number > 0) {
            DG::ButtonItem* button = RowButton(dialog, *number);
            if (button == nullptr) {
                Hint(shown, "There is no button " + std::to_string(*number) + ".");
                return;
            }
            action = ScriptAction{0, "click", {std::to_string(*number)}};
        }
        if (!ActOnWindow(*shown.window, action)) {
            Hint(shown, "Button " + std::to_string(*number) + " cannot be pressed now.");
            return;
        }
        // The press may have opened and closed other windows: the answer is asked again once.
        if (!windows.empty() && windows.back().get() == &shown) {
            shown.prompt = true;
        }
    }

    void Hint(Shown& shown, const std::string& text) {
        Write(text + "\n");
        shown.prompt = true;
    }

    // The next whole line of input, without its end; at the end of input, what is left.
    std::optional<std::string> TakeLine() {
        const size_t end = buffer.find('\n');
        if (end != std::string::npos) {
            std::string line = buffer.substr(0, end);
            buffer.erase(0, end + 1);
            return line;
        }
        if (inputEnded && !buffer.empty()) {
            std::string line = std::move(buffer);
            buffer.clear();
            return line;
        }
        return std::nullopt;
    }

    void Write(const std::string& text) {
        std::fwrite(text.data(), 1, text.size(), output);
        std::fflush(output);  // the prompt must show before the wait for an answer
    }

    int inputFd;
    FILE* output;
    std::string buffer;
    bool inputEnded = false;
    std::vector<std::unique_ptr<Shown>> windows;
};

}  // namespace

std::unique_ptr<winsys::UiBackend> MakeTextBackend(int inputFd, FILE* output) {
    return std::make_unique<TextBackend>(inputFd, output);
}

}  // namespace presentation
