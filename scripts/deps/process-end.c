/* The entry point of log4cxx.dll, in front of the runtime's own.
 *
 * When a process ends, the system first ends its other threads, wherever they are, and then tells every DLL. What one of
 * them had locked stays locked: static objects that take a lock in their destructors, as log4cxx's do, then wait for
 * ever, and the process never goes. So at that moment everything is left as it is; the system takes it back. Unloaded
 * while the process goes on, the DLL cleans up as ever. */
#include <windows.h>

BOOL WINAPI DllMainCRTStartup(HANDLE module, DWORD reason, LPVOID reserved);

BOOL WINAPI KeepAtProcessEnd(HANDLE module, DWORD reason, LPVOID reserved) {
    /* `reserved` tells the end of the process from an unload. */
    if (reason == DLL_PROCESS_DETACH && reserved != NULL)
        return TRUE;
    return DllMainCRTStartup(module, reason, reserved);
}
