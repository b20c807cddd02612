// Save and restore, killed by another process at random moments. Proves the library and the command as a whole.
// Whatever the moment:
//
// - every store that has a record is listed, and none is malformed;
// - every document whose script had finished writing it is restored by its own application's script;
// - no restore script is started twice, unless somebody asks for it by name;
// - stores that were complete before are the same, byte for byte.

#include "CommandFixture.h"
#include "RandomRounds.h"
#include "RunningApp.h"
#include "Tally.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <map>
#include <random>
#include <set>

namespace {
using nlohmann::json;
using std::chrono::milliseconds;

constexpr const char* SaveThree = R"(var files = new ActiveXObject("Scripting.FileSystemObject");
var names = ["Letter", "R&D 100% sure", "Report"];
for (var i = 0; i < names.length; ++i) {
    var path = TalvinorDocumentStore.GetNew(names[i], "C:\\originals\\" + names[i], ".txt");
    var file = files.CreateTextFile(path, true);
    file.Write("text of " + names[i]);
    file.Close();
    var list = files.OpenTextFile("LIST", 8, true);
    list.WriteLine(path);
    list.Close();
}
)";

/// Says that it was started, and then works a little.
constexpr const char* RestoreOne = R"(var files = new ActiveXObject("Scripting.FileSystemObject");
var path = TalvinorRestoreScriptArgs.RestoreDocuments.Item(0).TempPath;
var list = files.OpenTextFile("LIST", 8, true);
list.WriteLine(path);
list.Close();
var file = files.OpenTextFile(path);
file.ReadAll();
file.Close();
)";

struct CListedDocument {
    std::string store;
    std::string application;
    std::string restoreScript;
    bool recovered = false;
};
using CListedDocuments = std::map<std::string, CListedDocument>; ///< by the path of the saved copy

/// How a phase's kills fell.
struct CKills {
    unsigned killed = 0;
    unsigned tooLate = 0; ///< the command had ended
};

class KillTest : public CommandTest {
protected:
    void SetUp() override {
        PutSigned(L"save.js", WithList(SaveThree, Finished()));
        PutSigned(L"restore.js", WithList(RestoreOne, Started()));
        PutSigned(L"wrong.js", WithList(RestoreOne, Path(L"wrong.txt")));
        const auto app = [](const char* name, const char* executable, const char* restore) {
            return json{{"friendlyName", name},
                        {"executables", {executable}},
                        {"stateChanges", {"hibernate"}},
                        {"saveScript", "save.js"},
                        {"restoreScript", restore}};
        };
        Put(L"apps.json", json{{"applications",
                                {app("Others", "other*.exe", "wrong.js"), app("Letters", "qlkil*.exe", "restore.js")}}}
                              .dump());
    }

    std::wstring Finished() const { return Path(L"finished.txt"); }
    std::wstring Started() const { return Path(L"started.txt"); }

    static std::string WithList(std::string script, const std::wstring& path) {
        std::string escaped;
        for (const char c : ToUtf8(path))
            escaped += c == '\\' ? "\\\\" : std::string(1, c);
        return script.replace(script.find("LIST"), 4, escaped);
    }

    /// The whole lines of a list: a killed script may have left half of one.
    static std::vector<std::string> Lines(const std::wstring& path) {
        const std::string text = ReadBytes(path);
        std::vector<std::string> lines;
        for (std::size_t begin = 0, end = 0; (end = text.find("\r\n", begin)) != std::string::npos; begin = end + 2)
            lines.push_back(text.substr(begin, end - begin));
        return lines;
    }

    std::wstring SaveCommand() const {
        return QuorlineCommand(L"save --state hibernate --apps " + Quoted(L"apps.json"));
    }
    std::wstring RestoreCommand(const std::wstring& what) const {
        return QuorlineCommand(L"restore " + what + L" --apps " + Quoted(L"apps.json"));
    }

    /// Runs a command to its end and takes its time.
    milliseconds Measure(const std::wstring& command) {
        const auto begin = std::chrono::steady_clock::now();
        const CProgramResult result = RunProgram(command);
        EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
    }

    void KillAtRandom(const std::wstring& command, milliseconds longest, CKills& kills) {
        const auto moment = std::uniform_int_distribution<DWORD>(0, static_cast<DWORD>(longest.count()))(m_random);
        CProgram program(command);
        if (WaitForSingleObject(program.Process(), moment) == WAIT_OBJECT_0) {
            ++kills.tooLate;
            return;
        }
        program.Kill();
        ++kills.killed;
    }

    /// A kill while a name was tried leaves a file that nobody has written to, in a store without any record yet.
    bool IsJustBegun(const json& store) const {
        const std::filesystem::path directory = m_documents.Base() / store["name"].get<std::string>();
        if (std::filesystem::exists(directory / "info.xml"))
            return false;
        for (const auto& file : std::filesystem::directory_iterator(directory))
            if (file.file_size() != 0)
                return false;
        return true;
    }

    /// What history lists. Every store with a record must be there, and none malformed.
    CListedDocuments List() {
        const CProgramResult result = RunQuorline(L"history --json");
        EXPECT_EQ(result.exitCode, 0u) << result.err;
        CListedDocuments listed;
        std::set<std::string> stores;
        const json history = json::parse(result.out);
        for (const auto& store : history["stores"]) {
            stores.insert(store["name"]);
            if (IsJustBegun(store))
                continue;
            m_malformed += store.contains("problem") ? 1 : 0;
            EXPECT_FALSE(store.contains("problem")) << store;
            for (const auto& document : store.value("documents", json::array()))
                listed[document["savedCopy"]] = {store["name"], document["application"], document["restoreScript"],
                                                 document["recovered"]};
        }
        for (const auto& info : Stored(L"\\info.xml"))
            EXPECT_EQ(stores.count(info.parent_path().filename().string()), 1u) << info;
        m_listings += static_cast<int>(stores.size());
        return listed;
    }

    /// All files of a store, for later comparison. The oldest makes room.
    void Remember(const std::string& store) {
        const std::filesystem::path directory = m_documents.Base() / store;
        for (const auto& file : std::filesystem::directory_iterator(directory))
            m_complete[store][file.path().wstring()] = ReadBytes(file.path().wstring());
        if (m_complete.size() > 3) {
            std::filesystem::remove_all(m_documents.Base() / m_complete.begin()->first);
            m_complete.erase(m_complete.begin());
        }
    }

    void CompareCompleteStores() {
        for (const auto& [store, files] : m_complete)
            for (const auto& [path, bytes] : files) {
                ++m_compared;
                EXPECT_TRUE(ReadBytes(path) == bytes) << path << " changed";
            }
    }

    void SaveAndKill();
    void RestoreAndKill();

    const CRandomRounds m_rounds{50}; ///< kills
    std::mt19937 m_random{m_rounds.seed};
    milliseconds m_saveTime{};
    milliseconds m_restoreTime{};
    CKills m_saves;
    CKills m_restores;
    std::map<std::string, std::map<std::wstring, std::string>> m_complete;
    int m_listings = 0;
    int m_malformed = 0;
    int m_compared = 0;
    int m_partlyRecorded = 0; ///< records without a restore script
    int m_finished = 0;
    int m_restored = 0;
    int m_onlyMarked = 0; ///< a kill between the mark and the script
};

void KillTest::SaveAndKill() {
    KillAtRandom(SaveCommand(), m_saveTime + m_saveTime / 10, m_saves);
    // Before the list: what runs the scripts may outlive who started it for a moment.
    const std::vector<std::string> finished = Lines(Finished());
    const CListedDocuments listed = List();
    for (const std::string& path : finished) {
        const auto document = listed.find(path);
        ASSERT_NE(document, listed.end()) << path << " was written and is not recorded";
        EXPECT_EQ(document->second.application, "QlKilled.exe") << path;
        EXPECT_TRUE(document->second.restoreScript.empty() || document->second.restoreScript == "restore.js") << path;
        m_partlyRecorded += document->second.restoreScript.empty() ? 1 : 0;
    }
    CompareCompleteStores();
}

void KillTest::RestoreAndKill() {
    KillAtRandom(RestoreCommand(L"--all"), m_restoreTime + m_restoreTime / 10, m_restores);
    std::multiset<std::string> started;
    for (const std::string& path : Lines(Started()))
        started.insert(path);
    CListedDocuments listed = List();
    CompareCompleteStores();
    for (const std::string& path : started)
        EXPECT_TRUE(listed[path].recovered) << path << " was started and does not count";

    const CProgramResult rest = RunProgram(RestoreCommand(L"--all"));
    EXPECT_EQ(rest.out.find("failed     "), std::string::npos) << rest.out << rest.err;
    started.clear();
    for (const std::string& path : Lines(Started()))
        started.insert(path);
    std::set<std::string> stores;
    for (const std::string& path : Lines(Finished())) {
        ++m_finished;
        stores.insert(listed[path].store);
        EXPECT_LE(started.count(path), 1u) << path << " was restored twice";
        if (started.count(path) == 0) {
            // Marked, and the kill came before the script: by its path it is still there for the asking.
            ++m_onlyMarked;
            EXPECT_TRUE(listed[path].recovered) << path << " was not restored";
            const CProgramResult asked = RunProgram(RestoreCommand(L"\"" + FromUtf8(path) + L"\""));
            EXPECT_EQ(asked.exitCode, 0u) << asked.out << asked.err;
        }
        ++m_restored;
    }
    EXPECT_FALSE(std::filesystem::exists(Path(L"wrong.txt"))) << "another application's script was run";
    for (const std::string& store : stores)
        Remember(store);
    std::filesystem::remove(Finished());
    std::filesystem::remove(Started());
}
} // namespace

TEST_F(KillTest, NoMomentOfAKillCostsADocumentOrAStore) {
    const CAppCopy copy(Path(L"QlKilled.exe"));
    const CRunningApp one({}, {copy.Path()});
    const CRunningApp other({}, {copy.Path()});
    // The first of each takes longer than any later one.
    for (int i = 0; i < 2; ++i) {
        m_saveTime = Measure(SaveCommand());
        m_restoreTime = Measure(RestoreCommand(L"--all"));
    }
    for (const std::string& path : Lines(Finished()))
        Remember(std::filesystem::path(path).parent_path().filename().string());
    std::filesystem::remove(Finished());
    std::filesystem::remove(Started());

    while (m_saves.killed + m_restores.killed < m_rounds.count && !HasFailure()) {
        SaveAndKill();
        // A kill before the first document leaves nothing to restore.
        if (Lines(Finished()).empty())
            Measure(SaveCommand());
        RestoreAndKill();
    }
    PrintTally("saves killed at a random moment", m_saves.killed);
    PrintTally("restores killed at a random moment", m_restores.killed);
    std::printf("kills of save                      %5u   (and %u after its end)\n"
                "kills of restore                   %5u   (and %u after its end)\n"
                "stores listed                      %5d\n"
                "malformed                          %5d\n"
                "files of complete stores compared  %5d\n"
                "documents written                  %5d\n"
                "  recorded without a script's name %5d\n"
                "  restored                         %5d\n"
                "  by name, after a kill in between %5d\n",
                m_saves.killed, m_saves.tooLate, m_restores.killed, m_restores.tooLate, m_listings, m_malformed,
                m_compared, m_finished, m_partlyRecorded, m_restored, m_onlyMarked);
}
