// ModuleLifetime_windows.cpp: the module's load and unload steps, run by the system's loader
// through DllMain.
#include "AddOn.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) {
        wchar_t path[kModulePathCapacity] = {};
        GetModuleFileNameW(instance, path, kModulePathCapacity);
        OnModuleLoad(instance, reinterpret_cast<const char16_t*>(path));
    } else if (reason == DLL_PROCESS_DETACH) {
        OnModuleUnload();
    }
    return TRUE;
}
