#pragma once

// Failures of COM calls as exceptions and as text.

#include <windows.h>
#include <unknwn.h>

#include <string>

/// The platform's wording for a failed COM call: the system's message without its line break; where there is none,
/// "IDispatch error #N" for 0x80040200 to 0x8004FFFF and "Unknown error 0xN" for the rest.
std::wstring GetComErrorText(HRESULT hr);

/// Throws _com_error with what the object left on the thread as error information, if it does so for this interface.
[[noreturn]] void ThrowComError(HRESULT hr, IUnknown* object, REFIID iid);
