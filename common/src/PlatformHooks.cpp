// PlatformHooks.cpp: the process's one set of platform hooks.
#include "common/PlatformHooks.h"

PlatformHooks& GetPlatformHooks() {
    // Constant-initialised and never destroyed, so usable at any time of the process's life.
    static constinit PlatformHooks hooks;
    return hooks;
}
