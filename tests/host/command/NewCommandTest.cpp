// new, for a real Notepad. Proves NewCommand.

#include "CommandFixture.h"

#include <nlohmann/json.hpp>

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

using NewCommand = CommandTest;
} // namespace

TEST_F(NewCommand, WritesWhatSavesAndRestoresOnceItIsSigned) {
    StartNotepad();
    const CProgramResult made = RunQuorline(L"new notepad --out " + Quoted(L"scripts"));
    ASSERT_EQ(made.exitCode, 0u) << made.err;
    EXPECT_THAT(made.out, AllOf(HasSubstr("written    "), HasSubstr("notepad-save.js"), HasSubstr("quorline sign")));
    for (const wchar_t* script : {L"scripts\\notepad-save.js", L"scripts\\notepad-restore.js"})
        PutSigned(script, ReadBytes(Path(script)));
    const std::wstring apps = L" --apps " + Quoted(L"scripts\\notepad.json");
    const CProgramResult checked = RunQuorline(L"check" + apps);
    EXPECT_EQ(checked.exitCode, 0u) << checked.out << checked.err;
    const CProgramResult saved = RunQuorline(L"save --state hibernate" + apps);
    EXPECT_EQ(saved.exitCode, 0u) << saved.out << saved.err;
    EXPECT_EQ(Stored(L".txt").size(), 1u);
    TerminateProcess(m_notepad.Get(), 0);
    WaitForSingleObject(m_notepad.Get(), 60'000);
    const CProgramResult restored = RunQuorline(L"restore --all" + apps);
    EXPECT_EQ(restored.exitCode, 0u) << restored.out << restored.err;
    RunProgram(L"taskkill /f /im notepad.exe");
}

TEST_F(NewCommand, NothingThatIsThereIsWrittenOver) {
    StartNotepad();
    const CProgramResult made = RunQuorline(L"new notepad.exe --json --out " + Quoted(L"."));
    ASSERT_EQ(made.exitCode, 0u) << made.err;
    const auto answer = nlohmann::json::parse(made.out);
    for (const char* file : {"saveScript", "restoreScript", "applications"})
        EXPECT_TRUE(std::filesystem::exists(FromUtf8(answer[file].get<std::string>()))) << file;
    Put(L"notepad-restore.js", "mine");
    std::filesystem::remove(Path(L"notepad-save.js"));
    const CProgramResult again = RunQuorline(L"new notepad --out " + Quoted(L"."));
    EXPECT_EQ(again.exitCode, 2u);
    EXPECT_THAT(again.err, HasSubstr("is there already; nothing was written. Name another folder with --out.\r\n"));
    EXPECT_EQ(ReadBytes(Path(L"notepad-restore.js")), "mine");
    EXPECT_FALSE(std::filesystem::exists(Path(L"notepad-save.js")));
}

TEST_F(NewCommand, AProgramThatDoesNotRunIsNamed) {
    const CProgramResult result = RunQuorline(L"new no-such --quiet");
    EXPECT_EQ(result.exitCode, 2u);
    EXPECT_THAT(result.err, HasSubstr("no program 'no-such' runs; start it, and name it by its file name"));
    EXPECT_THAT(result.out, IsEmpty());
}
