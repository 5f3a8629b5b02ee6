// Resources.cpp: the caches of modules' resource string lists, which the platform reads from the
// module's image (ResourcePort.h), and the host's debug output.
#include "hostkit/Resources.h"

#include "ResourcePort.h"
#include "charcode/CharCode.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

namespace {

using hostkit::port::StringLists;

struct Caches {
    std::mutex mutex;
    std::map<GSResModule, StringLists> byHandle;
    GSResModule nextHandle = 0;
};

Caches& TheCaches() {
    // Never destroyed: a module unloaded at exit calls in after static objects are gone.
    static Caches* caches = new Caches;
    return *caches;
}

}  // namespace

GSResModule RSInitModuleImageCache(const void* module) {
    if (module == nullptr) {
        return kNoResourceModule;
    }
    std::optional<StringLists> lists = hostkit::port::ReadModuleStringLists(module);
    if (!lists) {
        return kNoResourceModule;
    }
    Caches& caches = TheCaches();
    const std::lock_guard<std::mutex> lock(caches.mutex);
    const GSResModule handle = caches.nextHandle++;
    caches.byHandle.emplace(handle, std::move(*lists));
    return handle;
}

void RSRemoveModuleImageCache(GSResModule cache) {
    Caches& caches = TheCaches();
    const std::lock_guard<std::mutex> lock(caches.mutex);
    caches.byHandle.erase(cache);
}

bool RSGetIndString_ParamAdapter(char* buffer, int32_t listId, int32_t index, GSResModule cache) {
    if (buffer == nullptr) {
        return false;
    }
    buffer[0] = '\0';
    std::string text;
    {
        Caches& caches = TheCaches();
        const std::lock_guard<std::mutex> lock(caches.mutex);
        const auto lists = caches.byHandle.find(cache);
        if (lists == caches.byHandle.end()) {
            return false;
        }
        const auto entry = lists->second.find({listId, index});
        if (entry == lists->second.end()) {
            return false;
        }
        text = charcode::Utf16ToCp1250(charcode::Utf8ToUtf16(entry->second));
    }
    const std::size_t length = std::min<std::size_t>(text.size(), kResourceStringCapacity - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return true;
}

void DBPrintf(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}
