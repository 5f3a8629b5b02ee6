// AddOnModule.h: an add-on module loaded the way the host loads one.
#pragma once

#include "hostkit/HostABI.h"

#include <string>

namespace orvhost {

class AddOnModule {
public:
    // Loads the module (`path` in UTF-8) and finds the two exports; throws std::runtime_error
    // naming the file and, with the system's reason, what failed.
    explicit AddOnModule(const std::string& path);
    ~AddOnModule();  // unloads it
    AddOnModule(const AddOnModule&) = delete;
    AddOnModule& operator=(const AddOnModule&) = delete;

    // The host's order: GetExportedFuncAddrs, SetImportedFuncAddrs, AddOnDescribe,
    // AddOnRegister, AddOnStart. Throws std::runtime_error when the module declines (describe
    // answers 0) or a step fails; each step is traced.
    void Start(const HostFunctionTable& table, API_Token token);
    // AddOnStop, when Start got as far as AddOnStart.
    void Stop();

    const std::string& Name() const { return name; }
    const std::string& Description() const { return description; }

private:
    std::string path;
    void* handle = nullptr;
    ExportRecord exports{};
    bool started = false;
    std::string name;
    std::string description;
};

}  // namespace orvhost
