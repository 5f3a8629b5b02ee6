// ResourcePort_windows.cpp: a module's string lists from its "STR#" resources, found from any
// address inside it as the system finds a module's resources.
#include "ResourcePort.h"

#include <windows.h>

#include <cstring>

namespace hostkit::port {

namespace {

constexpr const wchar_t* StringListType = L"STR#";

// Entry after entry, each up to its terminator; a last entry without one ends with the data.
void ReadList(const char* data, size_t size, int32_t listId, StringLists& lists) {
    int32_t index = 1;
    for (size_t at = 0; at < size; ++index) {
        const void* end = std::memchr(data + at, '\0', size - at);
        const size_t length =
            end != nullptr ? static_cast<const char*>(end) - (data + at) : size - at;
        lists[{listId, index}] = std::string(data + at, length);
        at += length + 1;
    }
}

BOOL CALLBACK VisitList(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR found) {
    if (!IS_INTRESOURCE(name)) {
        return TRUE;  // lists are numbered
    }
    HRSRC resource = FindResourceW(module, name, type);
    HGLOBAL loaded = resource != nullptr ? LoadResource(module, resource) : nullptr;
    const void* data = loaded != nullptr ? LockResource(loaded) : nullptr;
    if (data != nullptr) {
        ReadList(static_cast<const char*>(data), SizeofResource(module, resource),
                 static_cast<int32_t>(reinterpret_cast<uintptr_t>(name)),
                 *reinterpret_cast<StringLists*>(found));
    }
    return TRUE;
}

}  // namespace

std::optional<StringLists> ReadModuleStringLists(const void* address) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCWSTR>(address), &module)) {
        return std::nullopt;
    }
    StringLists lists;
    if (!EnumResourceNamesW(module, StringListType, VisitList,
                            reinterpret_cast<LONG_PTR>(&lists))) {
        return std::nullopt;  // no list at all (ERROR_RESOURCE_TYPE_NOT_FOUND)
    }
    return lists;
}

}  // namespace hostkit::port
