// Proves that stores are kept open, that every change of one is seen by the next look, and when revocations are asked
// for.

#include "certificates/MachineStores.h"
#include "ImportHook.h"
#include "ScriptVerifier.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

namespace {
int g_opened = 0;
std::atomic<int> g_chains{0};

/// The function itself, behind the hook that counts.
template <class Function> Function* Real(const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"crypt32.dll"), name)));
}

HCERTSTORE WINAPI CountOpen(LPCSTR provider, DWORD encoding, HCRYPTPROV_LEGACY key, DWORD flags, const void* name) {
    ++g_opened;
    return Real<decltype(CountOpen)>("CertOpenStore")(provider, encoding, key, flags, name);
}

WINBOOL WINAPI CountChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, LPFILETIME time, HCERTSTORE store,
                          PCERT_CHAIN_PARA parameters, DWORD flags, LPVOID reserved, PCCERT_CHAIN_CONTEXT* chain) {
    ++g_chains;
    return Real<decltype(CountChain)>("CertGetCertificateChain")(engine, certificate, time, store, parameters, flags,
                                                                 reserved, chain);
}

bool IsIn(const wchar_t* store, PCCERT_CONTEXT certificate) {
    return StoreHolds(CMachineStores::Instance().Open(store).Get(), certificate);
}

/// How many chains were built for one verification that accepts the certificate.
int ChainsFor(PCCERT_CONTEXT certificate) {
    const CStoredCertificate trusted(L"TrustedPublisher", certificate);
    const std::wstring text = SignWith(certificate, L"x = 1\r\n");
    const CImportHook counting(GetModuleHandleW(nullptr), "CertGetCertificateChain", &CountChain);
    g_chains = 0;
    EXPECT_TRUE(CScriptVerifier().VerifyText(ScriptKind::VBScript, text).accepted);
    return g_chains;
}

TEST(MachineStores, AStoreThatNobodyChangesIsOpenedOnce) {
    CMachineStores::Instance().Open(L"TrustedPublisher");
    const CImportHook counting(GetModuleHandleW(nullptr), "CertOpenStore", &CountOpen);
    g_opened = 0;
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(CMachineStores::Instance().Open(L"TrustedPublisher"));
    EXPECT_EQ(0, g_opened);
}

TEST(MachineStores, WhatIsPutInAndTakenOutIsSeenByTheNextLook) {
    const CUniqueCertificate certificate = Authority().Issue(CodeSigningRequest(L"CN=Comes and goes"));
    for (const wchar_t* const store : {L"TrustedPublisher", L"Disallowed", L"TrustedPublisher"}) {
        for (int i = 0; i < 3; ++i) {
            EXPECT_FALSE(IsIn(store, certificate.Get()));
            const CStoredCertificate stored(store, certificate.Get());
            EXPECT_TRUE(IsIn(store, certificate.Get()));
            EXPECT_TRUE(IsIn(store, certificate.Get()));
        }
        EXPECT_FALSE(IsIn(store, certificate.Get()));
    }
}

TEST(MachineStores, AStoreThatIsMadeLaterIsFound) {
    const CUniqueCertificate certificate = Authority().Issue(CodeSigningRequest(L"CN=First of all"));
    const std::wstring name = CScratchStore::Name() + L"Later";
    EXPECT_FALSE(CMachineStores::Instance().Open(name.c_str()));
    AddToStore(OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, name.c_str(), StoreAccess::Write).Get(),
               certificate.Get());
    EXPECT_TRUE(IsIn(name.c_str(), certificate.Get()));
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, (L"Software\\Microsoft\\SystemCertificates\\" + name).c_str());
    EXPECT_FALSE(CMachineStores::Instance().Open(name.c_str()));
}

TEST(MachineStores, AScriptIsRefusedAsSoonAsItsPublisherIsDistrustedAndNoLonger) {
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Changing"));
    const std::wstring text = SignWith(leaf.Get(), L"x = 1\r\n");
    const auto accepts = [&] { return CScriptVerifier().VerifyText(ScriptKind::VBScript, text).accepted; };
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(accepts());
        const CStoredCertificate trusted(L"TrustedPublisher", leaf.Get());
        EXPECT_TRUE(accepts());
        {
            const CStoredCertificate distrusted(L"Disallowed", leaf.Get());
            EXPECT_FALSE(accepts());
        }
        EXPECT_TRUE(accepts());
    }
    EXPECT_FALSE(accepts());
}

TEST(MachineStores, AChangeOfAnotherThreadsIsSeenAsWell) {
    const CUniqueCertificate certificate = Authority().Issue(CodeSigningRequest(L"CN=From another thread"));
    // The thread that looked first is gone when the change comes.
    std::thread([&] { EXPECT_FALSE(IsIn(L"TrustedPublisher", certificate.Get())); }).join();
    std::unique_ptr<CStoredCertificate> stored;
    std::thread([&] { stored = std::make_unique<CStoredCertificate>(L"TrustedPublisher", certificate.Get()); }).join();
    EXPECT_TRUE(IsIn(L"TrustedPublisher", certificate.Get()));
    std::thread([&] { stored.reset(); }).join();
    EXPECT_FALSE(IsIn(L"TrustedPublisher", certificate.Get()));
}

TEST(MachineStores, RevocationsAreAskedForOnlyWhereThereIsAnyToLearnOf) {
    EXPECT_EQ(1, ChainsFor(Authority().Issue(CodeSigningRequest(L"CN=Names no list")).Get()));
    CCertificateRequest request = CodeSigningRequest(L"CN=Names a list");
    request.revocationListUrl = "file:///C:/no/such/list.crl";
    EXPECT_EQ(2, ChainsFor(Authority().Issue(request).Get()));
}
} // namespace
