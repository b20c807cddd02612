// Proves what a signature says of its script, language and digest, and that nothing else passes: IndirectData.

#include "cms/IndirectData.h"
#include "common/SignerErrors.h"
#include "DerWriter.h"

#include <gtest/gtest.h>

namespace {

TEST(IndirectData, IsReadBackAsItWasWritten) {
    for (const ScriptKind kind : {ScriptKind::VBScript, ScriptKind::JScript}) {
        const CBytes bytes = FormatIndirectData(kind, {&Sha256, CBytes(32, BYTE{9})});
        const CIndirectData data = ParseIndirectData(kind, bytes);
        EXPECT_STREQ(Sha256.oid, data.algorithm->oid);
        EXPECT_EQ(CBytes(32, BYTE{9}), data.digest);
    }
}

TEST(IndirectData, TheDigestIsOverTheTextAsUtf16WithoutAMark) {
    const CBytes text = Bytes({'a', 0, 0xE4, 0});
    EXPECT_EQ(ComputeDigest(Sha256, text), ComputeScriptDigest(Sha256, L"a\x00E4"));
    EXPECT_EQ(ComputeDigest(Sha256, text), ComputeScriptDigest(Sha256, L"\xFEFF"
                                                                       L"a\x00E4"));
    const CBytes empty = ComputeScriptDigest(Sha256, L"");
    EXPECT_EQ(Bytes({0xE3, 0xB0, 0xC4, 0x42}), CBytes(empty.begin(), empty.begin() + 4));
}

std::wstring ReasonAgainst(ScriptKind kind, const CBytes& bytes) {
    try {
        ParseIndirectData(kind, bytes);
        return L"accepted";
    } catch (const CRefusal& refusal) {
        return refusal.Reason();
    }
}

TEST(IndirectData, IsForOneLanguageOnly) {
    const std::wstring refused = L"the signature was made for a script in the other language";
    const CBytes digest = CBytes(32, BYTE{9});
    const CBytes visualBasic = FormatIndirectData(ScriptKind::VBScript, {&Sha256, digest});
    const CBytes javaScript = FormatIndirectData(ScriptKind::JScript, {&Sha256, digest});
    EXPECT_EQ(L"accepted", ReasonAgainst(ScriptKind::VBScript, visualBasic));
    EXPECT_EQ(L"accepted", ReasonAgainst(ScriptKind::JScript, javaScript));
    EXPECT_EQ(refused, ReasonAgainst(ScriptKind::JScript, visualBasic));
    EXPECT_EQ(refused, ReasonAgainst(ScriptKind::VBScript, javaScript));
}

TEST(IndirectData, AnythingElseIsRefused) {
    const std::wstring malformed = L"the signature block does not hold a well-formed signature";
    const std::wstring noScript = L"the signature was made for something else than a script";
    const char* const sipInfo = "1.3.6.1.4.1.311.2.1.30";
    const CBytes zero = DerInteger(0);
    const CBytes version = DerInteger(0x10000);
    const CBytes package = DerOctets(
        Bytes({0x4E, 0xF0, 0x29, 0x16, 0x99, 0x27, 0xB5, 0x4D, 0x8F, 0xE5, 0xAC, 0xE1, 0x0F, 0x17, 0xEB, 0xAB}));
    const auto subject = [](const char* oid, const CBytes& value) { return DerSequence({DerOid(oid), value}); };
    const CBytes script = subject(sipInfo, DerSequence({version, package, zero, zero, zero, zero, zero}));
    const CBytes digest = DerSequence({DerAlgorithm(Sha256.oid), DerOctets(CBytes(32))});
    const struct {
        const char* what;
        CBytes bytes;
        std::wstring reason;
    } cases[] = {
        {"another tool's version", DerSequence({script, digest}), L"accepted"},
        {"nothing", {}, malformed},
        {"an empty sequence", DerSequence({}), malformed},
        {"no digest", DerSequence({script}), malformed},
        {"something after the digest", DerSequence({script, digest, DerNull()}), malformed},
        {"another digest",
         DerSequence({script, DerSequence({DerAlgorithm("1.2.840.113549.2.5"), DerOctets(CBytes(16))})}),
         L"the script's digest is of an unknown kind"},
        {"something after the digest's value",
         DerSequence({script, DerSequence({DerAlgorithm(Sha256.oid), DerOctets(CBytes(32)), DerNull()})}), malformed},
        {"no subject", DerSequence({DerSequence({DerOid(sipInfo)}), digest}), malformed},
        {"a program", DerSequence({subject("1.3.6.1.4.1.311.2.1.15", DerSequence({})), digest}), noScript},
        {"another package",
         DerSequence(
             {subject(sipInfo, DerSequence({version, DerOctets(CBytes(16)), zero, zero, zero, zero, zero})), digest}),
         noScript},
        {"half a package",
         DerSequence(
             {subject(sipInfo, DerSequence({version, DerOctets(CBytes(8)), zero, zero, zero, zero, zero})), digest}),
         noScript},
        {"a field too few",
         DerSequence({subject(sipInfo, DerSequence({version, package, zero, zero, zero, zero})), digest}), malformed},
        {"a field too many",
         DerSequence({subject(sipInfo, DerSequence({version, package, zero, zero, zero, zero, zero, zero})), digest}),
         malformed},
    };
    for (const auto& [what, bytes, reason] : cases)
        EXPECT_EQ(reason, ReasonAgainst(ScriptKind::VBScript, bytes)) << what;
}

} // namespace
