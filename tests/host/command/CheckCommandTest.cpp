// `quorline check` on files with every kind of mistake. Proves CheckCommand.

#include "CommandFixture.h"

#include <nlohmann/json.hpp>

#include <shlobj.h>

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

class CheckCommand : public CommandTest {
protected:
    CProgramResult Check(const std::wstring& options = L"") {
        return RunQuorline(L"check " + options + L" --apps " + Quoted(L"apps.json"));
    }
};
} // namespace

TEST_F(CheckCommand, AFileInOrderNamesItsScriptsSignersAndHowLongTheyLast) {
    PutApps();
    const CProgramResult result = Check();
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("save.vbs: signed by CN=Quorline Development until 20"),
                                  HasSubstr("restore.js: signed"), HasSubstr("apps.json' is in order")));
    EXPECT_THAT(result.err, IsEmpty());
}

TEST_F(CheckCommand, EveryMistakeIsToldWithItsLineAndKey) {
    Put(L"unsigned.vbs", "x = 1\r\n");
    Put(L"apps.json", "{\"applications\": [\n{\"friendlyName\": \"A\", \"executables\": [\"a\"],\n\"stateChanges\": "
                      "[\"nap\"], \"saveScript\": \"unsigned.vbs\"},\n{\"friendlyName\": \"B\", \"executables\": "
                      "[\"b.exe\"], \"stateChanges\": [\"standby\"],\n\"saveScript\": \"unsigned.vbs\",\n"
                      "\"restoreScript\": \"missing.js\"}]}");
    const CProgramResult result = Check();
    EXPECT_EQ(result.exitCode, 2u);
    EXPECT_THAT(result.err,
                AllOf(HasSubstr("line 2, applications/0/executables/0: 'a' can never match"),
                      HasSubstr("line 3, applications/0/stateChanges/0: unknown state 'nap'"),
                      HasSubstr("line 5, applications/1/saveScript: "),
                      HasSubstr("unsigned.vbs': not accepted: it is not signed"),
                      HasSubstr("line 6, applications/1/restoreScript: "), HasSubstr("missing.js' cannot be read")));
}

TEST_F(CheckCommand, WhatNobodyKnowsAndWhatIsThereTwiceAreMistakes) {
    PutSigned(L"save.vbs", "x = 1\r\n");
    Put(L"apps.json", "{\"applications\": [\n{\"friendlyName\": \"A\", \"executables\": [\"a.exe\"],\n\"stateChange\": "
                      "[\"standby\"], \"saveScript\": \"save.vbs\",\n\"stateChanges\": [\"standby\", \"standby\"],\n"
                      "\"saveScript\": \"save.vbs\"}]}");
    const CProgramResult result = Check();
    EXPECT_EQ(result.exitCode, 2u);
    EXPECT_THAT(result.err, AllOf(HasSubstr("line 3, applications/0/stateChange: "),
                                  HasSubstr("line 4, applications/0/stateChanges/1: "),
                                  HasSubstr("line 5, applications/0/saveScript: ")));
}

TEST_F(CheckCommand, SyntaxIsReadByTheEngineAndNothingRuns) {
    const std::string marker = ToUtf8(Path(L"ran.txt"));
    std::string escaped;
    for (const char c : marker)
        escaped += c == '\\' ? std::string("\\\\") : std::string(1, c);
    PutApps();
    PutSigned(L"save.vbs", "CreateObject(\"Scripting.FileSystemObject\").CreateTextFile(\"" + marker + "\").Close\r\n");
    PutSigned(L"restore.js",
              "new ActiveXObject('Scripting.FileSystemObject').CreateTextFile('" + escaped + "').Close();\r\n");
    EXPECT_EQ(Check().exitCode, 0u);
    EXPECT_FALSE(std::filesystem::exists(Path(L"ran.txt")));

    PutSigned(L"save.vbs", "x = 1\r\nIf Then\r\n");
    PutSigned(L"restore.js", "var x;\r\n\r\nx = (;\r\n");
    const CProgramResult result = Check();
    EXPECT_EQ(result.exitCode, 2u);
    EXPECT_THAT(result.err, AllOf(HasSubstr("syntax: 'save.vbs', line 2, character "),
                                  HasSubstr("syntax: 'restore.js', line 3, character ")));
}

TEST_F(CheckCommand, AMarkAndUtf16AreMistakesThatSayWhatToDo) {
    PutApps();
    const std::string utf16 = std::string("\xFF\xFEx\0=\0"
                                          "1\0",
                                          8);
    const struct {
        std::string bytes;
        const char* text;
    } cases[] = {{"\xEF\xBB\xBFvar x;\n", "it begins with a byte-order mark; save it as UTF-8 without one"},
                 {utf16, "it is saved as UTF-16; save it as UTF-8 without a byte-order mark"},
                 {"var x = '\xE4';\n", "it is not UTF-8; save it as UTF-8 without a byte-order mark"}};
    for (const auto& [bytes, text] : cases) {
        Put(L"restore.js", bytes);
        const CProgramResult checked = Check();
        EXPECT_EQ(checked.exitCode, 2u) << text;
        EXPECT_THAT(checked.err, HasSubstr(text));
        const CProgramResult sign = RunQuorline(L"sign " + Quoted(L"restore.js"));
        EXPECT_EQ(sign.exitCode, 1u) << text;
        EXPECT_THAT(sign.err, HasSubstr(std::string("was left unsigned: ") + text));
        EXPECT_EQ(ReadBytes(Path(L"restore.js")), bytes);
    }
}

TEST_F(CheckCommand, TellsProgramsTheSame) {
    PutApps();
    Put(L"restore.js", "var x;");
    const CProgramResult result = Check(L"--json");
    EXPECT_EQ(result.exitCode, 2u);
    const auto answer = nlohmann::json::parse(result.out);
    EXPECT_EQ(answer["mistakes"].size(), 0u);
    const auto& scripts = answer["applications"][0]["scripts"];
    EXPECT_EQ(scripts[0]["subject"], "CN=Quorline Development");
    EXPECT_EQ(scripts[0]["mistakes"].size(), 0u);
    EXPECT_THAT(scripts[1]["mistakes"][0], HasSubstr("it is not signed"));
}

TEST_F(CheckCommand, WithNoFileNamedTheMachinesOwnIsRead) {
    wchar_t data[MAX_PATH];
    SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, data);
    const std::filesystem::path folder = std::filesystem::path(data) / L"Quorline";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / L"applications.json") << R"({"applications": []})";
    const CProgramResult result = RunQuorline(L"check");
    std::filesystem::remove(folder / L"applications.json");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Quorline\\applications.json' is in order"));
    const CProgramResult missing = RunQuorline(L"check");
    EXPECT_EQ(missing.exitCode, 2u);
    EXPECT_THAT(missing.err, HasSubstr("Quorline\\applications.json' cannot be opened; name yours with --apps"));
}
