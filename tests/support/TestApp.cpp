// A protected application for the tests: opens the windows that its arguments describe, says so, and stays until it is
// told to go or its parent has gone.
//
//     TestApp PARENT-PID READY-EVENT QUIT-EVENT [visible|hidden CLASS TITLE]...

#include <windows.h>
#include <shellapi.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

namespace {
std::vector<std::wstring> Arguments() {
    int count = 0;
    wchar_t** const texts = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> arguments(texts + 1, texts + count);
    LocalFree(texts);
    return arguments;
}

bool OpenTestWindow(bool visible, const std::wstring& className, const std::wstring& title) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = &DefWindowProcW;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = className.c_str();
    if (!RegisterClassW(&windowClass) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS)
        return false;
    const DWORD style = WS_OVERLAPPEDWINDOW | (visible ? WS_VISIBLE : 0);
    return CreateWindowExW(0, className.c_str(), title.c_str(), style, 0, 0, 200, 100, nullptr, nullptr,
                           windowClass.hInstance, nullptr) != nullptr;
}
} // namespace

int main() {
    const std::vector<std::wstring> arguments = Arguments();
    if (arguments.size() < 3 || arguments.size() % 3 != 0)
        return 2;
    const DWORD parentId = std::wcstoul(arguments[0].c_str(), nullptr, 10);
    const std::array ends{OpenEventW(SYNCHRONIZE, FALSE, arguments[2].c_str()),
                          OpenProcess(SYNCHRONIZE, FALSE, parentId)};
    const HANDLE ready = OpenEventW(EVENT_MODIFY_STATE, FALSE, arguments[1].c_str());
    if (!ready || !ends[0] || !ends[1])
        return 3;
    for (std::size_t index = 3; index < arguments.size(); index += 3)
        if (!OpenTestWindow(arguments[index] == L"visible", arguments[index + 1], arguments[index + 2]))
            return 4;
    SetEvent(ready);

    for (;;) {
        const DWORD count = static_cast<DWORD>(ends.size());
        if (MsgWaitForMultipleObjects(count, ends.data(), FALSE, INFINITE, QS_ALLINPUT) != WAIT_OBJECT_0 + count)
            return 0;
        MSG message{};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
    }
}
