// ModuleLifetime_linux.cpp: the module's load and unload steps, run by the dynamic loader.
#include "AddOn.h"

#include <dlfcn.h>

namespace {

__attribute__((constructor)) void OnLoad() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&OnLoad), &info) == 0) {
        OnModuleLoad(nullptr, nullptr);
        return;
    }
    const GS::UniString path(info.dli_fname != nullptr ? info.dli_fname : "", CC_UTF8);
    OnModuleLoad(info.dli_fbase, path.ToUStr().Get());
}

__attribute__((destructor)) void OnUnload() { OnModuleUnload(); }

}  // namespace
