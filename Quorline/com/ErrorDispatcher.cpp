#include "com/ErrorDispatcher.h"

#include "base/LocaleText.h"
#include "base/SystemMessage.h"

#include <atlcomcli.h>

#include <new>
#include <string>

namespace {

constexpr HRESULT facilityMask = 0x1FFF0000;
constexpr HRESULT win32Facility = FACILITY_WIN32 << 16;

std::wstring Widened(const char* text) {
    return text != nullptr ? WidenText(text) : std::wstring();
}

void Install(REFIID iid, const std::wstring& source, const std::wstring& description, DWORD helpContext,
             const std::wstring& helpFile) {
    CComPtr<ICreateErrorInfo> creator;
    if (FAILED(CreateErrorInfo(&creator)))
        return;
    creator->SetGUID(iid);
    if (!description.empty())
        creator->SetDescription(const_cast<wchar_t*>(description.c_str()));
    if (!source.empty())
        creator->SetSource(const_cast<wchar_t*>(source.c_str()));
    if (!helpFile.empty())
        creator->SetHelpFile(const_cast<wchar_t*>(helpFile.c_str()));
    creator->SetHelpContext(helpContext);
    if (const CComQIPtr<IErrorInfo> info(creator); info)
        SetErrorInfo(0, info);
}

HRESULT InstallFailure(REFIID iid, HRESULT hr, const std::wstring& source, std::wstring description, DWORD helpContext,
                       const std::wstring& helpFile) {
    if (description.empty() && (hr & facilityMask) == win32Facility) {
        description = GetSystemMessage(LOWORD(hr));
        if (description.empty())
            return HRESULT_FROM_WIN32(GetLastError());
    }
    Install(iid, source, description, helpContext, helpFile);
    return hr;
}

} // namespace

HRESULT DispatchError(REFIID iid, HRESULT hr, const char* source, const char* description, DWORD helpContext,
                      const char* helpFile) noexcept {
    if (SUCCEEDED(hr))
        return hr;
    try {
        return InstallFailure(iid, hr, Widened(source), Widened(description), helpContext, Widened(helpFile));
    } catch (const std::bad_alloc&) {
        // The failure itself matters more than its description.
        return hr;
    }
}

HRESULT DispatchError(REFIID iid, HRESULT hr, const std::wstring& description) noexcept {
    if (SUCCEEDED(hr))
        return hr;
    try {
        return InstallFailure(iid, hr, L"", description, 0, L"");
    } catch (const std::bad_alloc&) {
        return hr;
    }
}
