#include "SessionError.h"

#include "base/SystemMessage.h"
#include "com/ComString.h"
#include "com/ErrorInfo.h"
#include "com/PlatformException.h"

#include <atlcomcli.h>
#include <utility>

namespace {

/// The system's text for a code, without its full stop.
std::wstring SystemText(HRESULT result) {
    std::wstring message = GetSystemPhrase(static_cast<unsigned long>(result));
    return message.empty() ? L"unknown error " + std::to_wstring(result) : message;
}

HRESULT Report(REFIID iid, HRESULT result, std::wstring description) {
    InstallErrorInfo(iid, {.source = L"Talvinor.Session", .description = std::move(description)});
    return result;
}

/// "Text of window 0x1005e of process 412 (notepad.exe): it does not answer"
std::wstring Sentence(const wchar_t* member, const std::wstring& object, const std::wstring& reason) {
    return member + (object.empty() ? L"" : L" of " + object) + L": " + reason;
}

} // namespace

void ThrowLastError() {
    const DWORD error = GetLastError();
    const HRESULT result = error != ERROR_SUCCESS ? HRESULT_FROM_WIN32(error) : E_FAIL;
    throw CSessionError(result, SystemText(result));
}

HRESULT ReportException(REFIID iid, const wchar_t* member, const std::wstring& object) noexcept {
    HRESULT result = E_FAIL;
    try {
        try {
            throw;
        } catch (const CSessionError& error) {
            result = error.Result();
            return Report(iid, result, Sentence(member, object, error.Reason()));
        } catch (...) {
            result = HResultOfPlatformException();
        }
        return Report(iid, result, Sentence(member, object, SystemText(result)));
    } catch (...) {
        return result; // without a description: there is no memory for one
    }
}

BSTR ToCaller(const std::wstring& text) {
    return CopyToBstr(text).Detach();
}
