#include "com/ErrorDispatcher.h"

#include "base/LocaleText.h"
#include "base/SystemMessage.h"
#include "com/ErrorInfo.h"

#include <new>
#include <string>

namespace {

constexpr HRESULT FacilityMask = 0x1FFF0000;
constexpr HRESULT Win32Facility = FACILITY_WIN32 << 16;

std::wstring Widened(const char* text) {
    return text != nullptr ? WidenText(text) : std::wstring();
}

HRESULT InstallFailure(REFIID iid, HRESULT hr, CErrorInfo error) {
    if (error.description.empty() && (hr & FacilityMask) == Win32Facility) {
        error.description = GetSystemMessage(LOWORD(hr));
        if (error.description.empty())
            return HRESULT_FROM_WIN32(GetLastError());
    }
    InstallErrorInfo(iid, error);
    return hr;
}

} // namespace

HRESULT DispatchError(REFIID iid, HRESULT hr, const char* source, const char* description, DWORD helpContext,
                      const char* helpFile) noexcept {
    if (SUCCEEDED(hr))
        return hr;
    try {
        return InstallFailure(iid, hr, {Widened(source), Widened(description), Widened(helpFile), helpContext});
    } catch (const std::bad_alloc&) {
        // The failure itself matters more than its description.
        return hr;
    }
}

HRESULT DispatchError(REFIID iid, HRESULT hr, const std::wstring& description) noexcept {
    if (SUCCEEDED(hr))
        return hr;
    try {
        return InstallFailure(iid, hr, {.description = description});
    } catch (const std::bad_alloc&) {
        return hr;
    }
}
