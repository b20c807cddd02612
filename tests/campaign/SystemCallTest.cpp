// Every imported function of the library that can fail is made to fail, call by call, through whole saves and restores:
// an HRESULT, a veto or a line of the log, and never a crash, a hang, a leak or the loss of a record that was there
// before. The work is done in another process, which a violation may end. Proves the library as a whole.

#include "CampaignFixture.h"
#include "CountTable.h"
#include "RandomRounds.h"
#include "Tally.h"

#include <sstream>

namespace {
constexpr const char* Columns[] = {"save", "restore", "unharmed", "told", "tolerated", "violations"};

/// What came of a run of campaign-host: counted, and where it stood.
class CFaultLines {
public:
    explicit CFaultLines(CCountTable& table) : m_table(table) {}

    /// Takes what a process has printed; false when it ended on the way.
    bool Read(const std::string& printed) {
        std::istringstream lines(printed);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string kind, phase, function;
            unsigned call = 0;
            words >> kind;
            if (kind == "end")
                return true;
            if (kind == "unknown") {
                words >> function;
                ADD_FAILURE() << "nobody has said how '" << function << "' fails: see KnownFailures.cpp";
                continue;
            }
            if (!(words >> phase >> function >> call)) {
                ADD_FAILURE() << line;
                return true;
            }
            if (kind == "at") {
                m_at = {phase, function, call};
                ++m_tried;
            } else if (kind != "absent")
                Count(kind, line);
        }
        return false;
    }

    /// The call that ended the process.
    void Violation(const std::string& text) {
        Count("VIOLATION", m_at.phase + " " + m_at.function + " " + std::to_string(m_at.call) + "; " + text);
    }

    /// Where the next process goes on, as campaign-host's arguments.
    std::wstring Next() const {
        if (m_tried == 0)
            return L" 0";
        const std::string next = " " + std::to_string(m_tried) + " " + m_at.phase + " " + m_at.function + " " +
                                 std::to_string(m_at.call + 1);
        return {next.begin(), next.end()};
    }

    /// Calls that were reached.
    unsigned Tried() const { return m_reached; }

private:
    struct CAt {
        std::string phase, function;
        unsigned call = 0;
    };

    void Count(const std::string& kind, const std::string& line) {
        ++m_reached;
        auto& counts = m_table[m_at.function];
        ++counts[m_at.phase == "save" ? 0 : 1];
        if (kind == "VIOLATION")
            ADD_FAILURE() << line;
        ++counts[kind == "whole" ? 2 : kind == "told" ? 3 : kind == "kept" ? 4 : 5];
    }

    CCountTable& m_table;
    CAt m_at;
    unsigned m_tried = 0;
    unsigned m_reached = 0;
};

using SystemCalls = CampaignTest;
} // namespace

TEST_F(SystemCalls, ASystemCallThatFailsCostsNothingThatWasThereBefore) {
    const CRandomRounds calls(40); // 0 for all of them
    CCountTable table({std::begin(Columns), std::end(Columns)});
    CFaultLines lines(table);
    // An error in VBScript makes its engine lose the text of it.
    PutJScripts();
    for (int processes = 0; processes < 100; ++processes) {
        const CProgramResult result = RunLong(
            HostCommand(L"faults", std::to_wstring(calls.count) + L" " + std::to_wstring(calls.seed) + lines.Next()));
        if (lines.Read(result.out))
            break;
        lines.Violation("ended the process with " + std::to_string(result.exitCode) + ": " + result.err);
    }
    std::printf("calls that were made to fail, by function:\n");
    table.Print();
    PrintTally("system calls that failed in a save or restore", lines.Tried());
}
