// A DLL with the imports of the library, that does nothing.

#include <windows.h>

extern "C" const void* const BenchImports;
/// Keeps the imports from being left out.
extern "C" __declspec(dllexport) const void* GetBenchImports() {
    return &BenchImports;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD, void*) {
    return TRUE;
}
