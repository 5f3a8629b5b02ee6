// NoneBackend.cpp: the backend without a user: the system clock, and every modal window closes as
// soon as it opens (a message box acknowledged with OK, a dialog closed).
#include "Presentation.h"
#include "presentation/Backends.h"

#include <chrono>
#include <thread>

namespace presentation {

namespace {

class NoneBackend final : public PresentationBackend {
public:
    std::string Name() const override { return "none"; }

    uint64_t NowMilliseconds() override {
        // The steady clock, so that timers keep their intervals when the system time is set.
        return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                         std::chrono::steady_clock::now().time_since_epoch())
                                         .count());
    }

    bool Wait(std::optional<uint64_t> deadline) override {
        if (!deadline) {
            return false;  // no input ever comes
        }
        const uint64_t now = NowMilliseconds();
        if (*deadline > now) {
            std::this_thread::sleep_for(std::chrono::milliseconds(*deadline - now));
        }
        return true;
    }

    void ModalOpened(winsys::ModalWindow& window) override {
        // "ok" acknowledges a message box; a window that has no OK is closed by its close box.
        if (!ActOnWindow(window, ScriptAction{0, "ok", {}})) {
            window.Close();
        }
    }

    void ModalClosing(winsys::ModalWindow& /*window*/) override {}
};

}  // namespace

std::unique_ptr<winsys::UiBackend> MakeNoneBackend() { return std::make_unique<NoneBackend>(); }

}  // namespace presentation
