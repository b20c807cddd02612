// Proves a script's record and its loading from a file: Script.

#include "ScriptExecution/Script.h"

#include "ImportHook.h"
#include "LogLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class ScriptTest : public testing::Test {
protected:
    ScriptTest() {
        wchar_t folder[MAX_PATH];
        GetTempPathW(MAX_PATH, folder);
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        m_folder =
            std::filesystem::path(folder) / ("script-" + std::to_string(GetCurrentProcessId()) + "-" + test->name());
        std::filesystem::create_directories(m_folder);
        m_script.SetText(L"before");
    }
    ~ScriptTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    std::wstring Path(const wchar_t* name = L"save.vbs") const { return (m_folder / name).wstring(); }

    std::wstring Write(const std::string& bytes) const {
        std::ofstream(std::filesystem::path(Path()), std::ios::binary) << bytes;
        return Path();
    }

    std::filesystem::path m_folder;
    CLogLines m_log;
    CScript m_script;
};

struct CUniqueFile {
    CUniqueFile(const std::wstring& path, DWORD access, DWORD share)
        : handle(CreateFileW(path.c_str(), access, share, nullptr, OPEN_ALWAYS, 0, nullptr)) {}
    CUniqueFile(const CUniqueFile&) = delete;
    CUniqueFile& operator=(const CUniqueFile&) = delete;
    ~CUniqueFile() { CloseHandle(handle); }
    bool IsOpen() const { return handle != INVALID_HANDLE_VALUE; }
    HANDLE handle;
};

CScript Make(const wchar_t* name, const wchar_t* text, CScript::ScriptLanguageEnum language) {
    CScript script;
    script.SetScriptName(name);
    script.SetText(text);
    script.SetScriptLang(language);
    return script;
}

/// Records where it is told to load from.
class CRecordingScript : public CScript {
public:
    bool LoadTextFromFile(const std::wstring& path) override {
        loadedFrom = path;
        return true;
    }
    std::wstring loadedFrom;
};

class CDerivedScript : public CScript {
public:
    void CopyFrom(const CScript& other) { InitFrom(other); }
};

TEST_F(ScriptTest, ANewScriptIsEmptyAndHasNoLanguage) {
    CScript script;
    EXPECT_EQ(script.GetText(), L"");
    EXPECT_EQ(script.GetScriptName(), L"");
    EXPECT_EQ(script.GetScriptLang(), 2);
    EXPECT_EQ(CScript::LangNone, 2);
    EXPECT_EQ(CScript::LangVBScript, 0);
    EXPECT_EQ(CScript::LangJScript, 1);
    EXPECT_TRUE(script.ShouldRun(nullptr));
}

TEST_F(ScriptTest, CopiesCarryNameTextAndLanguage) {
    const CScript original = Make(L"save.js", L"x = 1", CScript::LangJScript);
    const CScript copy(original);
    CScript assigned;
    EXPECT_EQ(&(assigned = original), &assigned);
    CDerivedScript derived;
    derived.CopyFrom(original);
    for (const CScript* script :
         {&copy, static_cast<const CScript*>(&assigned), static_cast<const CScript*>(&derived)}) {
        EXPECT_EQ(script->GetScriptName(), L"save.js");
        EXPECT_EQ(script->GetText(), L"x = 1");
        EXPECT_EQ(script->GetScriptLang(), CScript::LangJScript);
    }
}

TEST_F(ScriptTest, LetterCaseMakesNoDifferenceButTheLanguageDoes) {
    const CScript base = Make(L"A", L"MsgBox 1", CScript::LangVBScript);
    const struct {
        CScript other;
        bool equal;
    } cases[] = {
        {Make(L"a", L"msgbox 1", CScript::LangVBScript), true},
        {Make(L"a", L"msgbox 1", CScript::LangJScript), false},
        {Make(L"b", L"MsgBox 1", CScript::LangVBScript), false},
        {Make(L"A", L"MsgBox 2", CScript::LangVBScript), false},
        {Make(L"A", L"MsgBox 1", CScript::LangVBScript), true},
    };
    for (const auto& [other, equal] : cases) {
        EXPECT_EQ(base == other, equal);
        EXPECT_EQ(base != other, !equal);
        EXPECT_EQ(other == base, equal);
    }
}

TEST_F(ScriptTest, DirectoryAndNameMeetAtOneBackslash) {
    const struct {
        const wchar_t* directory;
        const wchar_t* name;
        const wchar_t* path;
    } cases[] = {
        {L"C:\\dir", L"save.vbs", L"C:\\dir\\save.vbs"},
        {L"C:\\dir\\", L"\\save.vbs", L"C:\\dir\\save.vbs"},
        {L"C:\\dir\\", L"save.vbs", L"C:\\dir\\save.vbs"},
        {L"C:\\dir", L"\\save.vbs", L"C:\\dir\\save.vbs"},
        {L"", L"save.vbs", L"save.vbs"},
        {L"C:\\dir", L"", L"C:\\dir"},
        {L"C:\\dir\\", L"", L"C:\\dir\\"},
        {L"", L"", L""},
    };
    for (const auto& [directory, name, path] : cases) {
        CRecordingScript script;
        script.SetScriptName(name);
        EXPECT_TRUE(static_cast<CScript&>(script).LoadTextFromDirectory(directory));
        EXPECT_EQ(script.loadedFrom, path);
    }
}

TEST_F(ScriptTest, LoadsTheFileOfItsNameFromADirectory) {
    Write("x = 1");
    m_script.SetScriptName(L"save.vbs");
    EXPECT_TRUE(m_script.LoadTextFromDirectory(m_folder.wstring()));
    EXPECT_EQ(m_script.GetText(), L"x = 1");
}

TEST_F(ScriptTest, BytesBecomeTextAsUtf8UpToTheFirstZero) {
    const std::string large(70'000, 'x');
    const struct {
        std::string bytes;
        std::wstring text;
    } cases[] = {
        {"", L""},
        {"x = 1\r\ny = 2\n", L"x = 1\r\ny = 2\n"},
        {"\xEF\xBB\xBFx", L"\xFEFFx"},
        {std::string("ab\0cd", 5), L"ab"},
        {std::string("\0cd", 3), L""},
        {"gr\xC3\xB6\xC3\x9F\x65 \xF0\x9F\x98\x80", L"gr\x00F6\x00DF\x0065 \xD83D\xDE00"},
        {"a\xFFz", L"a\xFFFDz"},
        {std::string("\xFF\xFEx\0", 4), L"\xFFFD\xFFFDx"},
        {large, std::wstring(large.begin(), large.end())},
    };
    for (const auto& [bytes, text] : cases) {
        m_script.SetText(L"before");
        EXPECT_TRUE(m_script.LoadTextFromFile(Write(bytes)));
        EXPECT_EQ(m_script.GetText(), text);
    }
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

TEST_F(ScriptTest, AMissingFileLeavesTheTextAndLogsOneError) {
    EXPECT_FALSE(m_script.LoadTextFromFile(Path(L"no%s {0:%d}.vbs")));
    EXPECT_EQ(m_script.GetText(), L"before");
    EXPECT_THAT(m_log.Take(), ElementsAre(L"ERROR ScriptExecution.Script: Could not load script text from file '" +
                                          Path(L"no%s {0:%d}.vbs") + L"'"));
}

TEST_F(ScriptTest, AFileThatSomeoneWritesIsNotLoaded) {
    const CUniqueFile writer(Path(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_FALSE(m_script.LoadTextFromFile(Path()));
    EXPECT_THAT(m_log.Take(),
                ElementsAre(L"ERROR ScriptExecution.Script: Could not load script text from file '" + Path() + L"'"));
}

TEST_F(ScriptTest, AFileThatSomeoneReadsIsLoadedAndClosedAgain) {
    Write("x");
    {
        const CUniqueFile reader(Path(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
        EXPECT_TRUE(m_script.LoadTextFromFile(Path()));
    }
    EXPECT_TRUE(CUniqueFile(Path(), GENERIC_WRITE, 0).IsOpen());
}

TEST_F(ScriptTest, ASizeOver31BitsIsABadFileSizeAndTheFileIsClosed) {
    for (const long long size : {0x80000000LL, 0x100000000LL, 0x100000001LL}) {
        {
            const CUniqueFile file(Path(), GENERIC_WRITE, 0);
            ASSERT_TRUE(file.IsOpen());
            LARGE_INTEGER end;
            end.QuadPart = size;
            ASSERT_TRUE(SetFilePointerEx(file.handle, end, nullptr, FILE_BEGIN));
            ASSERT_TRUE(SetEndOfFile(file.handle));
        }
        EXPECT_FALSE(m_script.LoadTextFromFile(Path()));
        EXPECT_EQ(m_script.GetText(), L"before");
        EXPECT_THAT(m_log.Take(), ElementsAre(L"ERROR ScriptExecution.Script: Could not load script text from file '" +
                                              Path() + L"' -- bad file size"));
        EXPECT_TRUE(CUniqueFile(Path(), GENERIC_WRITE, 0).IsOpen());
    }
}

int __cdecl FailingStatus(int, struct _stat64*) {
    return -1;
}

TEST_F(ScriptTest, AnUnknownFileStatusIsABadFileSizeAndKeepsTheDescriptor) {
    Write("x");
    {
        const CImportHook hook(GetModuleHandleW(nullptr), "_fstat64", &FailingStatus);
        EXPECT_FALSE(m_script.LoadTextFromFile(Path()));
    }
    EXPECT_EQ(m_script.GetText(), L"before");
    EXPECT_THAT(m_log.Take(), ElementsAre(L"ERROR ScriptExecution.Script: Could not load script text from file '" +
                                          Path() + L"' -- bad file size"));
    EXPECT_FALSE(CUniqueFile(Path(), GENERIC_WRITE, FILE_SHARE_READ).IsOpen());
}

DWORD g_conversionError;
int WINAPI FailingConversion(UINT, DWORD, const char*, int, wchar_t*, int) {
    SetLastError(g_conversionError);
    return 0;
}

TEST_F(ScriptTest, TextThatCannotBeConvertedLogsTheSystemsErrorIfThereIsOne) {
    Write("x");
    for (const DWORD error : {DWORD{ERROR_NO_UNICODE_TRANSLATION}, DWORD{ERROR_SUCCESS}}) {
        {
            const CImportHook hook(GetModuleHandleW(nullptr), "MultiByteToWideChar", &FailingConversion);
            g_conversionError = error;
            EXPECT_FALSE(m_script.LoadTextFromFile(Path()));
        }
        EXPECT_EQ(m_script.GetText(), L"before");
        const auto lines = m_log.Take();
        if (error == ERROR_SUCCESS) {
            EXPECT_THAT(lines, IsEmpty());
            continue;
        }
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_THAT(lines[0], StartsWith(L"ERROR TalvinorGlobal: Could not load script text from file '" + Path() +
                                         L"' -- improper encoding. \""));
        EXPECT_THAT(lines[0], testing::HasSubstr(L"\" (1113); Called from ScriptExecution/Script.cpp; line "));
        EXPECT_THAT(lines[0], EndsWith(L"; CScript::LoadTextFromFile"));
    }
    EXPECT_TRUE(CUniqueFile(Path(), GENERIC_WRITE, 0).IsOpen());
}

} // namespace
