// An application that lies about its windows' texts. It opens one window for each class in its arguments, whose name
// says what the window answers and whose title is its text, and stays until it is told to go or its parent has gone.
//
//     HostileApp PARENT-PID READY-EVENT QUIT-EVENT [visible CLASS TEXT]...

#include <windows.h>
#include <shellapi.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

namespace {
std::array<HANDLE, 2> g_ends{};

struct CHostileWindow {
    std::wstring text;
    LRESULT told = 0; ///< for WM_GETTEXTLENGTH
    LRESULT (*copy)(const std::wstring& text, std::size_t room, wchar_t* buffer) = nullptr;
};

LRESULT CopyHonestly(const std::wstring& text, std::size_t room, wchar_t* buffer) {
    const std::size_t length = std::min(text.size(), room - 1);
    text.copy(buffer, length);
    buffer[length] = L'\0';
    return static_cast<LRESULT>(length);
}

template <LRESULT count> LRESULT CopyAndSay(const std::wstring& text, std::size_t room, wchar_t* buffer) {
    CopyHonestly(text, room, buffer);
    return count;
}

LRESULT CopyAndSayMore(const std::wstring& text, std::size_t room, wchar_t* buffer) {
    CopyHonestly(text, room, buffer);
    return static_cast<LRESULT>(room) + 100;
}

LRESULT FillWithoutTerminator(const std::wstring&, std::size_t room, wchar_t* buffer) {
    std::wmemset(buffer, L'x', room);
    return static_cast<LRESULT>(room);
}

LRESULT FillAlways(const std::wstring&, std::size_t room, wchar_t* buffer) {
    std::wmemset(buffer, L'x', room - 1);
    buffer[room - 1] = L'\0';
    return static_cast<LRESULT>(room - 1);
}

LRESULT NeverAnswer(const std::wstring&, std::size_t, wchar_t*) {
    WaitForMultipleObjects(static_cast<DWORD>(g_ends.size()), g_ends.data(), FALSE, INFINITE);
    ExitProcess(0);
}

LRESULT EndInstead(const std::wstring&, std::size_t, wchar_t*) {
    ExitProcess(0);
}

CHostileWindow Behaviour(const std::wstring& name, const std::wstring& text) {
    const auto length = static_cast<LRESULT>(text.size());
    const CHostileWindow honest{text, length, CopyHonestly};
    if (name == L"LengthMinusOne")
        return {text, -1, CopyHonestly};
    if (name == L"LengthMinusTwo")
        return {text, -2, CopyHonestly};
    if (name == L"LengthTwoToThe47th")
        return {text, 1LL << 47, CopyHonestly};
    if (name == L"LengthMaximalInt")
        return {text, 0x7FFFFFFF, CopyHonestly};
    if (name == L"LengthZero")
        return {text, 0, CopyHonestly};
    if (name == L"LengthTooLow")
        return {text, length / 2, CopyHonestly};
    if (name == L"CountMinusOne")
        return {text, length, CopyAndSay<-1>};
    if (name == L"CountMinusTwo")
        return {text, length, CopyAndSay<-2>};
    if (name == L"CountTwoToThe47th")
        return {text, length, CopyAndSay<(1LL << 47)>};
    if (name == L"CountMaximalInt")
        return {text, length, CopyAndSay<0x7FFFFFFF>};
    if (name == L"CountBeyondTheRoom")
        return {text, length, CopyAndSayMore};
    if (name == L"NoTerminator")
        return {text, length, FillWithoutTerminator};
    if (name == L"AlwaysFull")
        return {text, length, FillAlways};
    if (name == L"NeverAnswers")
        return {text, length, NeverAnswer};
    if (name == L"Ends")
        return {text, length, EndInstead};
    return honest;
}

LRESULT CALLBACK Answer(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const auto* hostile = reinterpret_cast<const CHostileWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (hostile != nullptr && message == WM_GETTEXTLENGTH)
        return hostile->told;
    if (hostile != nullptr && message == WM_GETTEXT)
        return hostile->copy(hostile->text, wParam, reinterpret_cast<wchar_t*>(lParam));
    return DefWindowProcW(window, message, wParam, lParam);
}

bool Open(const CHostileWindow& hostile, const std::wstring& className) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = &Answer;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = className.c_str();
    if (!RegisterClassW(&windowClass) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS)
        return false;
    const HWND window = CreateWindowExW(0, className.c_str(), L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 200, 100,
                                        nullptr, nullptr, windowClass.hInstance, nullptr);
    if (window != nullptr)
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&hostile));
    return window != nullptr;
}

std::vector<std::wstring> Arguments() {
    int count = 0;
    wchar_t** const texts = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> arguments(texts + 1, texts + count);
    LocalFree(texts);
    return arguments;
}
} // namespace

int main() {
    const std::vector<std::wstring> arguments = Arguments();
    if (arguments.size() < 3 || arguments.size() % 3 != 0)
        return 2;
    const DWORD parentId = std::wcstoul(arguments[0].c_str(), nullptr, 10);
    g_ends = {OpenEventW(SYNCHRONIZE, FALSE, arguments[2].c_str()), OpenProcess(SYNCHRONIZE, FALSE, parentId)};
    const HANDLE ready = OpenEventW(EVENT_MODIFY_STATE, FALSE, arguments[1].c_str());
    if (!ready || !g_ends[0] || !g_ends[1])
        return 3;
    std::vector<CHostileWindow> windows;
    windows.reserve(arguments.size()); // each window knows its entry by address
    for (std::size_t index = 3; index < arguments.size(); index += 3) {
        windows.push_back(Behaviour(arguments[index + 1], arguments[index + 2]));
        if (!Open(windows.back(), arguments[index + 1]))
            return 4;
    }
    SetEvent(ready);

    for (;;) {
        const DWORD count = static_cast<DWORD>(g_ends.size());
        if (MsgWaitForMultipleObjects(count, g_ends.data(), FALSE, INFINITE, QS_ALLINPUT) != WAIT_OBJECT_0 + count)
            return 0;
        MSG message{};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
    }
}
