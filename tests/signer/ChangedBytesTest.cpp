// Proves that every byte of a signed script counts: whatever is changed, the whole verification says "refused" and goes
// on. Runs a part of the changes, spread evenly from a place that a seed gives; all of them when SIGNER_SOAK is set.
// SIGNER_SEED repeats a run.

#include "cms/SignatureBlock.h"
#include "DerWriter.h"
#include "ScriptVerifier.h"
#include "SignedDataEditor.h"
#include "Tally.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

using CMilliseconds = std::chrono::milliseconds;

/// A byte can become 255 others.
constexpr std::size_t Others = 255;

/// How many changes there are to each that is run. No divisor of 255, so that every place meets different values.
struct CStride {
    std::size_t normal, soak;
    std::size_t Get() const { return std::getenv("SIGNER_SOAK") != nullptr ? soak : normal; }
};
constexpr CStride Everything{16, 1};
constexpr CStride Sample{4001, 101};

std::size_t Seed() {
    static const std::size_t seed = [] {
        const char* const given = std::getenv("SIGNER_SEED");
        return given != nullptr ? std::strtoul(given, nullptr, 10) : GetTickCount() % 100'000;
    }();
    return seed;
}

/// A trusted publisher whose certificate has an extension of most kinds that the platform decodes.
class ChangedBytes : public testing::TestWithParam<ScriptKind> {
protected:
    ChangedBytes() {
        CCertificateParts parts(EncodedBytes(Authority().Publisher()));
        const CCertificateFields root = ParseCertificate(EncodedBytes(Authority().Root()));
        const CBytes rootName = DerElement(DerTag::Context(4), {root.issuer});
        const CBytes rootNumber = DerElement(DerTag::ContextValue(2), {root.serial});
        const CBytes mail = Text(DerTag::ContextValue(1), "a@example.com");
        const CBytes host = Text(DerTag::ContextValue(6), "http://example.com/");
        parts.AddExtension(szOID_SUBJECT_ALT_NAME2, DerSequence({mail, host}));
        parts.AddExtension(szOID_SUBJECT_KEY_IDENTIFIER, DerOctets(CBytes(20, BYTE{1})));
        parts.AddExtension(szOID_AUTHORITY_KEY_IDENTIFIER2,
                           DerSequence({DerElement(DerTag::Context(1), {rootName}), rootNumber}));
        parts.AddExtension(szOID_CERT_POLICIES, DerSequence({DerSequence({DerOid("1.2.3.4")})}));
        parts.AddExtension(szOID_BASIC_CONSTRAINTS2, DerSequence({}));
        parts.AddExtension(szOID_AUTHORITY_INFO_ACCESS, DerSequence({DerSequence({DerOid(szOID_PKIX_OCSP), mail})}));
        const CBytes encoded = parts.Join(Authority().RootKey());
        const CUniqueCertificate publisher(
            CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size())));
        m_trust = std::make_unique<CStoredCertificate>(L"TrustedPublisher", publisher.Get());
        CSignedDataParts signature(SignatureOf(SignWith(Authority().Publisher(), Script(), GetParam()), GetParam()));
        signature.certificates = DerSetOf({encoded}, DerTag::Context(0));
        m_signature = signature.Join();
    }

    static std::wstring Script() {
        return GetParam() == ScriptKind::VBScript ? L"Dim x\r\nx = 1\r\n" : L"var x;\r\nx = 1;\r\n";
    }
    std::wstring SignedText(const CBytes& signature) const {
        return Script() + FormatSignatureBlock(GetParam(), signature);
    }
    static bool Accepted(std::wstring_view text) { return CScriptVerifier().VerifyText(GetParam(), text).accepted; }

    /// Runs the share of so many changes that is this run's; change(i) makes the i-th and returns the whole text.
    void ExpectAllRefused(const char* what, const CStride& strides, std::size_t changes,
                          const std::function<std::wstring(std::size_t)>& change) {
        const std::size_t stride = strides.Get();
        ASSERT_TRUE(Accepted(SignedText(m_signature)));
        const auto start = std::chrono::steady_clock::now();
        std::size_t count = 0;
        for (std::size_t i = Seed() % stride; i < changes; i += stride, ++count)
            ASSERT_FALSE(Accepted(change(i))) << what << " " << i << ", SIGNER_SEED=" << Seed();
        ASSERT_LT(0u, count);
        const auto taken = std::chrono::duration_cast<CMilliseconds>(std::chrono::steady_clock::now() - start).count();
        PrintTally(
            (std::string("changes of ") + what + (GetParam() == ScriptKind::VBScript ? ", VBScript" : ", JScript"))
                .c_str(),
            count);
        printf("%-36s %s: %8zu of %8zu refused, seed %zu, %lld ms\n", what,
               GetParam() == ScriptKind::VBScript ? "VBScript" : "JScript ", count, changes, Seed(),
               static_cast<long long>(taken));
    }

    CBytes m_signature;
    std::unique_ptr<CStoredCertificate> m_trust;
};

/// What a byte is changed by; never nothing.
template <class T> void Change(T& value, std::size_t by) {
    value = static_cast<T>(value ^ (by % Others + 1));
}

/// The second byte of a pair meets each of its other values once while the first does, in an order of its own.
std::size_t Companion(std::size_t place, std::size_t by) {
    return by * 101 + place * 37 + Seed();
}

TEST_P(ChangedBytes, AnyCharacterOfTheTextIsSeen) {
    const std::wstring good = SignedText(m_signature);
    ExpectAllRefused("a character of the text", Everything, good.size() * Others, [&](std::size_t i) {
        std::wstring bad = good;
        Change(bad[i / Others], i % Others);
        return bad;
    });
}

TEST_P(ChangedBytes, AnyTwoNeighbouringCharactersOfTheTextAreSeen) {
    const std::wstring good = SignedText(m_signature);
    ExpectAllRefused("two characters of the text", Everything, (good.size() - 1) * Others, [&](std::size_t i) {
        std::wstring bad = good;
        const std::size_t place = i / Others;
        Change(bad[place], i % Others);
        Change(bad[place + 1], Companion(place, i % Others));
        return bad;
    });
}

TEST_P(ChangedBytes, AnyByteOfTheSignatureIsSeen) {
    ExpectAllRefused("a byte of the signature", Everything, m_signature.size() * Others, [&](std::size_t i) {
        CBytes bad = m_signature;
        Change(bad[i / Others], i % Others);
        return SignedText(bad);
    });
}

TEST_P(ChangedBytes, AnyTwoNeighbouringBytesOfTheSignatureAreSeen) {
    ExpectAllRefused("two bytes of the signature", Everything, (m_signature.size() - 1) * Others, [&](std::size_t i) {
        CBytes bad = m_signature;
        const std::size_t place = i / Others;
        Change(bad[place], i % Others);
        Change(bad[place + 1], Companion(place, i % Others));
        return SignedText(bad);
    });
}

/// Where the platform's decoders are led astray both bytes take all values.
TEST_P(ChangedBytes, AnyValuesOfTwoNeighbouringBytesOfTheExtensionsAreSeen) {
    const CSignedData data = ParseSignedData(m_signature);
    const CCertificateParts certificate(data.certificates.at(0));
    const CBytes& first = certificate.extensions.front();
    const auto found = std::search(m_signature.begin(), m_signature.end(), first.begin(), first.end());
    const auto start = static_cast<std::size_t>(found - m_signature.begin());
    std::size_t length = 0;
    for (const CBytes& extension : certificate.extensions)
        length += extension.size();
    ExpectAllRefused("two bytes of the extensions", Sample, (length - 1) * Others * Others, [&](std::size_t i) {
        CBytes bad = m_signature;
        const std::size_t place = start + i / Others / Others;
        Change(bad[place], i / Others % Others);
        Change(bad[place + 1], i % Others);
        return SignedText(bad);
    });
}

INSTANTIATE_TEST_SUITE_P(BothLanguages, ChangedBytes, testing::Values(ScriptKind::VBScript, ScriptKind::JScript),
                         [](const auto& info) { return info.param == ScriptKind::VBScript ? "VBScript" : "JScript"; });

} // namespace
