#pragma once

// A script signer for the calling thread's apartment that answers what a test tells it and records what it was asked,
// for tests that are not about signatures:
//
//     CTestSigner signer;              // in place while it lives; accepts every script
//     signer.verified = VARIANT_FALSE; // from now on refuses every script
//
// COM must be initialised on the thread that makes it, and that thread must be the one that runs the scripts.

#include "ClassObject.h"

#include "ScriptSigner.h"

#include <functional>
#include <string>
#include <vector>

class CTestSigner {
public:
    struct CCall {
        std::wstring extension;
        std::wstring text;
        bool showUserInterface;
    };

    VARIANT_BOOL verified = VARIANT_TRUE;
    HRESULT result = S_OK;          ///< a failure leaves the answer unwritten
    std::wstring errorDescription;  ///< with a failure: left on the thread as error information, unless empty
    bool supportsErrorInfo = false; ///< whether the signer says so for its interface
    std::function<void()> onVerify; ///< called in the middle of a verification
    std::vector<CCall> calls;       ///< what was asked, in order
    int objects = 0;                ///< signers created and not yet released

    CTestSigner() = default;
    CTestSigner(const CTestSigner&) = delete;
    CTestSigner& operator=(const CTestSigner&) = delete;

private:
    class CObject : public CComObjectRootEx<CComSingleThreadModel>, public IScriptSigner, public ISupportErrorInfo {
    public:
        BEGIN_COM_MAP(CObject)
        COM_INTERFACE_ENTRY(IScriptSigner)
        COM_INTERFACE_ENTRY(IDispatch)
        COM_INTERFACE_ENTRY(ISupportErrorInfo)
        END_COM_MAP()

        void FinalRelease() { --m_signer->objects; }

        // Script hosts reach the signer through its own interface alone.
        STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
        STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
        STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
        STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
            return E_NOTIMPL;
        }
        STDMETHODIMP SignText(BSTR, BSTR, BSTR, BSTR, BSTR*) override { return E_NOTIMPL; }
        STDMETHODIMP SignFile(BSTR, BSTR, BSTR) override { return E_NOTIMPL; }
        STDMETHODIMP VerifyFile(BSTR, VARIANT_BOOL, VARIANT_BOOL*) override { return E_NOTIMPL; }

        STDMETHODIMP VerifyText(BSTR extension, BSTR text, VARIANT_BOOL show, VARIANT_BOOL* answer) override {
            m_signer->calls.push_back({std::wstring(extension, SysStringLen(extension)),
                                       std::wstring(text, SysStringLen(text)), show != VARIANT_FALSE});
            if (m_signer->onVerify)
                m_signer->onVerify();
            if (FAILED(m_signer->result))
                LeaveErrorInformation();
            else
                *answer = m_signer->verified;
            return m_signer->result;
        }

        STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override {
            return m_signer->supportsErrorInfo && IsEqualIID(iid, IID_IScriptSigner) ? S_OK : S_FALSE;
        }

        CTestSigner* m_signer = nullptr;

    private:
        void LeaveErrorInformation() {
            CComPtr<ICreateErrorInfo> created;
            if (m_signer->errorDescription.empty() || FAILED(CreateErrorInfo(&created)))
                return;
            created->SetDescription(m_signer->errorDescription.data());
            const CComQIPtr<IErrorInfo> information(created);
            SetErrorInfo(0, information);
        }
    };

    HRESULT Create(REFIID iid, void** object) {
        CComObjectNoLock<CObject>* created = nullptr;
        const HRESULT hr = CComObjectNoLock<CObject>::CreateInstance(&created);
        if (FAILED(hr))
            return hr;
        created->m_signer = this;
        ++objects;
        const CComPtr<IScriptSigner> reference(created);
        return reference->QueryInterface(iid, object);
    }

    const CClassObject m_class{CLSID_ScriptSigner, [this](REFIID iid, void** object) { return Create(iid, object); }};
};
