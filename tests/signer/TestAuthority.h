#pragma once

// A root that this machine trusts while the test program runs, and certificates under it. A root counts only in
// programs that start after it was stored, so the program stores it, runs itself again as a child, and takes it back
// when the child has ended, however it ended.

#include "asn1/CertificateFields.h"
#include "CertificateBuilder.h"
#include "certificates/CertificateStore.h"
#include "cms/SignedData.h"
#include "crypto/KeyContainer.h"
#include "ScriptSignerCore.h"

#include <memory>

class CTestAuthority {
public:
    /// In the child only.
    static CTestAuthority& Instance();

    PCCERT_CONTEXT Root() const { return m_root.Get(); }
    /// Trusted as well, and signed with SHA-1. It has the root's key.
    PCCERT_CONTEXT OldRoot() const { return m_oldRoot.Get(); }
    /// A certificate under the root, or under another one with the root's key. Its key is the publisher's.
    CUniqueCertificate Issue(const CCertificateRequest& request, PCCERT_CONTEXT issuer = nullptr,
                             const CDigestAlgorithm& digest = Sha256) const;
    CUniqueCertificate IssueAuthority(const std::wstring& subject, PCCERT_CONTEXT issuer = nullptr) const;
    /// The same with more to choose; the digest is that of the issuer's signature.
    CUniqueCertificate IssueAuthority(const CCertificateRequest& request, HCRYPTPROV key,
                                      const CDigestAlgorithm& digest = Sha256) const;
    /// A certificate with the publisher's key under an authority with a key of its own.
    CUniqueCertificate IssueUnder(PCCERT_CONTEXT authority, const CSigningKey& key,
                                  const CCertificateRequest& request) const;
    /// The same, by itself; not trusted.
    CUniqueCertificate IssueRoot(const std::wstring& subject) const;
    const CSigningKey& PublisherKey() const { return m_publisherSigningKey; }
    const CSigningKey& RootKey() const { return m_rootSigningKey; }
    HCRYPTPROV RootProvider() const { return m_rootKey.Get(); }
    HCRYPTPROV PublisherProvider() const { return m_publisherKey.Get(); }

    /// A publisher as it should be: for code signing, valid now, a trusted publisher as long as the program runs.
    PCCERT_CONTEXT Publisher() const { return m_publisher.Get(); }

    /// The parent's part; returns the child's exit code.
    static int RunChild();
    static bool IsChild();

private:
    CTestAuthority();

    CUniqueProvider m_rootKey;
    CUniqueProvider m_publisherKey;
    CSigningKey m_rootSigningKey;
    CSigningKey m_publisherSigningKey;
    CUniqueCertificate m_root;
    CUniqueCertificate m_oldRoot;
    CUniqueCertificate m_publisher;
    std::unique_ptr<class CStoredCertificate> m_trust;
};

inline CTestAuthority& Authority() {
    return CTestAuthority::Instance();
}

/// A certificate in one of the machine's or the user's stores, for a scope.
class CStoredCertificate {
public:
    CStoredCertificate(const wchar_t* store, PCCERT_CONTEXT certificate, HKEY where = HKEY_LOCAL_MACHINE);
    CStoredCertificate(const CStoredCertificate&) = delete;
    CStoredCertificate& operator=(const CStoredCertificate&) = delete;
    ~CStoredCertificate();

private:
    HKEY m_where;
    std::wstring m_store;
    CUniqueCertificate m_certificate;
};

/// A store of the machine or the user that only this program uses, for a scope.
class CScratchStore {
public:
    explicit CScratchStore(HKEY where = HKEY_CURRENT_USER);
    CScratchStore(const CScratchStore&) = delete;
    CScratchStore& operator=(const CScratchStore&) = delete;
    ~CScratchStore();

    /// The same for the machine's and the user's.
    static std::wstring Name();
    void Add(PCCERT_CONTEXT certificate);

private:
    HKEY m_where;
};

/// Takes a certificate off the record of a system store: HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER. Directly in the
/// registry, because deleting it from an open store does not last under Wine.
void RemoveFromStore(HKEY where, const std::wstring& store, PCCERT_CONTEXT certificate);

/// A value under the signer's policy key, for a scope. Type and value as given; what was there comes back.
class CPolicyValue {
public:
    CPolicyValue(const wchar_t* name, DWORD value);
    CPolicyValue(const wchar_t* name, const wchar_t* text);
    CPolicyValue(const CPolicyValue&) = delete;
    CPolicyValue& operator=(const CPolicyValue&) = delete;
    ~CPolicyValue();

private:
    std::wstring m_name;
};

CCertificateRequest CodeSigningRequest(const std::wstring& subject);
CCertificateRequest AuthorityRequest(const std::wstring& subject);

/// Signs with a certificate that CTestAuthority issued; more certificates go into the block.
std::wstring SignWith(PCCERT_CONTEXT certificate, std::wstring_view text, ScriptKind kind = ScriptKind::VBScript,
                      std::initializer_list<PCCERT_CONTEXT> more = {});

/// The same text with its PKCS#7 replaced, as whole lines.
std::wstring WithSignature(std::wstring_view signedText, CBytesView signature, ScriptKind kind = ScriptKind::VBScript);
CBytes SignatureOf(std::wstring_view signedText, ScriptKind kind = ScriptKind::VBScript);
