#include "base/SystemMessage.h"

#include "base/UniqueHandle.h"

#include <cwctype>

std::wstring GetSystemMessage(unsigned long code, MessageInserts inserts) {
    DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM;
    if (inserts == MessageInserts::Show)
        flags |= FORMAT_MESSAGE_IGNORE_INSERTS;
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(flags, nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                        reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    const CUniqueLocalMemory<wchar_t> owner(text);
    return length != 0 ? std::wstring(text, length) : std::wstring();
}

std::wstring GetSystemPhrase(unsigned long code) {
    std::wstring text = GetSystemMessage(code);
    while (!text.empty() && (std::iswspace(text.back()) != 0 || text.back() == L'.'))
        text.pop_back();
    return text;
}
