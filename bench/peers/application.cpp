// An application to protect: application EVENT WINDOWS PARENT shows so many windows, says that it is there, and waits
// for the event that ends it, or for the end of the program that wanted it.

#include <windows.h>

#include <cstdlib>
#include <string>

int wmain(int count, wchar_t** values) {
    if (count < 4)
        return EXIT_FAILURE;
    const HANDLE ends[] = {OpenEventW(SYNCHRONIZE, FALSE, values[1]),
                           OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(_wtoi(values[3])))};
    const HANDLE ready = OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, (std::wstring(values[1]) + L"-ready").c_str());
    for (int i = _wtoi(values[2]); i > 0; --i) {
        const std::wstring title =
            L"A letter of " + std::to_wstring(GetCurrentProcessId()) + L", " + std::to_wstring(i);
        CreateWindowExW(0, L"STATIC", title.c_str(), WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 100, 100, nullptr, nullptr,
                        nullptr, nullptr);
    }
    ReleaseSemaphore(ready, 1, nullptr);
    MSG message;
    while (MsgWaitForMultipleObjects(2, ends, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + 2)
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
    return EXIT_SUCCESS;
}
