// ModuleFile_windows.cpp: ModuleFile.h over the system's loader, the exports read from the file's
// export directory.
#include "ModuleFile.h"
#include "TestFiles.h"

#include <windows.h>
// After <windows.h>, which it needs.
#include <imagehlp.h>

namespace modulefile {

namespace {

std::wstring WidePath(const std::string& path) {
    const std::u16string wide = testfiles::Wide(path);
    return std::wstring(wide.begin(), wide.end());
}

}  // namespace

void* Load(const std::string& path, std::string* error) {
    const HMODULE module = LoadLibraryW(WidePath(path).c_str());
    if (module == nullptr) {
        *error = "LoadLibraryW failed with " + std::to_string(GetLastError());
    }
    return module;
}

void* Function(void* module, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void Unload(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

std::string LoadedPath(void* module) {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(static_cast<HMODULE>(module), path, MAX_PATH);
    return testfiles::Narrow(std::u16string(path, path + length));
}

std::set<std::string> ExportedNames(const std::string& path, std::string* error) {
    // Mapped as an image, not loaded: nothing of the module runs.
    LOADED_IMAGE image{};
    if (!MapAndLoad(path.c_str(), nullptr, &image, TRUE, TRUE)) {
        *error = "MapAndLoad failed with " + std::to_string(GetLastError());
        return {};
    }
    std::set<std::string> names;
    ULONG size = 0;
    const auto* directory = static_cast<const IMAGE_EXPORT_DIRECTORY*>(
        ImageDirectoryEntryToData(image.MappedAddress, FALSE, IMAGE_DIRECTORY_ENTRY_EXPORT, &size));
    if (directory == nullptr) {
        *error = "no export directory";
    } else {
        const auto at = [&image](DWORD address) {
            return ImageRvaToVa(image.FileHeader, image.MappedAddress, address, nullptr);
        };
        const auto* nameAddresses = static_cast<const DWORD*>(at(directory->AddressOfNames));
        for (DWORD index = 0; index < directory->NumberOfNames; ++index) {
            names.insert(static_cast<const char*>(at(nameAddresses[index])));
        }
    }
    UnMapAndLoad(&image);
    return names;
}

}  // namespace modulefile
