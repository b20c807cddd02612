#pragma once

// What every module makes of exceptions that are not its own, where they would cross a COM boundary:
//
//     try { ... } catch (const COwnError& error) { ... } catch (...) { return HResultOfPlatformException(); }

#include <windows.h>

/// Call inside a catch block: the code of a failed COM call, E_OUTOFMEMORY for want of memory, E_FAIL for anything
/// else.
HRESULT HResultOfPlatformException() noexcept;
