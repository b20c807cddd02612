#pragma once

// Functions of the system's DLLs that few callers ever need. Whoever links with such a DLL has every program wait for
// it and for what it brings along, and a machine that is about to go down waits as well.

#include <windows.h>

#include <bit>

/// Loads the DLL, which then stays, from the system's own folder. Null where it, or the function, is not to be had.
///
///     FindSystemFunction<decltype(GetUserNameExW)>(L"secur32.dll", "GetUserNameExW")
template <class Function> Function* FindSystemFunction(const wchar_t* dll, const char* name) noexcept {
    const HMODULE module = LoadLibraryExW(dll, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    return module == nullptr ? nullptr : std::bit_cast<Function*>(GetProcAddress(module, name));
}
