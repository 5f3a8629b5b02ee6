// AddOn.h: the add-on's process-wide values, each with one writer (AddOnEntry.cpp) and defined
// beside the host operations that read them, and the entry functions and event handlers it hands
// to the host.
#pragma once

#include "hostkit/HostABI.h"
#include "hostkit/Resources.h"
#include "hostkit/UniString.h"

#include <cstdint>

// The host's function table, copied by SetImportedFuncAddrs.
extern HostFunctionTable HostTable;
// 0 at load, 1 once the table is copied; the entry functions' guard.
extern uint8_t HostTableLoaded;
// The host's token, from AddOnStart to AddOnStop; first argument of every host operation.
extern API_Token HostToken;
// The add-on's name, title of its message boxes.
extern GS::UniString AddOnName;

// Kept at load: the module's base address, its file's path, and its resource cache.
constexpr int kModulePathCapacity = 260;
extern const void* ModuleHandle;
extern char16_t ModulePath[kModulePathCapacity];
extern GSResModule ResourceCache;

// The string list of the add-on's name (entry 1) and description (entry 2).
constexpr int32_t kAddOnStringsList = 32000;
// Every project event ProjectEventHandler routes: 0x1, 0x2, 0x4, 0x20 and 0x200000.
constexpr int32_t kProjectEventMask = 0x00200027;

// The module's load and unload steps, which the platform's loader calls (ModuleLifetime_*.cpp)
// with the module's handle and its file's path, cut to the capacity.
void OnModuleLoad(const void* handle, const char16_t* path);
void OnModuleUnload();

int32_t AddOnDescribe(EnvironmentRecord* environment);
int32_t AddOnRegister(void* unused);
int32_t AddOnStart(API_Token token);
int32_t AddOnStop();

int32_t ProjectEventHandler(int32_t eventNumber, uint32_t parameter);
int32_t ElementEventHandler(const ElementEventRecord* event);

extern "C" {
int32_t GetExportedFuncAddrs(ExportRecord* record);
int32_t SetImportedFuncAddrs(const void* table);
}
