// The function that makes a file name of a title: the samples' own text of it, in both languages, with what titles can
// hold. Whatever comes out names a file directly in the store's folder. Proves the samples.

#include "RealRun.h"
#include "SourceFile.h"

#include "InternalDocumentStore.h"

#include "Quorline.h"

#include <fstream>

namespace {
using testing::EndsWith;

struct CTitle {
    std::wstring title;
    std::wstring name;
};

const std::wstring Pair = L"\U0001F600"; // one character of two halves

const CTitle Titles[] = {
    {L"Letter", L"Letter"},
    {L"*Untitled", L"Untitled"},
    {L"* ** Untitled", L"Untitled"},
    {L"an * in the middle", L"an _ in the middle"},
    {L"what?", L"what_"},
    {L"a|b", L"a_b"},
    {L"<a>", L"_a_"},
    {L"\"a\"", L"_a_"},
    {L"a/b", L"a_b"},
    {L"a\\b", L"a_b"},
    {L"C:\\letters\\a.txt", L"C__letters_a.txt"},
    {L"..\\..\\x", L".._.._x"},
    {L"a:b", L"a_b"},
    {L"100% by hand", L"100_ by hand"},
    {L"%TEMP%", L"_TEMP_"},
    {L"{0:%s}", L"{0__s}"},
    {L"R&D (1) [x] 'y' ^z ! ~ $ # @ ; , = + `", L"R&D (1) [x] 'y' ^z ! ~ $ # @ ; , = + `"},
    {L"a\tb\r\nc\x1b"
     L"d\x7f"
     L"e\u0085"
     L"f",
     L"a_b__c_d_e_f"},
    {L"invoice\u202Etxt.vbs", L"invoice_txt.vbs"},
    {L"\u200Fright\u2066left\u2069 line\u2028end\u061C", L"_right_left_ line_end_"},
    {L"NUL", L"_NUL"},
    {L"nul.txt", L"_nul.txt"},
    {L"Aux .tar.gz", L"_Aux .tar.gz"},
    {L"con", L"_con"},
    {L"PRN.", L"_PRN"},
    {L"CONIN$", L"_CONIN$"},
    {L"conout$.x", L"_conout$.x"},
    {L"COM1", L"_COM1"},
    {L"lpt9.doc", L"_lpt9.doc"},
    {L"COM\u00B9", L"_COM\u00B9"},
    {L"com0", L"_com0"},
    {L"COM10", L"COM10"},
    {L"NULL", L"NULL"},
    {L"console", L"console"},
    {L"an aux", L"an aux"},
    {L"invoice.vbs", L"invoice.vbs"},
    {L"name. . ", L"name"},
    {L"name...", L"name"},
    {L"  name", L"name"},
    {L"", L"Untitled"},
    {L"   ", L"Untitled"},
    {L"***", L"Untitled"},
    {L"...", L"Untitled"},
    {L"..", L"Untitled"},
    {L".hidden", L".hidden"},
    {std::wstring(60, L'x'), std::wstring(60, L'x')},
    {std::wstring(61, L'x'), std::wstring(60, L'x')},
    {std::wstring(5000, L'\u4E2D'), std::wstring(60, L'\u4E2D')},
    {std::wstring(58, L'x') + Pair + L"y", std::wstring(58, L'x') + Pair},
    {std::wstring(59, L'x') + Pair, std::wstring(59, L'x')},
    {std::wstring(57, L'x') + L" .y", std::wstring(57, L'x') + L" .y"},
    {std::wstring(58, L'x') + L" .y", std::wstring(58, L'x')},
    {Pair + L" " + Pair, Pair + L" " + Pair},
    {L"a\xD83D"
     L"b\xDE00\xDE00"
     L"c\xD83D",
     L"abc"},
    {L"Gr\u00FC\u00DFe \u041F\u0440\u0438\u0432\u0435\u0442 \u4E2D\u6587",
     L"Gr\u00FC\u00DFe \u041F\u0440\u0438\u0432\u0435\u0442 \u4E2D\u6587"},
};

std::wstring FunctionOf(const std::string& sample) {
    const std::wstring text = ReadSource(sample);
    return sample.ends_with(".vbs") ? PartOf(text, L"Function SafeName(", L"End Function\n")
                                    : PartOf(text, L"function safeName(", L"\n}\n");
}

/// The function of one language.
class CSafeName {
public:
    explicit CSafeName(const wchar_t* language) : m_engine(language) {
        const bool visualBasic = std::wstring_view(language) == L"VBScript";
        m_name = visualBasic ? L"SafeName" : L"safeName";
        const std::wstring text = FunctionOf(visualBasic ? "samples/notepad-save.vbs" : "samples/notepad-save.js");
        if (!m_engine.Run(text.c_str()))
            throw std::runtime_error("the function is no script");
    }
    std::wstring operator()(const std::wstring& title) { return m_engine.Call(m_name, title); }

private:
    CScriptEngine m_engine;
    const wchar_t* m_name;
};

class ASafeName : public CRealRun {};
} // namespace

TEST_F(ASafeName, IsMadeOfAnyTitleInBothLanguages) {
    for (const wchar_t* language : Languages) {
        CSafeName safeName(language);
        for (const CTitle& test : Titles) {
            EXPECT_EQ(safeName(test.title), test.name) << language;
            EXPECT_EQ(safeName(test.name), test.name) << "a safe name stays as it is";
        }
    }
}

TEST_F(ASafeName, HoldsNoCharacterThatAFileNameMayNotHold) {
    CSafeName visualBasic(L"VBScript");
    CSafeName java(L"JScript");
    const auto isKept = [](unsigned int c) {
        const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
        const bool turnsText =
            c == 0x61C || c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
        const bool isRefused =
            c < 0x80 && std::wstring_view(L"\"%*/:<>?\\|").find(static_cast<wchar_t>(c)) != std::wstring_view::npos;
        return !isControl && !turnsText && !isRefused;
    };
    constexpr unsigned int AtATime = 50;
    for (unsigned int first = 1; first < 0x3000; first += AtATime) {
        std::wstring title = L"a";
        std::wstring expected = L"a";
        for (unsigned int c = first; c < first + AtATime; ++c) {
            title += static_cast<wchar_t>(c);
            expected += isKept(c) ? static_cast<wchar_t>(c) : L'_';
        }
        ASSERT_EQ(visualBasic(title + L"b"), expected + L"b") << first;
        ASSERT_EQ(java(title + L"b"), expected + L"b") << first;
    }
}

TEST_F(ASafeName, NamesAFileDirectlyInTheStore) {
    CInternalDocumentStore store;
    CComPtr<IDocumentStore> object;
    ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
    std::wstring folder;
    store.GetStorageDirectory(folder, true);
    CSafeName safeName(L"JScript");
    for (const CTitle& test : Titles) {
        CComBSTR path;
        ASSERT_EQ(object->GetNew(CComBSTR(safeName(test.title).c_str()), CComBSTR(L""), CComVariant(L".txt"), &path),
                  S_OK)
            << test.name;
        EXPECT_EQ(std::filesystem::path(path.m_str).parent_path().wstring(), folder);
        EXPECT_THAT(std::wstring(path), EndsWith(L".txt"));
        const CUniqueHandle file(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
        EXPECT_TRUE(file) << test.name;
        EXPECT_EQ(GetFileType(file.Get()), static_cast<DWORD>(FILE_TYPE_DISK)) << test.name;
    }
}

TEST_F(ASafeName, IsMadeTheSameWayByAllSamples) {
    for (const char* name : {"wordpad", "word", "excel"})
        EXPECT_EQ(FunctionOf("samples/" + std::string(name) + "-save.vbs"), FunctionOf("samples/notepad-save.vbs"))
            << name;
    EXPECT_EQ(FunctionOf("samples/wordpad-save.js"), FunctionOf("samples/notepad-save.js"));
}
