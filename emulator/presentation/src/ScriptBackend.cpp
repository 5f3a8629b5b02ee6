// ScriptBackend.cpp: the backend of tests and batch runs: a clock that starts at 0 ms, and a list
// of actions standing in for the user, on the dialogs' items on Linux and on their real windows
// on Windows (PresentationPort.h). Time passes while the script waits or when
// nothing is left to do but an armed timer: on Linux a virtual clock moves only then, on Windows
// the system's time passes (PresentationPort.h).
#include "Presentation.h"
#include "PresentationPort.h"
#include "presentation/Backends.h"

#include <charconv>
#include <deque>
#include <limits>

namespace presentation {

namespace {

// The action as written.
std::string ActionText(const ScriptAction& action) {
    std::string text = action.verb;
    for (const std::string& word : action.words) {
        text += ' ';
        text += word;
    }
    return text;
}

// The same in double quotes, for messages.
std::string QuotedAction(const ScriptAction& action) {
    std::string text = ActionText(action);
    text.insert(text.begin(), '"');
    return text + '"';
}

std::optional<uint64_t> ParseMilliseconds(const std::vector<std::string>& words) {
    if (words.size() != 1) {
        return std::nullopt;
    }
    const std::string& word = words.front();
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size()) {
        return std::nullopt;
    }
    return value;
}

class ScriptBackend final : public PresentationBackend {
public:
    ScriptBackend(std::vector<ScriptAction> actions,
                  std::function<void(const ScriptAction&)> emulatorVerb)
        : actions(actions.begin(), actions.end()), emulatorVerb(std::move(emulatorVerb)),
          startMicroseconds1601(winsys::SystemMicroseconds1601()) {}

    std::string Name() const override { return "script"; }

    uint64_t NowMilliseconds() override { return clock.Now(); }

    uint64_t NowMicroseconds1601() override { return startMicroseconds1601 + clock.Now() * 1000; }

    bool Wait(std::optional<uint64_t> deadline) override {
        // A timer already due fires before the user acts, as at the same instant.
        if (deadline && *deadline <= clock.Now()) {
            return true;
        }
        if (waitEnd) {
            AdvanceWait(deadline);
            return true;
        }
        if (actions.empty()) {
            if (!deadline) {
                return false;
            }
            clock.PassUntil(*deadline);
            return true;
        }
        const ScriptAction action = std::move(actions.front());
        actions.pop_front();
        Perform(action, deadline);
        winsys::MainLoop::Instance().NoteActivity();
        return true;
    }

    void ModalOpened(winsys::ModalWindow& window) override {
        if (auto* dialog = dynamic_cast<hostkit::DialogModal*>(&window)) {
            dialogs.Opened(*dialog);
        }
    }

    void ModalClosing(winsys::ModalWindow& window) override { dialogs.Closing(window); }

private:
    // Lets time pass to the end of the wait, or to the deadline when that comes first.
    void AdvanceWait(std::optional<uint64_t> deadline) {
        clock.PassUntil(deadline ? std::min(*waitEnd, *deadline) : *waitEnd);
        if (clock.Now() >= *waitEnd) {
            waitEnd.reset();
        }
    }

    void Perform(const ScriptAction& action, std::optional<uint64_t> deadline) {
        Json::Value trace(Json::objectValue);
        trace["kind"] = "script";
        trace["line"] = action.line;
        trace["action"] = ActionText(action);
        winsys::MainLoop::Instance().Trace(JsonLine(trace));

        if (action.verb == "wait") {
            const auto milliseconds = ParseMilliseconds(action.words);
            const uint64_t now = clock.Now();
            if (!milliseconds || *milliseconds > std::numeric_limits<uint64_t>::max() - now) {
                ReportScriptError(action.line, "wait needs one number of milliseconds");
                return;
            }
            waitEnd = now + *milliseconds;
            AdvanceWait(deadline);
            return;
        }
        if (action.verb == "click" || action.verb == "close" || action.verb == "ok") {
            winsys::ModalWindow* window = winsys::MainLoop::Instance().TopModal();
            if (window == nullptr) {
                ReportScriptError(action.line, QuotedAction(action) + " with no window open");
            } else if (!ActOnWindow(*window, action, dialogs)) {
                ReportScriptError(action.line,
                                  QuotedAction(action) + " does not apply to the open window");
            }
            return;
        }
        if (!emulatorVerb) {
            ReportScriptError(action.line, "unknown verb \"" + action.verb + "\"");
            return;
        }
        emulatorVerb(action);
    }

    std::deque<ScriptAction> actions;
    std::function<void(const ScriptAction&)> emulatorVerb;
    uint64_t startMicroseconds1601 = 0;
    port::ScriptClock clock;
    port::ScriptDialogs dialogs;
    std::optional<uint64_t> waitEnd;
};

}  // namespace

std::unique_ptr<winsys::UiBackend>
MakeScriptBackend(std::vector<ScriptAction> actions,
                  std::function<void(const ScriptAction&)> emulatorVerb) {
    return std::make_unique<ScriptBackend>(std::move(actions), std::move(emulatorVerb));
}

}  // namespace presentation
