// ProgramAsModule_windows.cpp: a test program that links the add-on's shell is the module itself,
// and the system never calls a program's DllMain: the program calls it at its start and end as
// the loader calls a module's. (On Linux the module's constructor runs in a program too.)
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace {

struct ProgramAsModule {
    ProgramAsModule() { DllMain(GetModuleHandleW(nullptr), DLL_PROCESS_ATTACH, nullptr); }
    ~ProgramAsModule() { DllMain(GetModuleHandleW(nullptr), DLL_PROCESS_DETACH, nullptr); }
};

const ProgramAsModule programAsModule;

}  // namespace
