#include "TestAuthority.h"

#include "cms/SignatureBlock.h"
#include "common/Base64.h"
#include "common/SignerErrors.h"
#include "StartProcess.h"

#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace {

constexpr wchar_t ChildVariable[] = L"QUORLINE_SIGNER_TEST_ROOT";
constexpr wchar_t RootName[] = L"CN=Quorline Test Root";
constexpr wchar_t OldRootName[] = L"CN=Quorline Test Old Root";
constexpr wchar_t PolicyKey[] = L"Software\\Morvane\\ScriptSigner";
constexpr wchar_t StoresKey[] = L"Software\\Microsoft\\SystemCertificates\\";

DWORD PlaceOf(HKEY where) {
    return where == HKEY_LOCAL_MACHINE ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
}

std::wstring KeyName(const wchar_t* part, DWORD process) {
    return L"QuorlineSignerTest-" + std::to_wstring(process) + L"-" + part;
}

/// Of the parent's; empty when there is no such container.
CUniqueProvider OpenKey(const std::wstring& container) noexcept {
    CUniqueProvider provider;
    CryptAcquireContextW(provider.Put(), container.c_str(), nullptr, PROV_RSA_AES, CRYPT_SILENT);
    return provider;
}

/// Everything under the test root or of its name that a test may have left.
void RemoveAllUnder(PCCERT_CONTEXT root) {
    for (const wchar_t* const storeName : {L"Root", L"TrustedPublisher", L"Disallowed"}) {
        const CUniqueStore store = OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, storeName);
        PCCERT_CONTEXT next = nullptr;
        while (store && (next = CertEnumCertificatesInStore(store.Get(), next)) != nullptr) {
            if (CertCompareCertificateName(X509_ASN_ENCODING, &next->pCertInfo->Issuer, &root->pCertInfo->Subject))
                RemoveFromStore(HKEY_LOCAL_MACHINE, storeName, next);
        }
    }
}

/// What the parent said: its number and the two roots, with blanks between them.
std::wstring WordOfParent(std::size_t number) {
    wchar_t text[16384];
    const DWORD length = GetEnvironmentVariableW(ChildVariable, text, static_cast<DWORD>(std::size(text)));
    std::wistringstream words(std::wstring(text, length));
    std::wstring word;
    for (std::size_t i = 0; i <= number; ++i)
        words >> word;
    return word;
}

DWORD ParentOfChild() {
    return std::wcstoul(WordOfParent(0).c_str(), nullptr, 10);
}

CUniqueCertificate RootOfChild(std::size_t number) {
    const CBytes bytes = DecodeBase64(WordOfParent(number));
    return CUniqueCertificate(
        CertCreateCertificateContext(X509_ASN_ENCODING, bytes.data(), static_cast<DWORD>(bytes.size())));
}

DWORD RunMyself() {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    STARTUPINFOW startup{};
    PROCESS_INFORMATION process{};
    if (!StartProcess(program, GetCommandLineW(), nullptr, true, startup, process))
        return EXIT_FAILURE;
    const CUniqueHandle thread(process.hThread);
    const CUniqueHandle child(process.hProcess);
    DWORD code = EXIT_FAILURE;
    WaitForSingleObject(child.Get(), INFINITE);
    GetExitCodeProcess(child.Get(), &code);
    return code;
}

std::pair<CUniqueCertificate, CUniqueCertificate> MakeRoots(const std::wstring& container) {
    const CUniqueProvider key = CreateRsaKey(container);
    return {BuildCertificate(AuthorityRequest(RootName), key.Get()),
            BuildCertificate(AuthorityRequest(OldRootName), key.Get(), nullptr, *FindDigest(szOID_OIWSEC_sha1))};
}

} // namespace

bool CTestAuthority::IsChild() {
    return ParentOfChild() != 0;
}

int CTestAuthority::RunChild() {
    const DWORD self = GetCurrentProcessId();
    DWORD code = EXIT_FAILURE;
    try {
        // A run that was ended may have left keys under this number, and roots of this name.
        for (const wchar_t* const part : {L"root", L"publisher"})
            DeleteRsaKey(KeyName(part, self));
        // A key is on record for others only when its provider has been let go.
        CreateRsaKey(KeyName(L"publisher", self));
        const auto [root, oldRoot] = MakeRoots(KeyName(L"root", self));
        RemoveAllUnder(root.Get());
        RemoveAllUnder(oldRoot.Get());
        {
            const CStoredCertificate trusted(L"Root", root.Get());
            const CStoredCertificate alsoTrusted(L"Root", oldRoot.Get());
            const std::wstring value = std::to_wstring(self) + L" " + EncodeBase64(EncodedBytes(root.Get())) + L" " +
                                       EncodeBase64(EncodedBytes(oldRoot.Get()));
            SetEnvironmentVariableW(ChildVariable, value.c_str());
            code = RunMyself();
        }
        RemoveAllUnder(root.Get());
        RemoveAllUnder(oldRoot.Get());
    } catch (const CSignerError& error) {
        fwprintf(stderr, L"%ls\n", error.Text().c_str());
    }
    DeleteRsaKey(KeyName(L"root", self));
    DeleteRsaKey(KeyName(L"publisher", self));
    return static_cast<int>(code);
}

CTestAuthority& CTestAuthority::Instance() {
    static CTestAuthority authority;
    return authority;
}

CTestAuthority::CTestAuthority()
    : m_rootKey(OpenKey(KeyName(L"root", ParentOfChild()))),
      m_publisherKey(OpenKey(KeyName(L"publisher", ParentOfChild()))), m_rootSigningKey(m_rootKey.Get(), AT_SIGNATURE),
      m_publisherSigningKey(m_publisherKey.Get(), AT_SIGNATURE), m_root(RootOfChild(1)), m_oldRoot(RootOfChild(2)),
      m_publisher(Issue(CodeSigningRequest(L"CN=Publisher"))),
      m_trust(std::make_unique<CStoredCertificate>(L"TrustedPublisher", m_publisher.Get())) {}

CUniqueCertificate CTestAuthority::Issue(const CCertificateRequest& request, PCCERT_CONTEXT issuer,
                                         const CDigestAlgorithm& digest) const {
    const CCertificateIssuer by{issuer != nullptr ? issuer : Root(), m_rootSigningKey};
    CUniqueCertificate certificate = BuildCertificate(request, m_publisherKey.Get(), &by, digest);
    BindKey(certificate.Get(), KeyName(L"publisher", ParentOfChild()));
    return certificate;
}

CUniqueCertificate CTestAuthority::IssueAuthority(const std::wstring& subject, PCCERT_CONTEXT issuer) const {
    const CCertificateIssuer by{issuer != nullptr ? issuer : Root(), m_rootSigningKey};
    return BuildCertificate(AuthorityRequest(subject), m_rootKey.Get(), &by);
}

CUniqueCertificate CTestAuthority::IssueAuthority(const CCertificateRequest& request, HCRYPTPROV key,
                                                  const CDigestAlgorithm& digest) const {
    const CCertificateIssuer by{Root(), m_rootSigningKey};
    return BuildCertificate(request, key, &by, digest);
}

CUniqueCertificate CTestAuthority::IssueUnder(PCCERT_CONTEXT authority, const CSigningKey& key,
                                              const CCertificateRequest& request) const {
    const CCertificateIssuer by{authority, key};
    CUniqueCertificate certificate = BuildCertificate(request, m_publisherKey.Get(), &by);
    BindKey(certificate.Get(), KeyName(L"publisher", ParentOfChild()));
    return certificate;
}

CUniqueCertificate CTestAuthority::IssueRoot(const std::wstring& subject) const {
    return BuildCertificate(AuthorityRequest(subject), m_rootKey.Get());
}

CStoredCertificate::CStoredCertificate(const wchar_t* store, PCCERT_CONTEXT certificate, HKEY where)
    : m_where(where), m_store(store), m_certificate(ShareCertificate(certificate)) {
    AddToStore(OpenSystemStore(PlaceOf(where), store, StoreAccess::Write).Get(), certificate);
}

CStoredCertificate::~CStoredCertificate() {
    RemoveFromStore(m_where, m_store, m_certificate.Get());
}

CScratchStore::CScratchStore(HKEY where) : m_where(where) {}

CScratchStore::~CScratchStore() {
    RegDeleteTreeW(m_where, (std::wstring(StoresKey) + Name()).c_str());
}

std::wstring CScratchStore::Name() {
    return L"QuorlineTest" + std::to_wstring(GetCurrentProcessId());
}

void CScratchStore::Add(PCCERT_CONTEXT certificate) {
    AddToStore(OpenSystemStore(PlaceOf(m_where), Name().c_str(), StoreAccess::Write).Get(), certificate);
}

void RemoveFromStore(HKEY where, const std::wstring& store, PCCERT_CONTEXT certificate) {
    RegDeleteTreeW(where, (std::wstring(StoresKey) + store + L"\\Certificates\\" + ThumbprintOf(certificate)).c_str());
}

CPolicyValue::CPolicyValue(const wchar_t* name, DWORD value) : m_name(name) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, PolicyKey, name, REG_DWORD, &value, sizeof value);
}

CPolicyValue::CPolicyValue(const wchar_t* name, const wchar_t* text) : m_name(name) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, PolicyKey, name, REG_SZ, text,
                    static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t)));
}

CPolicyValue::~CPolicyValue() {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, PolicyKey, m_name.c_str());
}

CCertificateRequest AuthorityRequest(const std::wstring& subject) {
    return {subject, HoursFromNow(-10'000), HoursFromNow(10'000), {}, true, {}};
}

CCertificateRequest CodeSigningRequest(const std::wstring& subject) {
    return {subject, HoursFromNow(-100), HoursFromNow(1000), {szOID_PKIX_KP_CODE_SIGNING}, false, {}};
}

std::wstring SignWith(PCCERT_CONTEXT certificate, std::wstring_view text, ScriptKind kind,
                      std::initializer_list<PCCERT_CONTEXT> more) {
    CUniqueStore store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    for (const PCCERT_CONTEXT other : more)
        CertAddCertificateContextToStore(store.Get(), other, CERT_STORE_ADD_ALWAYS, nullptr);
    const CSigningCertificate signing(std::move(store), ShareCertificate(certificate));
    return CScriptSignerCore(signing).SignText(kind, text);
}

std::wstring WithSignature(std::wstring_view signedText, CBytesView signature, ScriptKind kind) {
    return std::wstring(SplitSignedText(kind, signedText).value().text) + FormatSignatureBlock(kind, signature);
}

CBytes SignatureOf(std::wstring_view signedText, ScriptKind kind) {
    return SplitSignedText(kind, signedText).value().signature;
}
