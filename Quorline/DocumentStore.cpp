#include "DocumentStore.h"

#include "InternalDocumentStore.h"
#include "IntlHelper/format/ZeroArguments.h"
#include "logging/Checks.h"
#include "logging/Logging.h"

OBJECT_ENTRY_AUTO(CLSID_DocumentStore, CDocumentStore)

namespace {

bool IsMissing(const VARIANT& argument) {
    return V_VT(&argument) == VT_ERROR && V_ERROR(&argument) == DISP_E_PARAMNOTFOUND;
}

const wchar_t* TextOf(BSTR text) {
    return text != nullptr ? text : L"";
}

} // namespace

void CDocumentStore::SetInternalDocumentStore(CInternalDocumentStore* pStore) {
    if (m_pIntStore != nullptr)
        SanityCheckFailed(QUORLINE_HERE, L"m_pIntStore is NULL");
    m_pIntStore = pStore;
    if (pStore != nullptr)
        m_storeLifetime = pStore->GetLifetime();
}

STDMETHODIMP CDocumentStore::GetNew(BSTR bstrDocName, BSTR bstrOriginalDocPath, VARIANT varFileExtension,
                                    BSTR* bstrRetPath) try {
    LogGlobal(log4cxx::Level::getDebug(),
              L"CDocumentStore::GetNew called with szDocName = {0:%s}, szOriginalPath = {1:%s}", TextOf(bstrDocName),
              TextOf(bstrOriginalDocPath));
    CInternalDocumentStore* const store = GetStore();
    if (store == nullptr || bstrRetPath == nullptr)
        return Error(E_POINTER);

    CComVariant extension(varFileExtension);
    if (IsMissing(extension))
        extension = CComVariant(L"");
    HRESULT hr = extension.ChangeType(VT_BSTR);
    if (FAILED(hr)) {
        LogGlobal(log4cxx::Level::getError(), L"Invalid variant type for argument varFileExtension. Acceptable types "
                                              L"are vtMissing and VT_BSTR");
        // kept: without error information, unlike every other failure.
        return hr;
    }

    try {
        std::wstring path;
        hr = store->GetNewDocumentPath(bstrDocName, bstrOriginalDocPath, TextOf(V_BSTR(&extension)), path);
        if (SUCCEEDED(hr)) {
            LogGlobal(log4cxx::Level::getInfo(), L"New temp document created with path = {0:%s}", path.c_str());
            *bstrRetPath = CComBSTR(path.c_str()).Detach();
            return S_OK;
        }
    } catch (...) {
        hr = HResultOfException();
    }
    LogGlobal(log4cxx::Level::getError(), L"Call to GetNew failed with result code = 0x{0:%x}", hr);
    return Error(hr, store->GetNameRefusal());
} catch (const CAtlException&) {
    throw; // kept: an extension that cannot be copied raises
} catch (...) {
    return Error(HResultOfException());
}

STDMETHODIMP CDocumentStore::LogMessage(unsigned short uLevel, BSTR* strMessage) try {
    const wchar_t* const message = strMessage != nullptr ? TextOf(*strMessage) : L"";
    // kept: the message is a format of its own.
    CZeroArguments zeros(message);
    LogToNamedLoggerV(L"Quorline.Scripts", LevelFromNumber(uLevel), message, zeros.GetList());
    return S_OK;
} catch (const std::exception&) {
    return S_OK; // a message that cannot be written is no failure of the script's
}

STDMETHODIMP CDocumentStore::VetoTransition() {
    CInternalDocumentStore* const store = GetStore();
    if (store == nullptr)
        return E_POINTER;
    CComPtr<IStateChangeInstance> change;
    HRESULT hr = store->GetStateChangeInstance(&change);
    if (FAILED(hr))
        return hr;
    if (!change)
        return E_FAIL;
    hr = change->put_Vetoed(VARIANT_TRUE);
    if (FAILED(hr))
        LogHResultFailure(QUORLINE_HERE, hr, L"Call to put_Vetoed failed.");
    return FAILED(hr) ? hr : S_OK;
}
