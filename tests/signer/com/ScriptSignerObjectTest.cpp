// Proves the COM class as script hosts use it, and its registration: ScriptSignerObject, SignerModule.

#include "SilentServer.h"

#include "ScriptSigner.h"
#include "TempFolder.h"
#include "TestAuthority.h"

#include <atlbase.h>

#include <gtest/gtest.h>

#include <string_view>
#include <thread>

namespace {

constexpr wchar_t ServerKey[] = L"CLSID\\{7E48C5CF-72F6-4C84-9F43-B04B87B31243}\\InprocServer32";

std::wstring DllPath() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring program = path;
    return program.substr(0, program.find_last_of(L'\\') + 1) + L"QuorlineSigner.dll";
}

std::wstring RegisteredDll() {
    wchar_t path[1000] = L"";
    DWORD size = sizeof path;
    RegGetValueW(HKEY_CLASSES_ROOT, ServerKey, nullptr, RRF_RT_REG_SZ, nullptr, path, &size);
    return path;
}

void RegisterDll(const std::wstring& path) {
    RegSetKeyValueW(HKEY_CLASSES_ROOT, ServerKey, nullptr, REG_SZ, path.c_str(),
                    static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
}

HRESULT CallDll(const char* name) {
    const HMODULE dll = LoadLibraryW(DllPath().c_str());
    if (dll == nullptr)
        return HRESULT_FROM_WIN32(GetLastError());
    const auto entry = reinterpret_cast<HRESULT(WINAPI*)()>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
    const HRESULT hr = entry != nullptr ? entry() : E_NOTIMPL;
    FreeLibrary(dll);
    return hr;
}

/// Tells when the signer's DLL leaves this process.
class CUnloadWatch {
public:
    CUnloadWatch() {
        const auto start =
            reinterpret_cast<LONG(NTAPI*)(ULONG, decltype(&Notify), void*, void**)>(Find("LdrRegisterDllNotification"));
        start(0, &Notify, m_unloaded.Get(), &m_cookie);
    }
    CUnloadWatch(const CUnloadWatch&) = delete;
    CUnloadWatch& operator=(const CUnloadWatch&) = delete;
    ~CUnloadWatch() { reinterpret_cast<LONG(NTAPI*)(void*)>(Find("LdrUnregisterDllNotification"))(m_cookie); }

    bool WaitForUnload(DWORD milliseconds) const {
        return WaitForSingleObject(m_unloaded.Get(), milliseconds) == WAIT_OBJECT_0;
    }

private:
    struct CName {
        USHORT length, capacity;
        const wchar_t* text;
    };
    struct CData {
        ULONG flags;
        const CName* path;
        const CName* name;
    };
    static void NTAPI Notify(ULONG reason, const CData* data, void* unloaded) {
        constexpr ULONG isUnloaded = 2;
        const std::wstring_view name(data->name->text, data->name->length / sizeof(wchar_t));
        if (reason == isUnloaded && name == L"QuorlineSigner.dll")
            SetEvent(unloaded);
    }
    static void* Find(const char* function) {
        return reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), function));
    }

    CUniqueHandle m_unloaded{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    void* m_cookie = nullptr;
};

/// The DLL registered for a test; whatever signer was there before comes back.
class ScriptSignerObject : public testing::Test {
protected:
    ScriptSignerObject() : m_before(RegisteredDll()) {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        Authority();
        RegDeleteTreeW(HKEY_CLASSES_ROOT, L"CLSID\\{7E48C5CF-72F6-4C84-9F43-B04B87B31243}");
    }
    ~ScriptSignerObject() override {
        m_signer = nullptr;
        CoFreeUnusedLibrariesEx(0, 0);
        CallDll("DllUnregisterServer");
        if (!m_before.empty()) {
            if (_wcsicmp(m_before.c_str(), DllPath().c_str()) == 0)
                CallDll("DllRegisterServer");
            else
                RegisterDll(m_before);
        }
        CoUninitialize();
    }
    void SetUpSigner() {
        ASSERT_EQ(S_OK, CallDll("DllRegisterServer"));
        ASSERT_EQ(S_OK, m_signer.CoCreateInstance(CLSID_ScriptSigner));
    }
    VARIANT_BOOL VerifyText(const wchar_t* extension, const std::wstring& text) {
        VARIANT_BOOL verified = -2;
        EXPECT_EQ(S_OK, m_signer->VerifyText(CComBSTR(extension), CComBSTR(text.c_str()), VARIANT_FALSE, &verified));
        return verified;
    }
    /// The description that a failed call left, which the thread then no longer has.
    static std::wstring TakeError() {
        CComPtr<IErrorInfo> error;
        CComBSTR description;
        if (GetErrorInfo(0, &error) == S_OK)
            error->GetDescription(&description);
        return description.m_str != nullptr ? description.m_str : L"";
    }

    CComPtr<IScriptSigner> m_signer;
    std::wstring m_before;
};

TEST_F(ScriptSignerObject, VerifiesTextsAndFilesFromOutside) {
    ASSERT_NO_FATAL_FAILURE(SetUpSigner());
    const std::wstring good = SignWith(Authority().Publisher(), L"x = 1\r\n");
    EXPECT_EQ(VARIANT_TRUE, VerifyText(L".vbs", good));
    EXPECT_EQ(VARIANT_TRUE, VerifyText(L".VBS", good));
    EXPECT_EQ(VARIANT_FALSE, VerifyText(L".vbs", L"\xFEFF" + good));
    EXPECT_EQ(VARIANT_FALSE, VerifyText(L".js", good));
    EXPECT_EQ(VARIANT_FALSE, VerifyText(L".vbs", L"y" + good));
    EXPECT_EQ(VARIANT_FALSE, VerifyText(L".vbs", L""));

    const CTempFolder folder;
    VARIANT_BOOL verified = VARIANT_FALSE;
    const CComBSTR path(folder.Write(L"a.vbs", std::string(good.begin(), good.end())).c_str());
    EXPECT_EQ(S_OK, m_signer->VerifyFile(path, VARIANT_FALSE, &verified));
    EXPECT_EQ(VARIANT_TRUE, verified);
    folder.Write(L"a.vbs", "x = 1\r\n");
    // Nobody is asked, whatever the caller allows.
    EXPECT_EQ(S_OK, m_signer->VerifyFile(path, VARIANT_TRUE, &verified));
    EXPECT_EQ(VARIANT_FALSE, verified);
}

TEST_F(ScriptSignerObject, VerifyTextIsTheThirdMethodAfterThoseOfIDispatch) {
    ASSERT_NO_FATAL_FAILURE(SetUpSigner());
    using VerifyTextMethod = HRESULT(STDMETHODCALLTYPE*)(IScriptSigner*, BSTR, BSTR, VARIANT_BOOL, VARIANT_BOOL*);
    const auto method = reinterpret_cast<VerifyTextMethod>((*reinterpret_cast<void***>(m_signer.p))[7 + 2]);
    const std::wstring good = SignWith(Authority().Publisher(), L"x = 1\r\n");
    VARIANT_BOOL verified = VARIANT_FALSE;
    EXPECT_EQ(S_OK, method(m_signer, CComBSTR(L".vbs"), CComBSTR(good.c_str()), VARIANT_FALSE, &verified));
    EXPECT_EQ(VARIANT_TRUE, verified);
}

TEST_F(ScriptSignerObject, FailedCallsLeaveErrorInformation) {
    ASSERT_NO_FATAL_FAILURE(SetUpSigner());
    CComPtr<ISupportErrorInfo> support;
    ASSERT_EQ(S_OK, m_signer.QueryInterface(&support));
    EXPECT_EQ(S_OK, support->InterfaceSupportsErrorInfo(IID_IScriptSigner));
    EXPECT_EQ(S_FALSE, support->InterfaceSupportsErrorInfo(IID_IDispatch));

    const CComBSTR nobody(L"nobody");
    const CComBSTR missing(L"c:\\missing\\a.vbs");
    CComBSTR text;
    VARIANT_BOOL verified = VARIANT_TRUE;
    EXPECT_EQ(E_POINTER, m_signer->VerifyText(nullptr, nullptr, VARIANT_FALSE, nullptr));
    EXPECT_EQ(E_POINTER, m_signer->VerifyFile(nullptr, VARIANT_FALSE, nullptr));
    EXPECT_EQ(E_POINTER, m_signer->SignText(nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(E_INVALIDARG, m_signer->VerifyText(CComBSTR(L".txt"), nullptr, VARIANT_FALSE, &verified));
    EXPECT_EQ(VARIANT_FALSE, verified);
    EXPECT_EQ(L"only .vbs and .js scripts can be signed, not '.txt'", TakeError());
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), m_signer->VerifyFile(missing, VARIANT_FALSE, &verified));
    EXPECT_TRUE(TakeError().starts_with(L"cannot read 'c:\\missing\\a.vbs': "));
    EXPECT_EQ(CRYPT_E_NOT_FOUND, m_signer->SignText(CComBSTR(L".vbs"), nullptr, nobody, nullptr, &text));
    EXPECT_EQ(L"no certificate for code signing with a private key is called 'nobody' in the store 'My'", TakeError());
    EXPECT_EQ(CRYPT_E_NOT_FOUND, m_signer->SignFile(missing, nobody, nullptr));
}

TEST_F(ScriptSignerObject, SignsTextsAndFilesWithACertificateOfTheStoreItIsGiven) {
    ASSERT_NO_FATAL_FAILURE(SetUpSigner());
    CScratchStore scratch;
    scratch.Add(Authority().Publisher());
    const CComBSTR store(CScratchStore::Name().c_str());
    const CComBSTR publisher(L"Publisher");
    CComBSTR text;
    EXPECT_EQ(S_OK, m_signer->SignText(CComBSTR(L".js"), CComBSTR(L"var x;\n"), publisher, store, &text));
    EXPECT_EQ(VARIANT_TRUE, VerifyText(L".js", text.m_str));

    const CTempFolder folder;
    const CComBSTR path(folder.Write(L"a.vbs", "x = 1\n").c_str());
    EXPECT_EQ(S_OK, m_signer->SignFile(path, publisher, store));
    VARIANT_BOOL verified = VARIANT_FALSE;
    EXPECT_EQ(S_OK, m_signer->VerifyFile(path, VARIANT_FALSE, &verified));
    EXPECT_EQ(VARIANT_TRUE, verified);
}

TEST_F(ScriptSignerObject, IsReachedByNameThroughIDispatch) {
    ASSERT_NO_FATAL_FAILURE(SetUpSigner());
    CComPtr<IDispatch> dispatch;
    ASSERT_EQ(S_OK, m_signer.QueryInterface(&dispatch));
    DISPID id = 0;
    wchar_t name[] = L"VerifyText";
    LPOLESTR names[] = {name};
    ASSERT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
    EXPECT_EQ(3, id);
    const std::wstring good = SignWith(Authority().Publisher(), L"x = 1\r\n");
    // Last argument first.
    CComVariant arguments[] = {CComVariant(false), CComVariant(good.c_str()), CComVariant(L".vbs")};
    DISPPARAMS parameters{arguments, nullptr, 3, 0};
    CComVariant result;
    ASSERT_EQ(S_OK, dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &result, nullptr,
                                     nullptr));
    EXPECT_EQ(VT_BOOL, result.vt);
    EXPECT_EQ(VARIANT_TRUE, result.boolVal);

    arguments[2] = CComVariant(L".txt");
    EXCEPINFO exception{};
    EXPECT_EQ(DISP_E_EXCEPTION, dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                                                 nullptr, &exception, nullptr));
    const CComBSTR source = [&] {
        CComBSTR held;
        held.Attach(exception.bstrSource);
        return held;
    }();
    CComBSTR description;
    description.Attach(exception.bstrDescription);
    CComBSTR().Attach(exception.bstrHelpFile);
    EXPECT_EQ(E_INVALIDARG, exception.scode);
    EXPECT_STREQ(L"only .vbs and .js scripts can be signed, not '.txt'", description.m_str);
}

TEST_F(ScriptSignerObject, ServesEightApartmentsAtOnce) {
    ASSERT_NO_FATAL_FAILURE(SetUpSigner());
    const std::wstring good = SignWith(Authority().Publisher(), L"x = 1\r\n");
    LONG accepted = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            CoInitializeEx(nullptr, i % 2 == 0 ? COINIT_APARTMENTTHREADED : COINIT_MULTITHREADED);
            for (int round = 0; round < 10; ++round) {
                CComPtr<IScriptSigner> signer;
                VARIANT_BOOL verified = VARIANT_FALSE;
                if (SUCCEEDED(signer.CoCreateInstance(CLSID_ScriptSigner)) &&
                    SUCCEEDED(
                        signer->VerifyText(CComBSTR(L".vbs"), CComBSTR(good.c_str()), VARIANT_FALSE, &verified)) &&
                    verified == VARIANT_TRUE)
                    InterlockedIncrement(&accepted);
            }
            CoUninitialize();
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(80, accepted);
}

TEST_F(ScriptSignerObject, AModuleThatStillWaitsForAnAnswerStaysUntilTheServerHangsUp) {
    CSilentServer server;
    CCertificateRequest request = CodeSigningRequest(L"CN=Silent");
    request.revocationListUrl = server.Url();
    const CUniqueCertificate certificate = Authority().Issue(request);
    const CStoredCertificate trusted(L"TrustedPublisher", certificate.Get());
    SetUpSigner();
    const CUnloadWatch watch;
    EXPECT_EQ(VARIANT_TRUE, VerifyText(L".vbs", SignWith(certificate.Get(), L"x = 1\r\n")));
    EXPECT_TRUE(server.WasAsked());

    m_signer = nullptr;
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_NE(nullptr, GetModuleHandleW(L"QuorlineSigner.dll"));
    EXPECT_FALSE(watch.WaitForUnload(0));
    server.HangUp();
    EXPECT_TRUE(watch.WaitForUnload(60'000));
}

TEST_F(ScriptSignerObject, RegistersAndUnregistersWithoutALeftover) {
    EXPECT_EQ(S_OK, CallDll("DllRegisterServer"));
    EXPECT_EQ(0, _wcsicmp(DllPath().c_str(), RegisteredDll().c_str())) << testing::PrintToString(RegisteredDll());
    EXPECT_EQ(S_OK, CallDll("DllRegisterServer"));
    EXPECT_EQ(S_OK, CallDll("DllUnregisterServer"));
    for (const wchar_t* const key :
         {L"CLSID\\{7E48C5CF-72F6-4C84-9F43-B04B87B31243}", L"Quorline.ScriptSigner", L"Quorline.ScriptSigner.1",
          L"TypeLib\\{9E0D3C55-7A57-4C8C-8B7F-2F4A0E6B1D38}\\1.0",
          L"Interface\\{97D8B206-3401-4006-B872-F95A679D7CA3}"}) {
        CUniqueRegKey opened;
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyExW(HKEY_CLASSES_ROOT, key, 0, KEY_READ, opened.Put()))
            << testing::PrintToString(key);
    }
    EXPECT_EQ(S_FALSE, CallDll("DllUnregisterServer"));
}

TEST_F(ScriptSignerObject, ASignerThatTheMachineHasStays) {
    // One whose path is too long to be read is somebody else's as well.
    for (const std::wstring& other :
         {std::wstring(L"C:\\windows\\system32\\othersigner.dll"), L"C:\\" + std::wstring(900, L'x') + L".dll"}) {
        RegisterDll(other);
        EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS), CallDll("DllRegisterServer"));
        EXPECT_EQ(other, RegisteredDll());
        EXPECT_EQ(S_FALSE, CallDll("DllUnregisterServer"));
        EXPECT_EQ(other, RegisteredDll());
    }
    RegDeleteTreeW(HKEY_CLASSES_ROOT, L"CLSID\\{7E48C5CF-72F6-4C84-9F43-B04B87B31243}");
}

} // namespace
