// Proves that no bytes at all are taken for a signature, and that refusing and signing leave nothing behind.

#include "cms/SignatureBlock.h"
#include "common/CryptHandles.h"
#include "DerWriter.h"
#include "ProcessUse.h"
#include "ScriptVerifier.h"
#include "SignedDataEditor.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <random>

namespace {

constexpr wchar_t Script[] = L"x = 1\r\n";

int Rounds(int normal, int soak) {
    return std::getenv("SIGNER_SOAK") != nullptr ? soak : normal;
}

bool Accepted(const CBytes& signature) {
    return CScriptVerifier()
        .VerifyText(ScriptKind::VBScript, Script + FormatSignatureBlock(ScriptKind::VBScript, signature))
        .accepted;
}

DWORD HandleGrowth(int rounds, const std::function<void()>& action) {
    const DWORD before = HandlesInUse();
    for (int i = 0; i < rounds; ++i)
        action();
    const DWORD after = HandlesInUse();
    return after > before ? after - before : 0;
}

std::size_t HeapGrowth(int rounds, const std::function<void()>& action) {
    const std::size_t before = HeapBytesInUse();
    for (int i = 0; i < rounds; ++i)
        action();
    const std::size_t after = HeapBytesInUse();
    return after > before ? after - before : 0;
}

/// Runs an action many times; the heap and the handles must be as after the first rounds, apart from the handles that
/// the same rounds of what the system itself does for it leave open.
void ExpectNothingLeft(
    int rounds, const std::function<void()>& action, const std::function<void()>& systemsPart = [] {}) {
    for (int i = 0; i < 50; ++i)
        action();
    const DWORD systemsHandles = HandleGrowth(rounds, systemsPart);
    EXPECT_LE(HandleGrowth(rounds, action), systemsHandles + 2);
    // A leak of one small block a round would show, each time. A heap that keeps freed blocks in groups, one group for
    // each size, looks fuller now and then.
    const std::size_t allowed = static_cast<std::size_t>(rounds) * 8 + 4096;
    std::size_t growth = HeapGrowth(rounds, action);
    for (int again = 0; again < 4 && growth >= allowed; ++again)
        growth = HeapGrowth(rounds, action);
    EXPECT_LT(growth, allowed);
}

TEST(HostileInput, RandomBytesAreNeverASignature) {
    std::mt19937 random(20070921);
    ExpectNothingLeft(Rounds(2'000, 100'000), [&] {
        CBytes bytes(1 + random() % 600);
        for (BYTE& byte : bytes)
            byte = static_cast<BYTE>(random());
        EXPECT_FALSE(Accepted(bytes));
    });
}

/// Random elements of ASN.1 within one another get further into the reader than random bytes.
CBytes RandomElement(std::mt19937& random, int depth) {
    static constexpr BYTE tags[] = {0x02, 0x03, 0x04, 0x05, 0x06, 0x17, 0x18, 0x30, 0x31, 0xA0, 0xA1};
    const BYTE tag = tags[random() % std::size(tags)];
    CBytes content;
    if ((tag & 0x20) != 0 && depth > 0) {
        for (auto count = random() % 5; count > 0; --count) {
            const CBytes inner = RandomElement(random, depth - 1);
            content.insert(content.end(), inner.begin(), inner.end());
        }
    } else
        for (auto count = random() % 12; count > 0; --count)
            content.push_back(static_cast<BYTE>(random()));
    return DerElement(tag, {content});
}

TEST(HostileInput, RandomElementsAreNeverASignature) {
    std::mt19937 random(19700101);
    for (int i = Rounds(2'000, 100'000); i > 0; --i)
        EXPECT_FALSE(Accepted(RandomElement(random, 6)));
}

TEST(HostileInput, ASignatureWithSomeBytesChangedOrCutIsNeverAccepted) {
    const CBytes good = SignatureOf(SignWith(Authority().Publisher(), Script));
    ASSERT_TRUE(Accepted(good));
    std::mt19937 random(42);
    ExpectNothingLeft(Rounds(500, 20'000), [&] {
        CBytes bad = good;
        for (auto count = 1 + random() % 4; count > 0; --count) {
            const std::size_t place = random() % bad.size();
            const std::size_t length = std::min<std::size_t>(bad.size() - place, 1 + random() % 8);
            const auto at = bad.begin() + static_cast<std::ptrdiff_t>(place);
            switch (random() % 4) {
            case 0:
                bad.erase(at, at + static_cast<std::ptrdiff_t>(bad.size() > length ? length : 0));
                break;
            case 1:
                bad.insert(at, length, static_cast<BYTE>(random()));
                break;
            default:
                *at ^= static_cast<BYTE>(1 + random() % 255);
            }
        }
        if (bad != good) {
            EXPECT_FALSE(Accepted(bad));
        }
    });
}

TEST(HostileInput, LongNestingDoesNotExhaustTheStack) {
    CBytes bytes = DerNull();
    for (int depth = 0; depth < 3'000; ++depth)
        bytes = DerSequence({bytes});
    EXPECT_FALSE(Accepted(bytes));
}

TEST(HostileInput, AGiantKeyIsRefusedBeforeItIsUsed) {
    const CBytes name = DerSequence({});
    const CBytes algorithm = DerAlgorithm(szOID_RSA_SHA256RSA);
    CBytes number(20'000, BYTE{0x55});
    const CBytes key = DerSequence({DerElement(DerTag::Integer, {number}), DerElement(DerTag::Integer, {number})});
    const CBytes fields = DerSequence({DerElement(DerTag::Context(0), {DerInteger(2)}), DerInteger(1), algorithm, name,
                                       DerSequence({DerTime(HoursFromNow(-1)), DerTime(HoursFromNow(1))}), name,
                                       DerSequence({DerAlgorithm(szOID_RSA_RSA), DerBitString(key)})});
    const CBytes encoded = DerSequence({fields, algorithm, DerBitString(number)});
    const CUniqueCertificate giant(
        CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size())));
    ASSERT_TRUE(giant);
    CSignedDataParts parts(SignatureOf(SignWith(Authority().Publisher(), Script)));
    parts.AddCertificate(giant.Get());
    EXPECT_EQ(L"a key in the signature block is too long",
              CScriptVerifier()
                  .VerifyText(ScriptKind::VBScript, Script + FormatSignatureBlock(ScriptKind::VBScript, parts.Join()))
                  .reason);
}

TEST(HostileInput, AGoodScriptVerifiedOverAndOverLeavesNothingBehind) {
    const std::wstring text = SignWith(Authority().Publisher(), Script);
    ExpectNothingLeft(Rounds(150, 10'000),
                      [&] { EXPECT_TRUE(CScriptVerifier().VerifyText(ScriptKind::VBScript, text).accepted); });
}

TEST(HostileInput, SigningOverAndOverLeavesNothingBehind) {
    ExpectNothingLeft(
        Rounds(100, 2'000), [] { SignWith(Authority().Publisher(), Script); },
        // Wine leaves a handle open for each key container that is opened by name.
        [] {
            CUniqueProvider provider;
            DWORD keySpec = 0;
            BOOL owned = FALSE;
            ASSERT_TRUE(CryptAcquireCertificatePrivateKey(Authority().Publisher(), CRYPT_ACQUIRE_SILENT_FLAG, nullptr,
                                                          provider.Put(), &keySpec, &owned));
            ASSERT_TRUE(owned);
        });
}

} // namespace
