#include "com/ErrorDispatcher.h"

#include "base/LocaleText.h"
#include "base/UniqueHandle.h"

#include <atlcomcli.h>

#include <new>
#include <string>

namespace {

constexpr HRESULT facilityMask = 0x1FFF0000;
constexpr HRESULT win32Facility = FACILITY_WIN32 << 16;

std::wstring Widened(const char* text) {
    return text != nullptr ? WidenText(text) : std::wstring();
}

/// The system's text as it is; false with the last error set when there is none.
bool SystemMessage(DWORD code, std::wstring& message) {
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
        MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    const CUniqueLocalMemory<wchar_t> owner(buffer);
    if (length == 0)
        return false;
    message.assign(buffer, length);
    return true;
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
    if (description.empty() && (hr & facilityMask) == win32Facility && !SystemMessage(LOWORD(hr), description))
        return HRESULT_FROM_WIN32(GetLastError());
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
