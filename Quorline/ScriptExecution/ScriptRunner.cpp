#include "ScriptExecution/ScriptRunner.h"

#include "base/StackLimit.h"
#include "com/ComErrorText.h"
#include "com/ExceptionInfo.h"
#include "com/PlainReference.h"
#include "ScriptExecution/TalvinorClientScriptSite.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"

#include "ScriptSigner.h"

#include <atlbase.h>

#include <activscp.h>
#include <comdef.h>

#include <memory>
#include <utility>

namespace {

constexpr GUID VbScriptEngine = {0xB54F3741, 0x5B07, 0x11CF, {0xA4, 0xB0, 0x00, 0xAA, 0x00, 0x4A, 0x55, 0xE8}};
constexpr GUID JScriptEngine = {0xF414C260, 0x6AC0, 0x11CF, {0xB6, 0xD1, 0x00, 0xAA, 0x00, 0xBB, 0xBB, 0x58}};
} // namespace

CScriptRunner::CScriptRunner() : m_pNamedItems(std::make_shared<CNamedItems>()) {}

CScriptRunner::~CScriptRunner() {
    ClearNamedItems();
    GiveBack(static_cast<IActiveScriptSite*>(m_pSite));
}

void CScriptRunner::AddNamedItem(std::wstring name, IUnknown* object) {
    if (name.empty())
        SanityCheckFailed(QUORLINE_HERE, L"Empty tstrName argument");
    if (object == nullptr)
        SanityCheckFailed(QUORLINE_HERE, L"Null pUnk passed to AddNamedItem");
    CComPtr<IUnknown> reference(object);
    m_pNamedItems->emplace(std::move(name), object);
    // kept: the first object under a name stays, and the reference taken on a later one is never given back.
    reference.Detach();
}

IUnknown* CScriptRunner::GetNamedItem(std::wstring name) {
    // kept: an unknown name gets a null entry.
    return (*m_pNamedItems)[std::move(name)];
}

void CScriptRunner::ClearNamedItems() {
    // A null entry, left by a script that asked for an unknown name, holds nothing to release.
    for (auto& [name, object] : *m_pNamedItems)
        GiveBack(std::exchange(object, nullptr));
    m_pNamedItems->clear();
}

void CScriptRunner::SetErrorInfo(std::wstring& source, std::wstring& description, unsigned long& line,
                                 long& character) {
    m_errorSource = source;
    m_errorDescription = description;
    m_errorLine = line;
    m_errorCharacter = character;
    m_hasError = true;
}

bool CScriptRunner::GetErrorInfo(std::wstring& source, std::wstring& description, unsigned long& line,
                                 long& character) {
    if (!m_hasError)
        return false;
    source = m_errorSource;
    description = m_errorDescription;
    line = m_errorLine;
    character = m_errorCharacter;
    return true;
}

unsigned long CScriptRunner::GetErrorNumber() const {
    return m_pSite != nullptr ? m_pSite->GetErrorNumber() : 0;
}

const GUID& CScriptRunner::GetScriptEngine(CScript::ScriptLanguageEnum language) {
    switch (language) {
    case CScript::LangVBScript:
        return VbScriptEngine;
    case CScript::LangJScript:
        return JScriptEngine;
    default:
        SanityCheckFailed(QUORLINE_HERE, L"Unknown or unsupported Script Type");
    }
}

bool CScriptRunner::VerifyScript(const std::wstring& name, CScript::ScriptLanguageEnum language, BSTR text) {
    CComPtr<IScriptSigner> signer;
    const HRESULT created = signer.CoCreateInstance(CLSID_ScriptSigner, nullptr, CLSCTX_ALL);
    if (FAILED(created)) {
        Log(log4cxx::Level::getError(), L"Could not create script signer object. Error = (0x{0:%x})", created);
        return false;
    }
    try {
        const CComBSTR extension(language == CScript::LangVBScript ? L".vbs" : L".js");
        VARIANT_BOOL verified = VARIANT_FALSE;
        const HRESULT hr = signer->VerifyText(extension, text, VARIANT_FALSE, &verified);
        if (FAILED(hr))
            ThrowComError(hr, signer, __uuidof(IScriptSigner));
        if (verified != VARIANT_FALSE)
            return true;
        Log(log4cxx::Level::getError(), L"Script not properly signed {0:%s}", name.c_str());
    } catch (const _com_error& error) {
        Log(log4cxx::Level::getError(), L"Exception verifying script. Error = (0x{0:%x}) {1:%s}", error.Error(),
            GetComErrorText(error.Error()).c_str());
    }
    return false;
}

void CScriptRunner::InitSite() {
    if (m_pSite != nullptr)
        return;
    CComObjectNoLock<CTalvinorClientScriptSite>* site = nullptr;
    const HRESULT hr = CComObjectNoLock<CTalvinorClientScriptSite>::CreateInstance(&site);
    if (FAILED(hr))
        AtlThrow(hr);
    site->AddRef();
    site->SetScriptRunner(this);
    m_pSite = site;
}

void CScriptRunner::RunScript(CScript* script) {
    if (script == nullptr)
        SanityCheckFailed(QUORLINE_HERE, L"Null pScript argument passed to RunScript");
    const std::wstring name = script->GetScriptName();
    // Up to the first NUL, and one for the signer and the engine: what was verified is what runs, whatever becomes of
    // the script meanwhile.
    const CComBSTR text(script->GetText().c_str());
    const CScript::ScriptLanguageEnum language = script->GetScriptLang();
    if (!VerifyScript(name, language, text)) {
        m_hasError = true;
        m_errorSource = L"Script Verification";
        m_errorDescription = L"Could not verify script";
        Log(log4cxx::Level::getError(), L"Could not verify script '{0:%s}'", name.c_str());
        return;
    }
    Log(log4cxx::Level::getInfo(), L"Running script '{0:%s}'", name.c_str());
    InitSite();

    // Declared in the reverse order of their release: parser, site, engine.
    CComPtr<IActiveScript> engine;
    RequireSuccess(QUORLINE_HERE, engine.CoCreateInstance(GetScriptEngine(language), nullptr, CLSCTX_ALL),
                   L"Failed to create IActiveScript instance");
    CComPtr<IActiveScriptSite> site;
    RequireSuccess(QUORLINE_HERE,
                   static_cast<IActiveScriptSite*>(m_pSite)->QueryInterface(__uuidof(IActiveScriptSite),
                                                                            reinterpret_cast<void**>(&site)),
                   L"Failed to query IActiveScriptSite interface");
    RequireSuccess(QUORLINE_HERE, engine->SetScriptSite(site), L"Failed to set script site for IActiveScript object");
    CComPtr<IActiveScriptParse> parser;
    HRESULT hr = engine.QueryInterface(&parser);
    if (SUCCEEDED(hr))
        hr = parser->InitNew();
    RequireSuccess(QUORLINE_HERE, hr, L"IActiveScriptParse->InitNew failed");
    for (const auto& item : *m_pNamedItems)
        RequireSuccess(QUORLINE_HERE,
                       engine->AddNamedItem(item.first.c_str(), SCRIPTITEM_ISVISIBLE | SCRIPTITEM_ISPERSISTENT),
                       L"IActiveScript->AddNamedItem");

    OutputDebugStringW(text);
    CComVariant result; // which nobody reads, like the exception beside it
    CExceptionInfo exception;
    const bool returned = RunWithinStack([&] {
        hr = parser->ParseScriptText(text, nullptr, nullptr, nullptr, 0, 1,
                                     SCRIPTTEXT_ISVISIBLE | SCRIPTTEXT_ISPERSISTENT, &result, &exception);
        if (FAILED(hr))
            Log(log4cxx::Level::getError(), L"Script parsing failed.");
        else
            hr = engine->SetScriptState(SCRIPTSTATE_CONNECTED);
    });
    if (!returned) {
        // Not every engine notices it in time.
        hr = HRESULT_FROM_WIN32(ERROR_STACK_OVERFLOW);
        m_hasError = true;
        m_errorSource = L"Script Execution";
        m_errorDescription = L"Out of stack space";
    }
    if (FAILED(hr))
        Log(log4cxx::Level::getError(), L"Script execution failed. Error = (0x{0:%x}) {1:%s}", hr,
            GetSystemErrorText(static_cast<unsigned long>(hr)).c_str());
    if (FAILED(engine->Close()))
        Log(log4cxx::Level::getWarn(), L"Could not close script object.");
}

QUORLINE_CLASS_LOG(CScriptRunner, L"Quorline.ScriptRunner")
