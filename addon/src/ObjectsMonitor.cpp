// ObjectsMonitor.cpp: the monitor's life: its hidden message-only window, made with the monitor
// and torn down before it, and the single instance.
//
// The version check and the writing of states stand behind the four event operations; until
// they arrive the operations accept their events and do nothing with them.
#include "addon/ObjectsMonitor.h"

#include "common/OVException.h"
#include "net/HttpGet.h"

namespace {

constexpr const char* kWindowClass = "ObjectsMonitor";
constexpr UINT_PTR kTimerId = 1;

ObjectsMonitor* instance = nullptr;
HWND hiddenWindow = nullptr;

LRESULT HandlerWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace

ObjectsMonitor::ObjectsMonitor() : table(2.0, 0.75) {
    WNDCLASSEXA windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = &HandlerWindowProc;
    windowClass.lpszClassName = kWindowClass;
    RegisterClassExA(&windowClass);
    hiddenWindow = CreateWindowExA(0, kWindowClass, kWindowClass, 0, 0, 0, 0, 0, HWND_MESSAGE,
                                   nullptr, nullptr, nullptr);
    if (hiddenWindow == nullptr) {
        throw OVException(static_cast<int32_t>(GetLastError()),
                          "Failed to initialize handler window");
    }
}

ObjectsMonitor::~ObjectsMonitor() = default;

void ObjectsMonitor::OnProjectOpened() {}

void ObjectsMonitor::ResetMonitor() {}

void ObjectsMonitor::OnLibPartChanged(uint32_t) {}

void ObjectsMonitor::OnElementEvent(int32_t, API_Guid) {}

ObjectsMonitor& MonitorInstance() {
    if (instance == nullptr) {
        instance = new ObjectsMonitor();
    }
    return *instance;
}

void MonitorDestroy() {
    if (instance == nullptr) {
        return;
    }
    CloseHttpSession();
    KillTimer(hiddenWindow, kTimerId);
    DestroyWindow(hiddenWindow);
    hiddenWindow = nullptr;
    UnregisterClassA(kWindowClass, nullptr);
    delete instance;
    instance = nullptr;
}
