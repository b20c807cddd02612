#include "SessionError.h"

#include "base/SystemMessage.h"

#include <atlcomcli.h>
#include <atlexcept.h>

#include <new>

namespace {

/// The system's text for a code, without its full stop.
std::wstring SystemText(HRESULT result) {
    std::wstring message = GetSystemPhrase(static_cast<unsigned long>(result));
    return message.empty() ? L"unknown error " + std::to_wstring(result) : message;
}

HRESULT Report(REFIID iid, HRESULT result, std::wstring description) {
    CComPtr<ICreateErrorInfo> creator;
    std::wstring source = L"Talvinor.Session";
    if (FAILED(CreateErrorInfo(&creator)) || FAILED(creator->SetGUID(iid)) ||
        FAILED(creator->SetSource(source.data())) || FAILED(creator->SetDescription(description.data())))
        return result;
    if (const CComQIPtr<IErrorInfo> information(creator); information)
        SetErrorInfo(0, information);
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
        } catch (const CAtlException& error) {
            result = error;
        } catch (const std::bad_alloc&) {
            result = E_OUTOFMEMORY;
        } catch (...) {
            result = E_FAIL;
        }
        return Report(iid, result, Sentence(member, object, SystemText(result)));
    } catch (...) {
        return result; // without a description: there is no memory for one
    }
}

BSTR ToCaller(const std::wstring& text) {
    return CComBSTR(static_cast<int>(text.size()), text.data()).Detach();
}
