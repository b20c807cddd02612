#include "com/ScriptSignerObject.h"

#include "common/SignerErrors.h"
#include "ScriptSignerCore.h"
#include "ScriptVerifier.h"
#include "com/ComString.h"
#include "com/ErrorInfo.h"
#include "com/PlatformException.h"

namespace {

/// A null string is an empty one; a zero character within is kept.
std::wstring_view View(BSTR text) {
    return {text != nullptr ? text : L"", SysStringLen(text)};
}

HRESULT ReportError(HRESULT result, const std::wstring& text) {
    InstallErrorInfo(IID_IScriptSigner, {.source = L"ScriptSigner", .description = text});
    return result;
}

/// Runs a method's body; no exception leaves it.
template <class Action> HRESULT Guard(Action action) noexcept {
    try {
        action();
        return S_OK;
    } catch (const CSignerError& error) {
        return ReportError(error.Result(), error.Text());
    } catch (...) {
        const HRESULT result = HResultOfPlatformException();
        return result == E_FAIL ? ReportError(result, L"the script signer failed") : result;
    }
}

} // namespace

STDMETHODIMP CScriptSignerObject::SignText(BSTR extension, BSTR text, BSTR certificate, BSTR store, BSTR* signedText) {
    if (signedText == nullptr)
        return E_POINTER;
    *signedText = nullptr;
    return Guard([&] {
        const ScriptKind kind = ScriptKindOf(View(extension));
        const auto chosen = CSigningCertificate::FromStore(std::wstring(View(certificate)), std::wstring(View(store)));
        const std::wstring result = CScriptSignerCore(chosen).SignText(kind, View(text));
        *signedText = CopyToBstr(result).Detach();
    });
}

STDMETHODIMP CScriptSignerObject::SignFile(BSTR fileName, BSTR certificate, BSTR store) {
    return Guard([&] {
        const auto chosen = CSigningCertificate::FromStore(std::wstring(View(certificate)), std::wstring(View(store)));
        CScriptSignerCore(chosen).SignFile(std::wstring(View(fileName)));
    });
}

STDMETHODIMP CScriptSignerObject::VerifyText(BSTR extension, BSTR text, VARIANT_BOOL, VARIANT_BOOL* verified) {
    if (verified == nullptr)
        return E_POINTER;
    *verified = VARIANT_FALSE;
    return Guard([&] {
        if (CScriptVerifier().VerifyText(ScriptKindOf(View(extension)), View(text)).accepted)
            *verified = VARIANT_TRUE;
    });
}

STDMETHODIMP CScriptSignerObject::VerifyFile(BSTR fileName, VARIANT_BOOL, VARIANT_BOOL* verified) {
    if (verified == nullptr)
        return E_POINTER;
    *verified = VARIANT_FALSE;
    return Guard([&] {
        if (CScriptVerifier().VerifyFile(std::wstring(View(fileName))).accepted)
            *verified = VARIANT_TRUE;
    });
}

OBJECT_ENTRY_AUTO(CLSID_ScriptSigner, CScriptSignerObject)
