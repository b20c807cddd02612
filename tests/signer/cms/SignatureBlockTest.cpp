// Proves that a block is written in one way and read in no other: SignatureBlock.

#include "cms/SignatureBlock.h"
#include "common/Base64.h"
#include "common/SignerErrors.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

CBytes Signature(std::size_t size) {
    CBytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<BYTE>(i * 37 + 11);
    return bytes;
}

std::wstring WithLineFeeds(std::wstring text) {
    std::erase(text, L'\r');
    return text;
}

std::wstring ReasonAgainst(std::wstring_view text, ScriptKind kind = ScriptKind::VBScript) {
    try {
        return SplitSignedText(kind, text) ? L"accepted" : L"not signed";
    } catch (const CRefusal& refusal) {
        return refusal.Reason();
    }
}

TEST(SignatureBlock, IsWrittenInCommentLinesOf64Characters) {
    EXPECT_EQ(L"\r\n'' SIG '' Begin signature block\r\n"
              L"'' SIG '' AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\r\n"
              L"'' SIG '' AA==\r\n"
              L"'' SIG '' End signature block\r\n",
              FormatSignatureBlock(ScriptKind::VBScript, CBytes(49)));
    EXPECT_EQ(L"\r\n// SIG // Begin signature block\r\n// SIG // AAAA\r\n// SIG // End signature block\r\n",
              FormatSignatureBlock(ScriptKind::JScript, CBytes(3)));
}

TEST(SignatureBlock, IsReadBackFromAnyText) {
    for (const std::wstring text : {L"", L"x = 1", L"x = 1\r\n", L"x = 1\n", L"\r\n\r\n", L"a\rb", L"' SIG \r\n"}) {
        for (const std::size_t size : {1u, 47u, 48u, 49u, 1400u}) {
            const std::wstring whole = text + FormatSignatureBlock(ScriptKind::VBScript, Signature(size));
            const auto split = SplitSignedText(ScriptKind::VBScript, whole);
            ASSERT_TRUE(split);
            EXPECT_EQ(text, split->text);
            EXPECT_EQ(Signature(size), split->signature);
        }
    }
}

TEST(SignatureBlock, LineFeedsAloneAreReadAsWell) {
    const std::wstring whole = L"x = 1\ny = 2\n" + FormatSignatureBlock(ScriptKind::JScript, Signature(100));
    const std::wstring changed = WithLineFeeds(whole);
    const auto split = SplitSignedText(ScriptKind::JScript, changed);
    ASSERT_TRUE(split);
    EXPECT_EQ(L"x = 1\ny = 2\n", split->text);
}

TEST(SignatureBlock, BelongsToOneLanguage) {
    const std::wstring whole = L"x" + FormatSignatureBlock(ScriptKind::VBScript, Signature(100));
    EXPECT_EQ(L"not signed", ReasonAgainst(whole, ScriptKind::JScript));
}

TEST(SignatureBlock, WordsOfABlockWithinALineAreText) {
    EXPECT_EQ(L"not signed", ReasonAgainst(L"x = 1 '' SIG '' Begin signature block\r\n"));
    EXPECT_EQ(L"not signed", ReasonAgainst(L" '' SIG '' End signature block\r\n'' SIG ''\r\n"));
}

TEST(SignatureBlock, AnythingButOneWholeBlockAtTheEndIsRefused) {
    const std::wstring block = FormatSignatureBlock(ScriptKind::VBScript, CBytes(49));
    const std::wstring line = L"'' SIG '' AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\r\n";
    const auto replaced = [&](const std::wstring& what, const std::wstring& by) {
        std::wstring text = L"x" + block;
        text.replace(text.find(what), what.size(), by);
        return text;
    };
    const std::wstring damaged = L"the signature block is damaged or cut off";
    const std::wstring lengths = L"the signature block is damaged: its lines differ in length";
    const std::wstring base64 = L"the signature block is damaged: it is not base64";
    const struct {
        std::wstring text;
        std::wstring reason;
    } cases[] = {
        {L"x" + block + L"y", L"there is text after the signature block"},
        {L"x" + block + L"\r\n", L"there is text after the signature block"},
        {L"x" + block + block, L"there is more than one signature block"},
        {L"x" + block + block.substr(2), L"there is more than one signature block"},
        {L"x" + block.substr(2), L"the signature block has lost its beginning"},
        {block.substr(2), L"the line break in front of the signature block is missing or was changed"},
        {L"x\n" + block.substr(2), L"the line break in front of the signature block is missing or was changed"},
        {L"x\r" + block.substr(2), L"the line break in front of the signature block is missing or was changed"},
        {replaced(L"'' SIG '' Begin signature block\r\n", L""), L"the signature block has lost its beginning"},
        {replaced(L"Begin", L"begin"), L"the signature block has lost its beginning"},
        {replaced(L"'' SIG '' End signature block\r\n", L""), damaged},
        {replaced(L"End signature block\r\n", L"End signature block"), damaged},
        {replaced(L"End signature block\r\n", L"End signature block\n"), damaged},
        {replaced(line, L"\r\n" + line), damaged},
        {replaced(line, L"x = 2\r\n" + line), damaged},
        {replaced(line, L"'' SIG '' \r\n" + line), lengths},
        {replaced(line, L"'' SIG '' AAAA\r\n" + line), lengths},
        {replaced(L"'' SIG '' AA==", L"'' SIG '' AAAA\r\n'' SIG '' AA=="), lengths},
        {replaced(L"AA==", L"AAA"), base64},
        {replaced(L"AA==", L"A==="), base64},
        {replaced(L"AA==", L"AB=="), base64},
        {replaced(L"AA==", L"AAB="), base64},
        {replaced(L"AA==", L"A A="), base64},
        {replaced(L"AA==", L"AA=A"), base64},
        {replaced(L"AA==", L"\x0410\x0410=="), base64},
    };
    for (const auto& [text, reason] : cases)
        EXPECT_EQ(reason, ReasonAgainst(text)) << testing::PrintToString(text);
}

TEST(SignatureBlock, CutOffAnywhereIsNeverAccepted) {
    const std::wstring whole = L"x = 1\r\n" + FormatSignatureBlock(ScriptKind::VBScript, Signature(200));
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_NE(L"accepted", ReasonAgainst(whole.substr(0, length))) << length;
    EXPECT_EQ(L"accepted", ReasonAgainst(whole));
}

TEST(SignatureBlock, ABlockOfAMegabyteIsRefused) {
    const std::wstring whole = FormatSignatureBlock(ScriptKind::VBScript, Signature(800'000));
    EXPECT_EQ(L"the signature block is too long", ReasonAgainst(whole));
}

TEST(Base64, BitsThatNoByteTakesMustBeZero) {
    EXPECT_EQ(CBytes({0, 0}), DecodeBase64(L"AAA="));
    EXPECT_EQ(CBytes({0}), DecodeBase64(L"AA=="));
    for (const wchar_t* const text : {L"AAB=", L"AAC=", L"AAD=", L"AB==", L"AI==", L"AP=="})
        EXPECT_THROW(DecodeBase64(text), CRefusal) << testing::PrintToString(text);
}

TEST(Base64, IsReadBackAsItWasWritten) {
    EXPECT_EQ(L"TWFu", EncodeBase64(CBytes{'M', 'a', 'n'}));
    EXPECT_EQ(L"TWE=", EncodeBase64(CBytes{'M', 'a'}));
    EXPECT_EQ(L"TQ==", EncodeBase64(CBytes{'M'}));
    for (std::size_t size = 1; size < 300; ++size)
        EXPECT_EQ(Signature(size), DecodeBase64(EncodeBase64(Signature(size))));
}

} // namespace
