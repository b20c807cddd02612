#include "SystemText.h"

#include "base/SystemMessage.h"

#include <cwctype>
#include <iterator>

std::wstring DescribeCode(unsigned long code) {
    // The small numbers come from the C runtime, whose file operations write the info files.
    constexpr unsigned long LastRuntimeError = 42;
    std::wstring text;
    if (code <= LastRuntimeError) {
        wchar_t buffer[128];
        if (_wcserror_s(buffer, std::size(buffer), static_cast<int>(code)) == 0)
            text = buffer;
    } else {
        text = GetSystemMessage(code);
    }
    while (!text.empty() && (std::iswspace(text.back()) != 0 || text.back() == L'.'))
        text.pop_back();
    wchar_t number[24];
    _snwprintf_s(number, std::size(number), _TRUNCATE, code > 0xFFFF ? L"error 0x%08lx" : L"error %lu", code);
    return text.empty() ? std::wstring(number) : text + L" (" + number + L")";
}
