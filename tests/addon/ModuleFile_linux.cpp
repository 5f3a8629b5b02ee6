// ModuleFile_linux.cpp: ModuleFile.h over the dynamic loader, the exports as nm lists them.
#include "ModuleFile.h"
#include "TestFiles.h"

#include <dlfcn.h>
#include <link.h>
#include <sstream>

namespace modulefile {

void* Load(const std::string& path, std::string* error) {
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        *error = dlerror();
    }
    return module;
}

void* Function(void* module, const char* name) { return dlsym(module, name); }

void Unload(void* module) { dlclose(module); }

std::string LoadedPath(void* module) {
    link_map* map = nullptr;
    return dlinfo(module, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "";
}

std::set<std::string> ExportedNames(const std::string& path, std::string* error) {
    std::string output;
    if (testfiles::RunCommand("nm -D --defined-only " + testfiles::Quote(path), &output) != 0) {
        *error = output;
        return {};
    }
    std::set<std::string> names;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        // Versioned names are the runtime's, not the module's own.
        const std::string name = line.substr(line.rfind(' ') + 1);
        if (name.find('@') == std::string::npos) {
            names.insert(name);
        }
    }
    return names;
}

}  // namespace modulefile
