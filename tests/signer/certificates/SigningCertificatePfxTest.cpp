// Proves which certificate of a .pfx file signs, and that nothing of the file's key or of the user's keys is touched:
// SigningCertificate.

#include "cms/SignatureBlock.h"
#include "common/SignerErrors.h"
#include "ScriptSignerCore.h"
#include "TempFolder.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>

namespace {

/// A number from the older interface's form, least significant byte first.
CBytes Integer(CBytesView bytes) {
    CBytes number(bytes.rbegin(), bytes.rend());
    number.erase(number.begin(), std::ranges::find_if(number, [](BYTE byte) { return byte != 0; }));
    if (number.empty() || number.front() >= 0x80)
        number.insert(number.begin(), BYTE{0});
    return DerElement(DerTag::Integer, {number});
}

CBytes PrivateKey(HCRYPTPROV provider) {
    CUniqueCryptKey key;
    DWORD size = 0;
    EXPECT_TRUE(CryptGetUserKey(provider, AT_SIGNATURE, key.Put()));
    CryptExportKey(key.Get(), 0, PRIVATEKEYBLOB, 0, nullptr, &size);
    CBytes blob(size);
    EXPECT_TRUE(CryptExportKey(key.Get(), 0, PRIVATEKEYBLOB, 0, blob.data(), &size));
    RSAPUBKEY header{};
    std::memcpy(&header, blob.data() + sizeof(BLOBHEADER), sizeof header);
    const std::size_t full = header.bitlen / 8;
    CBytesView rest = CBytesView(blob).subspan(sizeof(BLOBHEADER) + sizeof header);
    const auto next = [&](std::size_t length) {
        const CBytes number = Integer(rest.first(length));
        rest = rest.subspan(length);
        return number;
    };
    const CBytes modulus = next(full);
    const CBytes prime1 = next(full / 2);
    const CBytes prime2 = next(full / 2);
    const CBytes exponent1 = next(full / 2);
    const CBytes exponent2 = next(full / 2);
    const CBytes coefficient = next(full / 2);
    const CBytes numbers = DerSequence({DerInteger(0), modulus, DerInteger(header.pubexp), next(full), prime1, prime2,
                                        exponent1, exponent2, coefficient});
    return DerSequence({DerInteger(0), DerAlgorithm(szOID_RSA_RSA), DerOctets(numbers)});
}

CBytes Content(const CBytes& bytes) {
    return DerSequence({DerOid(szOID_RSA_data), DerElement(DerTag::Context(0), {DerOctets(bytes)})});
}

CBytes Bag(const char* oid, const CBytes& value) {
    return DerSequence({DerOid(oid), DerElement(DerTag::Context(0), {value})});
}

/// A .pfx file with the publisher's key, without a password, and these certificates in this order.
std::string Pfx(std::initializer_list<PCCERT_CONTEXT> certificates) {
    CBytes bags = Bag("1.2.840.113549.1.12.10.1.1", PrivateKey(Authority().PublisherProvider()));
    for (const PCCERT_CONTEXT certificate : certificates) {
        const CBytes bag =
            Bag("1.2.840.113549.1.12.10.1.3", Bag("1.2.840.113549.1.9.22.1", DerOctets(EncodedBytes(certificate))));
        bags.insert(bags.end(), bag.begin(), bag.end());
    }
    const CBytes file = DerSequence({DerInteger(3), Content(DerSequence({Content(DerSequence({bags}))}))});
    return {file.begin(), file.end()};
}

std::wstring ThumbprintOrError(const std::wstring& path) {
    try {
        return ThumbprintOf(CSigningCertificate::FromPfx(path, L"").Get());
    } catch (const CSignerError& error) {
        return error.Text();
    }
}

TEST(Pfx, TheCertificateThatTheKeyBelongsToSignsAndTheOneAboveItTravelsAlong) {
    const CTempFolder folder;
    CCertificateRequest authority = AuthorityRequest(L"CN=Middle");
    // So that nothing but the key speaks for the other one.
    authority.usages = {szOID_PKIX_KP_CODE_SIGNING};
    authority.notBefore = HoursFromNow(-1);
    const CUniqueCertificate middle = Authority().IssueAuthority(authority, Authority().RootProvider());
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Under Middle"), middle.Get());
    const CStoredCertificate trusted(L"TrustedPublisher", leaf.Get());
    for (const std::string& file : {Pfx({leaf.Get(), middle.Get()}), Pfx({middle.Get(), leaf.Get()})}) {
        const CSigningCertificate signing = CSigningCertificate::FromPfx(folder.Write(L"a.pfx", file), L"");
        EXPECT_EQ(ThumbprintOf(leaf.Get()), ThumbprintOf(signing.Get()));
        const CVerification verification = CScriptVerifier().VerifyText(
            ScriptKind::VBScript, CScriptSignerCore(signing).SignText(ScriptKind::VBScript, L"x = 1\r\n"));
        EXPECT_TRUE(verification.accepted) << testing::PrintToString(verification.reason);
        EXPECT_EQ(L"CN=Under Middle", verification.subject);
    }
}

TEST(Pfx, WithoutACertificateForCodeSigningThatTheKeyBelongsToItIsRefused) {
    const CTempFolder folder;
    CCertificateRequest request = CodeSigningRequest(L"CN=Server");
    request.usages = {szOID_PKIX_KP_SERVER_AUTH};
    const std::wstring path = folder.Write(L"a.pfx", Pfx({Authority().Issue(request).Get()}));
    EXPECT_EQ(L"'" + path + L"' holds no certificate for code signing together with its private key",
              ThumbprintOrError(path));
    const std::wstring good = folder.Write(L"b.pfx", Pfx({Authority().Publisher()}));
    EXPECT_EQ(ThumbprintOf(Authority().Publisher()), ThumbprintOrError(good));
}

/// Every value of the user's registry by its whole name, below where keys and certificates may be kept. Without the
/// shell's, which tests that run meanwhile change.
std::map<std::wstring, CBytes> UserValues(const std::wstring& path = L"Software") {
    std::map<std::wstring, CBytes> values;
    CUniqueRegKey key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS)
        return values;
    wchar_t name[512];
    for (DWORD i = 0, size = std::size(name);
         RegEnumKeyExW(key.Get(), i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++i, size = std::size(name)) {
        if (_wcsicmp(name, L"Explorer") == 0)
            continue;
        values[path + L"\\" + name];
        values.merge(UserValues(path + L"\\" + name));
    }
    CBytes data(65536);
    for (DWORD i = 0, size = std::size(name), length = static_cast<DWORD>(data.size());
         RegEnumValueW(key.Get(), i, name, &size, nullptr, nullptr, data.data(), &length) == ERROR_SUCCESS;
         ++i, size = std::size(name), length = static_cast<DWORD>(data.size()))
        values[path + L" " + name] = CBytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length));
    return values;
}

constexpr DWORD DefaultProvider = PROV_RSA_FULL;

/// Empty when there is no such key.
CBytes PublicKeyOf(HCRYPTPROV provider, DWORD spec) {
    CUniqueCryptKey key;
    CBytes blob(2048);
    DWORD size = static_cast<DWORD>(blob.size());
    if (!CryptGetUserKey(provider, spec, key.Put()) ||
        !CryptExportKey(key.Get(), 0, PUBLICKEYBLOB, 0, blob.data(), &size))
        size = 0;
    blob.resize(size);
    return blob;
}

/// The user's default key container with both kinds of key, for a scope; one that was there before stays as it is.
class CDefaultContainer {
public:
    CDefaultContainer() {
        CUniqueProvider provider;
        m_made = CryptAcquireContextW(provider.Put(), nullptr, MS_ENHANCED_PROV_W, DefaultProvider,
                                      CRYPT_NEWKEYSET | CRYPT_SILENT) != FALSE;
        if (!m_made)
            return;
        for (const DWORD spec : {DWORD{AT_SIGNATURE}, DWORD{AT_KEYEXCHANGE}}) {
            CUniqueCryptKey key;
            EXPECT_TRUE(CryptGenKey(provider.Get(), spec, 1024u << 16, key.Put()));
        }
    }
    CDefaultContainer(const CDefaultContainer&) = delete;
    CDefaultContainer& operator=(const CDefaultContainer&) = delete;
    ~CDefaultContainer() {
        HCRYPTPROV none = 0;
        if (m_made)
            CryptAcquireContextW(&none, nullptr, MS_ENHANCED_PROV_W, DefaultProvider,
                                 CRYPT_DELETEKEYSET | CRYPT_SILENT);
    }

    static std::vector<CBytes> Keys() {
        CUniqueProvider provider;
        EXPECT_TRUE(CryptAcquireContextW(provider.Put(), nullptr, MS_ENHANCED_PROV_W, DefaultProvider, CRYPT_SILENT));
        return {PublicKeyOf(provider.Get(), AT_SIGNATURE), PublicKeyOf(provider.Get(), AT_KEYEXCHANGE)};
    }

private:
    bool m_made = false;
};

TEST(Pfx, TheUsersOwnKeysStayAsTheyAre) {
    const CTempFolder folder;
    const std::wstring path = folder.Write(L"a.pfx", Pfx({Authority().Publisher()}));
    const CDefaultContainer container;
    const std::vector<CBytes> keys = CDefaultContainer::Keys();
    const std::map<std::wstring, CBytes> values = UserValues();
    {
        const CSigningCertificate signing = CSigningCertificate::FromPfx(path, L"");
        EXPECT_NE(L"", CScriptSignerCore(signing).SignText(ScriptKind::VBScript, L"x = 1\r\n"));
        EXPECT_TRUE(values == UserValues());
    }
    EXPECT_TRUE(values == UserValues());
    // Reading the keys writes them anew.
    EXPECT_EQ(keys, CDefaultContainer::Keys());
    const std::wstring standIn = L"Software\\Morvane.signing-" + std::to_wstring(GetCurrentProcessId());
    CUniqueRegKey key;
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyExW(HKEY_CURRENT_USER, standIn.c_str(), 0, KEY_READ, key.Put()));
}

TEST(Pfx, WithoutADefaultContainerThereIsNoneAfterwards) {
    const CTempFolder folder;
    const std::wstring path = folder.Write(L"a.pfx", Pfx({Authority().Publisher()}));
    const std::map<std::wstring, CBytes> values = UserValues();
    EXPECT_LT(10u, values.size());
    CSigningCertificate::FromPfx(path, L"");
    EXPECT_THROW(CSigningCertificate::FromPfx(folder.Write(L"b.pfx", "no"), L""), CSignerError);
    EXPECT_TRUE(values == UserValues());
}

} // namespace
