#pragma once

// Where an exception of the library becomes the HRESULT that crosses a COM boundary:
//
//     try { ... } catch (...) { return HResultOfException(); }

#include <windows.h>

/// Call inside a catch block: the code of the exception that is being handled, E_FAIL when it carries none.
HRESULT HResultOfException() noexcept;
