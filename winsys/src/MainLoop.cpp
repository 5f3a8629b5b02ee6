// MainLoop.cpp: the window system's main loop: fires due timers, runs nested loops for modal
// windows, and leaves input, the passing of time and the showing of windows to the backend.
#include "winsys/MainLoop.h"

#include "LoopPort.h"
#include "LoopSupport.h"
#include "winsys/WindowSystem.h"

#include <algorithm>
#include <chrono>
#include <iostream>

namespace winsys {

namespace detail {

std::string JsonLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

}  // namespace detail

uint64_t SystemMicroseconds1601() {
    // From 1601-01-01 to the Unix epoch of the system clock.
    constexpr uint64_t EpochDifferenceSeconds = 11644473600ULL;
    const auto sinceUnixEpoch = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    return EpochDifferenceSeconds * 1000000ULL + static_cast<uint64_t>(sinceUnixEpoch.count());
}

uint64_t SteadyMilliseconds() {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
}

bool WaitWithoutInput(std::optional<uint64_t> deadline) { return port::WaitWithoutInput(deadline); }

namespace {

// The backend while none is set: nobody is there. The steady clock, so that timers keep their
// intervals when the system time is set; a message box is acknowledged and any other window
// closed by its close box as soon as it opens.
class UnattendedBackend final : public UiBackend {
public:
    std::string Name() const override { return "unattended"; }

    uint64_t NowMilliseconds() override { return SteadyMilliseconds(); }
    bool Wait(std::optional<uint64_t> deadline) override { return WaitWithoutInput(deadline); }

    void ModalOpened(ModalWindow& window) override {
        if (auto* box = dynamic_cast<MessageBoxModal*>(&window)) {
            box->Answer(IDOK);
        } else if (!window.PressCloseBox()) {
            window.Close();
        }
    }

    void ModalClosing(ModalWindow& /*window*/) override {}
};

// Pops a modal window however its nested loop ends, an exception included, so that the stack
// never keeps a window that no longer exists.
class ModalScope {
public:
    ModalScope(std::vector<ModalWindow*>& modals, UiBackend& backend, ModalWindow& window)
        : modals(modals), backend(backend), window(window) {
        modals.push_back(&window);
        backend.ModalOpened(window);
    }
    ~ModalScope() {
        try {
            backend.ModalClosing(window);
        } catch (...) {
            // A backend failing to take a window down must not stop the loop that goes on.
        }
        modals.pop_back();
    }
    ModalScope(const ModalScope&) = delete;
    ModalScope& operator=(const ModalScope&) = delete;

private:
    std::vector<ModalWindow*>& modals;
    UiBackend& backend;
    ModalWindow& window;
};

void TraceException(MainLoop& loop, const std::string& what) {
    Json::Value trace(Json::objectValue);
    trace["kind"] = "exception";
    trace["where"] = "timer";
    trace["what"] = what;
    loop.Trace(detail::JsonLine(trace));
    std::cerr << "orvhost: an exception left a timer handler: " << what << std::endl;
}

}  // namespace

uint64_t UiBackend::NowMicroseconds1601() { return SystemMicroseconds1601(); }

MainLoop& MainLoop::Instance() {
    // Never destroyed: a module unloaded at exit calls in after static objects are gone.
    static MainLoop* loop = new MainLoop;
    return *loop;
}

MainLoop::MainLoop() : backend(std::make_unique<UnattendedBackend>()) {
    port::WatchSystemModals(*this);
}

void MainLoop::SetBackend(std::unique_ptr<UiBackend> newBackend) {
    backend = newBackend ? std::move(newBackend) : std::make_unique<UnattendedBackend>();
}

UiBackend& MainLoop::Backend() { return *backend; }

void MainLoop::SetTraceSink(std::function<void(const std::string& jsonLine)> sink) {
    traceSink = std::move(sink);
}

void MainLoop::Trace(const std::string& jsonLine) {
    if (traceSink) {
        traceSink(jsonLine);
    }
}

uint64_t MainLoop::NowMilliseconds() { return backend->NowMilliseconds(); }

uint64_t MainLoop::NowMicroseconds1601() { return backend->NowMicroseconds1601(); }

void MainLoop::FireDueTimers() {
    if (port::DeliverDue(NowMilliseconds(),
                         [this](const std::string& what) { TraceException(*this, what); })) {
        NoteActivity();
    }
}

void MainLoop::NoteActivity() { port::NoteActivity(NowMilliseconds()); }

void MainLoop::Run() {
    NoteActivity();
    for (;;) {
        FireDueTimers();
        if (!backend->Wait(port::NextDue(NowMilliseconds())) && !port::NextDue(NowMilliseconds())) {
            return;
        }
    }
}

bool MainLoop::WaitInModal(ModalWindow& window) {
    if (backend->Wait(port::NextDue(NowMilliseconds())) || !window.IsOpen()) {
        return true;
    }
    Json::Value trace(Json::objectValue);
    trace["kind"] = "script";
    trace["note"] = "script ended with a window open: closed";
    Trace(detail::JsonLine(trace));
    window.Close();
    return false;
}

void MainLoop::RunModal(ModalWindow& window) {
    ModalScope scope(modals, *backend, window);
    while (window.IsOpen()) {
        FireDueTimers();
        if (!window.IsOpen()) {
            break;
        }
        if (!WaitInModal(window) && window.IsOpen()) {
            break;  // a window that cannot close must not hold the loop for ever
        }
    }
}

void MainLoop::BeginSystemModal(ModalWindow& window) {
    modals.push_back(&window);
    backend->ModalOpened(window);
}

void MainLoop::SystemModalTurn(ModalWindow& window) {
    if (window.IsOpen()) {
        WaitInModal(window);
    }
}

void MainLoop::EndSystemModal(ModalWindow& window) {
    try {
        backend->ModalClosing(window);
    } catch (...) {
        // As for our own modal windows: the loop goes on.
    }
    const auto it = std::find(modals.begin(), modals.end(), &window);
    if (it != modals.end()) {
        modals.erase(it);
    }
}

ModalWindow* MainLoop::TopModal() { return modals.empty() ? nullptr : modals.back(); }

}  // namespace winsys
