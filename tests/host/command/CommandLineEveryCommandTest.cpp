// What is the same for every command, asked of each that the program lists: help, options, and data of the shape that
// is documented. Proves command/CommandLine.

#include "CommandFixture.h"
#include "CommandList.h"
#include "StoreFile.h"
#include "WorkerProcess.h"

#include <nlohmann/json.hpp>

#include <map>
#include <regex>
#include <set>

namespace {
using nlohmann::json;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::string Replaced(const std::string& text, const char* what, const char* with) {
    return std::regex_replace(text, std::regex(what), with);
}

std::string HelpOf(const std::string& command) {
    return RunQuorline(FromUtf8(command) + L" --help").out;
}

/// What the help says of the data; empty when it says nothing.
std::string ShapeIn(const std::string& help) {
    std::smatch found;
    return std::regex_search(help, found, std::regex("\r\nWith --json:\r\n  (.*)\r\n\r\nExit codes:")) ? found.str(1)
                                                                                                       : "";
}

/// The guide's section about a command, whose heading names it, on one line.
std::string SectionOf(const std::string& guide, const std::string& command) {
    std::istringstream lines(guide);
    std::string section;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("## "))
            inside = line.find("`" + command + "`") != std::string::npos;
        if (inside)
            section += line + " ";
    }
    return Replaced(section, "\\s+", " ");
}

/// The texts in quotation marks.
std::set<std::string> QuotedIn(const std::string& shape) {
    std::set<std::string> quoted;
    const std::regex word("\"([^\"]*)\"");
    for (std::sregex_iterator found(shape.begin(), shape.end(), word), end; found != end; ++found)
        quoted.insert((*found)[1]);
    return quoted;
}

void ExpectKnownKeys(const json& value, const std::set<std::string>& known, const std::string& command) {
    for (const auto& [key, inner] : value.items()) {
        if (value.is_object()) {
            EXPECT_TRUE(known.contains(key)) << command << " tells '" << key << "', which its help does not";
        }
        if (inner.is_structured())
            ExpectKnownKeys(inner, known, command);
    }
}

class EveryCommand : public CommandTest {
protected:
    EveryCommand() {
        PutApps();
        StartNotepad();
        MakeStore(m_documents, L"1", {{L"a.txt"}, {L"b.txt", true}});
        std::ofstream(m_documents.Base() / L"1" / L"stray.txt") << "text";
        std::filesystem::create_directories(m_documents.Base() / L"broken");
        std::ofstream(m_documents.Base() / L"broken" / L"info.xml") << "<Nothing";
        Put(L"unsigned.js", "var x;\n");
        RunQuorline(L"cert --new-development --out " + Quoted(L"some.cer"));
    }
    /// For whoever comes next.
    ~EveryCommand() override {
        Register(L"");
        RunQuorline(L"trust " + Quoted(L"some.cer"));
    }

    /// What each command is given, so that it has something to tell.
    std::map<std::string, std::wstring> Arguments() const {
        const std::wstring apps = L" --apps " + Quoted(L"apps.json");
        const std::wstring scripts = L" " + Quoted(L"save.vbs") + L" " + Quoted(L"unsigned.js");
        return {{"save", L"--state hibernate" + apps},
                {"restore", L"--all --with " + Quoted(L"restore.js")},
                {"try", Quoted(L"save.vbs") + L" --process " + std::to_wstring(m_processId)},
                {"history", L""},
                {"forget", L"--recovered --permanently"},
                {"new", L"notepad --out " + Quoted(L"new")},
                {"check", apps},
                {"apps", L"--state hibernate" + apps},
                {"standby", L"--dry-run" + apps},
                {"hibernate", L"--dry-run" + apps},
                {"shutdown", L"--dry-run" + apps},
                {"register", L""},
                {"unregister", L""},
                {"doctor", L""},
                {"watch", L"--stop"},
                {"sign", scripts},
                {"verify", scripts},
                {"cert", L"--new-development --out " + Quoted(L"other.cer")},
                {"trust", Quoted(L"some.cer")},
                {"distrust", Quoted(L"some.cer")}};
    }
};
} // namespace

TEST(Help, HasAnExampleTheExitCodesTheCommonOptionsAndTheShapeOfTheData) {
    const auto commands = CommandsOf(L"quorline.exe");
    ASSERT_THAT(commands, testing::IsSupersetOf({"save", "restore", "history", "sign", "verify", "trust", "cert"}));
    EXPECT_THAT(commands, Not(testing::Contains("worker"))) << "nobody types it";
    for (const char* command : {"save", "restore", "try"})
        EXPECT_THAT(HelpOf(command), HasSubstr("Seconds that one script may take; 60 unless told\r\n")) << command;
    EXPECT_EQ(CWorkerLimits().step, std::chrono::seconds(60));
    for (const std::string& command : commands) {
        const CProgramResult help = RunQuorline(FromUtf8(command) + L" --help");
        EXPECT_EQ(help.exitCode, 0u);
        EXPECT_THAT(help.err, IsEmpty());
        EXPECT_THAT(help.out, AllOf(HasSubstr("\r\n  quorline " + command), HasSubstr("Exit codes:\r\n  0  done\r\n"),
                                    HasSubstr("\r\n  2  the command line or a file"), ContainsRegex("\n  --json +"),
                                    ContainsRegex("\n  --quiet +"), ContainsRegex("\n  --log-level ")))
            << command;
        EXPECT_THAT(ShapeIn(help.out), HasSubstr("{\"")) << command;
    }
}

TEST(Help, SaysOfTheDataWhatTheGuideSays) {
    const std::string guide = ReadBytes(L"" QUORLINE_DOCS "/quorline.md");
    for (const std::string& command : CommandsOf(L"quorline.exe")) {
        const std::string section = SectionOf(guide, command);
        EXPECT_THAT(section, Not(IsEmpty())) << command;
        EXPECT_THAT(section, HasSubstr(ShapeIn(HelpOf(command)))) << command;
    }
}

TEST_F(EveryCommand, TellsAsDataWhatItsHelpSaysAndNothingBeside) {
    const auto arguments = Arguments();
    for (const std::string& command : CommandsOf(L"quorline.exe")) {
        ASSERT_TRUE(arguments.contains(command)) << command;
        const std::wstring line = FromUtf8(command) + L" " + arguments.at(command);
        const CProgramResult result = RunQuorline(line + L" --json --quiet --log-level debug");
        const std::string help = HelpOf(command);
        EXPECT_THAT(help, HasSubstr("\r\n  " + std::to_string(result.exitCode) + "  ")) << command << result.err;
        ASSERT_TRUE(json::accept(result.out)) << command << ": " << result.out << result.err;
        const json answer = json::parse(result.out);
        EXPECT_FALSE(answer.empty()) << command;
        ExpectKnownKeys(answer, QuotedIn(ShapeIn(help)), command);
        EXPECT_THAT(RunQuorline(line + L" --quiet").out, IsEmpty()) << command;
    }
}
