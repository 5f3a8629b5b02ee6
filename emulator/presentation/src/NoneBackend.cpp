// NoneBackend.cpp: the backend without a user: the system clock, and every modal window closes as
// soon as it opens (a message box acknowledged with OK, a dialog closed).
#include "Presentation.h"
#include "presentation/Backends.h"

namespace presentation {

namespace {

class NoneBackend final : public PresentationBackend {
public:
    std::string Name() const override { return "none"; }

    uint64_t NowMilliseconds() override { return winsys::SteadyMilliseconds(); }
    bool Wait(std::optional<uint64_t> deadline) override {
        return winsys::WaitWithoutInput(deadline);
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
