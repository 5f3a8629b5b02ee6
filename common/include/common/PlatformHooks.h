// PlatformHooks.h: the places where a host or a test stands in for the machine.
//
// Each hook is a plain function pointer, usable from the first static constructor to the last
// destructor. A null hook means the machine's own behaviour: the system clock, a message box
// written to standard error, debug output written to standard error.
#pragma once

#include "common/WideString.h"

#include <cstdint>

// Message box types, as the host's window system numbers them.
constexpr uint32_t kMessageBoxOk = 0x00;
constexpr uint32_t kMessageBoxIconWarning = 0x30;
constexpr uint32_t kMessageBoxIconInformation = 0x40;

struct PlatformHooks {
    // Microseconds since 1 January 1601 UTC.
    uint64_t (*clock)() = nullptr;
    // A blocking alert with one OK button; `type` is a kMessageBox value.
    void (*messageBox)(void* owner, const WString& caption, const WString& text,
                       uint32_t type) = nullptr;
    // The debug channel: one line, with its line end.
    void (*debugOutput)(const WString& text) = nullptr;
};

// The process's hooks; set them before the runtime is used, or in a test around its checks.
PlatformHooks& GetPlatformHooks();
