// Proves in which encodings scripts are read and given more text: ScriptText.

#include "cms/ScriptText.h"
#include "common/SignerErrors.h"

#include "TempFolder.h"

#include <gtest/gtest.h>

namespace {

TEST(ScriptText, TheKindComesFromTheExtension) {
    for (const wchar_t* const name : {L".vbs", L".VBS", L"save.vbs", L"C:\\a.b\\save.Vbs"})
        EXPECT_EQ(ScriptKind::VBScript, ScriptKindOf(name));
    for (const wchar_t* const name : {L".js", L".JS", L"save.vbs.js", L"C:/x.vbs/save.js"})
        EXPECT_EQ(ScriptKind::JScript, ScriptKindOf(name));
    for (const wchar_t* const name : {L"", L"vbs", L".vbe", L".txt", L"save.vbs.txt", L"C:\\x.vbs\\save", L"save.vbs "})
        EXPECT_THROW(ScriptKindOf(name), CSignerError) << testing::PrintToString(name);
}

TEST(ScriptText, FilesAreReadInTheirEncoding) {
    const CTempFolder folder;
    const struct {
        std::string bytes;
        std::wstring text;
    } cases[] = {
        {"", L""},
        {"x = 1\r\n", L"x = 1\r\n"},
        {"\xC3\xA4\xE2\x82\xAC", L"\x00E4\x20AC"},
        {"\xEF\xBB\xBFx", L"\xFEFFx"},
        {{"\xFF\xFEx\0\xE4\0", 6}, L"\xFEFFx\x00E4"},
        {{"\xFF\xFE", 2}, L"\xFEFF"},
    };
    for (const auto& [bytes, text] : cases) {
        const CScriptFile file(folder.Write(L"a.vbs", bytes));
        EXPECT_EQ(text, file.Text());
        const CBytes same = file.Replace(text.size(), L"");
        EXPECT_EQ(bytes, std::string(same.begin(), same.end()));
    }
}

TEST(ScriptText, MoreTextIsWrittenInTheEncodingOfTheFile) {
    const CTempFolder folder;
    const CBytes utf8 = CScriptFile(folder.Write(L"a.vbs", "\xEF\xBB\xBF\xC3\xA4y")).Replace(2, L"z");
    EXPECT_EQ("\xEF\xBB\xBF\xC3\xA4z", std::string(utf8.begin(), utf8.end()));
    const CBytes utf16 = CScriptFile(folder.Write(L"b.vbs", {"\xFF\xFE\xE4\0y\0", 6})).Replace(2, L"z");
    EXPECT_EQ(std::string("\xFF\xFE\xE4\0z\0", 6), std::string(utf16.begin(), utf16.end()));
}

TEST(ScriptText, OtherEncodingsAreNamedAsTheError) {
    const CTempFolder folder;
    for (const std::string& bytes : {std::string("\xE4"), std::string("\xFE\xFF\0x", 4), std::string("\xFF\xFEx", 3)}) {
        try {
            const CScriptFile file(folder.Write(L"a.vbs", bytes));
            ADD_FAILURE() << "accepted";
        } catch (const CSignerError& error) {
            EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION), error.Result());
        }
    }
}

TEST(ScriptText, AMissingFileIsAnError) {
    const CTempFolder folder;
    try {
        const CScriptFile file(folder.Path(L"missing.vbs"));
        ADD_FAILURE() << "accepted";
    } catch (const CSignerError& error) {
        EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), error.Result());
        EXPECT_NE(std::wstring::npos, error.Text().find(L"missing.vbs"));
    }
}

} // namespace
