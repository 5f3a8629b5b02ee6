// ObjectsMonitor.cpp: the monitor's life (its hidden message-only window, made with the monitor
// and torn down before it), the single instance, and the host events it answers.
#include "addon/ObjectsMonitor.h"

#include "HostOperations.h"
#include "MonitorWindow.h"
#include "catalogue/MessageCatalogue.h"
#include "common/HostErrors.h"
#include "common/OVException.h"
#include "net/HttpGet.h"

namespace monitor {

ObjectsMonitor* instance = nullptr;
HWND hiddenWindow = nullptr;
UINT_PTR lastTimer = 0;

void ThrowIfCommandFailed(int32_t status) {
    if (status != 0) {
        throw OVException(status, LookupHostError(status));
    }
}

}  // namespace monitor

ObjectsMonitor::ObjectsMonitor() : table(2.0, 0.75) {
    WNDCLASSEXA windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = &monitor::HandlerWindowProc;
    windowClass.lpszClassName = monitor::kWindowClass;
    RegisterClassExA(&windowClass);
    monitor::hiddenWindow = CreateWindowExA(0, monitor::kWindowClass, monitor::kWindowClass, 0, 0,
                                            0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    if (monitor::hiddenWindow == nullptr) {
        throw OVException(static_cast<int32_t>(GetLastError()),
                          "Failed to initialize handler window");
    }
}

ObjectsMonitor::~ObjectsMonitor() = default;

void ObjectsMonitor::OnProjectOpened() {
    // Stays set: the library event with index 0 that follows an opening scans once more.
    pendingFullScan = 1;
    CheckAllLibParts();
}

void ObjectsMonitor::CheckAllLibParts() {
    int32_t count = 0;
    if (HostGetLibPartCount(&count) != 0 || count < 1) {
        return;
    }
    bool monitoredFound = false;
    for (int32_t index = 1; index <= count; ++index) {
        VersionCheckState state;
        CheckLibPart(static_cast<uint32_t>(index), state);
        monitoredFound = monitoredFound || !state.version.IsEmpty();
    }
    if (monitoredFound) {
        // Each scan restarts the delay, so that a burst of scans leads to one presentation.
        KillTimer(monitor::hiddenWindow, monitor::kTimerId);
        monitor::lastTimer = SetTimer(monitor::hiddenWindow, monitor::kTimerId,
                                      monitor::kTimerDelayMilliseconds, nullptr);
    }
}

void ObjectsMonitor::OnLibPartChanged(uint32_t index) {
    if (index == 0) {
        if (pendingFullScan != 0) {
            CheckAllLibParts();
            pendingFullScan = 0;
        }
        return;
    }
    VersionCheckState state;
    if (CheckLibPart(index, state)) {
        return;
    }
    monitor::ThrowIfCommandFailed(
        HostCallUndoable(MessageString(kMessageCheckCommandTitle),
                         [this, index, &state] { return SyncAllElements(index, &state); }));
}

void ObjectsMonitor::ResetMonitor() {
    // The table means nothing in another project; an armed timer and an open summary stay.
    table.Clear();
    pendingFullScan = 0;
}

void ObjectsMonitor::OnElementEvent(int32_t type, API_Guid identifier) {
    if (type < ElementType::Window || type > ElementType::Lamp) {
        return;
    }
    SyncElement(identifier, 0, nullptr, true);
}

ObjectsMonitor& MonitorInstance() {
    if (monitor::instance == nullptr) {
        monitor::instance = new ObjectsMonitor();
    }
    return *monitor::instance;
}

void MonitorDestroy() {
    if (monitor::instance == nullptr) {
        return;
    }
    CloseHttpSession();
    KillTimer(monitor::hiddenWindow, monitor::kTimerId);
    DestroyWindow(monitor::hiddenWindow);
    monitor::hiddenWindow = nullptr;
    UnregisterClassA(monitor::kWindowClass, nullptr);
    delete monitor::instance;
    monitor::instance = nullptr;
}
