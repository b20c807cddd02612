#include "FaultRun.h"

#include "base/UniqueHandle.h"
#include "InternalDocumentStore.h"
#include "KnownFailures.h"
#include "ProcessUse.h"
#include "ScriptExecution/DocumentStoreHistory.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "base/Exceptions.h"

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/logger.h>
#include <log4cxx/spi/loggingevent.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {
constexpr unsigned Documents = 2;  // that the save script makes
constexpr DWORD Patience = 60'000; // milliseconds for one save or restore
const wchar_t* const EarlierStore = L"2001-02-03_04.05.06";

/// Counts what is logged as a warning or worse.
class CWarnings : public log4cxx::AppenderSkeleton {
public:
    void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool&) override {
        if (event->getLevel()->isGreaterOrEqual(log4cxx::Level::getWarn()))
            ++count;
    }
    void close() override {}
    bool requiresLayout() const override { return false; }

    std::atomic<unsigned> count{0};
};

std::string Bytes(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Every file of a store with its content.
std::map<std::wstring, std::string> Files(const fs::path& directory) {
    std::map<std::wstring, std::string> files;
    if (fs::exists(directory))
        for (const auto& file : fs::directory_iterator(directory))
            files[file.path().filename().wstring()] = Bytes(file.path());
    return files;
}

void WriteBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string Narrow(const std::wstring& text) {
    return {text.begin(), text.end()};
}

/// The records of all stores as the library reads them: directory, then file names with "is recovered".
using CRecords = std::map<std::wstring, std::map<std::wstring, bool>>;
CRecords ReadRecords() {
    CDocumentStoreHistory& history = CDocumentStoreHistory::GetInstance();
    history.Refresh();
    CRecords records;
    for (const auto& info : history.GetSavedDocumentInfos())
        for (const auto& document : *info->GetInternalDocumentStore()->GetSavedDocumentList()) {
            std::wstring path;
            document->GetDocTempPath(path);
            records[fs::path(path).parent_path().filename().wstring()][fs::path(path).filename().wstring()] =
                document->GetStatus() == TEMP_DOCUMENT_RECOVERED;
        }
    return records;
}

/// Ends the process when one round takes too long.
class CWatch {
public:
    CWatch() : m_thread([this] { Run(); }) {}
    ~CWatch() {
        SetEvent(m_end.Get());
        m_thread.join();
    }
    CWatch(const CWatch&) = delete;
    CWatch& operator=(const CWatch&) = delete;

    void Restart() { m_started = GetTickCount64(); }

private:
    void Run() {
        while (WaitForSingleObject(m_end.Get(), 1000) == WAIT_TIMEOUT)
            if (GetTickCount64() - m_started > Patience)
                TerminateProcess(GetCurrentProcess(), 97);
    }

    CUniqueHandle m_end{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<ULONGLONG> m_started{GetTickCount64()};
    std::thread m_thread;
};

struct CUse {
    DWORD handles = 0;
    std::size_t heap = 0;
};

class CFaultRun {
public:
    CFaultRun(CCampaignHost& host, CRunnersKept& kept, CImportFaults& faults);
    ~CFaultRun();
    CFaultRun(const CFaultRun&) = delete;
    CFaultRun& operator=(const CFaultRun&) = delete;

    /// What an undisturbed save or restore calls, and how often.
    using CCalls = std::vector<std::pair<std::string, unsigned>>;
    const CCalls& Calls(const std::wstring& phase) const { return m_calls.at(phase); }

    /// False when the call never came.
    bool Try(const std::wstring& phase, const std::string& function, unsigned call);

private:
    struct COutcome {
        bool reached = false;
        bool told = false;  ///< by a result, a veto or a line of the log
        bool whole = false; ///< nothing is missing
        std::string violation;
    };

    COutcome Round(const std::wstring& phase, const std::string& function, unsigned call);
    void CheckSave(const CSaved& saved, COutcome& outcome);
    void CheckRestore(const CRestored& restored, COutcome& outcome);
    void Reset();
    CUse Use();
    std::size_t BytesOfEngines(const std::wstring& phase);
    std::string Leak(const std::wstring& phase, const std::string& function, unsigned call, const CUse& before);

    CCampaignHost& m_host;
    CRunnersKept& m_kept;
    CImportFaults& m_faults;
    fs::path m_base;
    std::map<std::wstring, std::string> m_earlier; ///< the files of the store that was there before
    std::map<std::wstring, std::size_t> m_engineBytes;
    std::map<std::wstring, CCalls> m_calls;
    std::shared_ptr<CWarnings> m_warnings = std::make_shared<CWarnings>();
    CWatch m_watch;
};

CFaultRun::CFaultRun(CCampaignHost& host, CRunnersKept& kept, CImportFaults& faults)
    : m_host(host), m_kept(kept), m_faults(faults) {
    const log4cxx::LoggerPtr root = log4cxx::Logger::getRootLogger();
    root->removeAllAppenders();
    root->addAppender(m_warnings);
    root->setLevel(log4cxx::Level::getInfo());

    std::wstring base;
    CInternalDocumentStore::GetBaseDirectory(base);
    m_base = base;
    fs::remove_all(m_base);
    const CSaved saved = m_host.Save();
    if (!saved.Complete() || saved.documents != Documents)
        throw std::runtime_error("the first save failed: " + Narrow(saved.trouble));
    // Under a name that no later store can have.
    const std::string name = Narrow(fs::path(saved.directory).filename().wstring());
    fs::rename(saved.directory, m_base / EarlierStore);
    std::string info = Bytes(m_base / EarlierStore / L"info.xml");
    for (std::size_t at = 0; (at = info.find(name, at)) != std::string::npos;)
        info.replace(at, name.size(), Narrow(EarlierStore));
    WriteBytes(m_base / EarlierStore / L"info.xml", info);
    m_earlier = Files(m_base / EarlierStore);
    for (const wchar_t* phase : {L"save", L"restore"}) {
        const COutcome outcome = Round(phase, "", 0);
        if (!outcome.whole || !outcome.violation.empty())
            throw std::runtime_error("an undisturbed " + Narrow(phase) + " failed: " + outcome.violation);
        for (const std::string& called : m_faults.Functions())
            if (const unsigned calls = m_faults.CallsOf(called); calls != 0)
                m_calls[phase].emplace_back(called, calls);
    }
    for (const wchar_t* phase : {L"save", L"restore"})
        m_engineBytes[phase] = BytesOfEngines(phase);
}

CFaultRun::~CFaultRun() {
    log4cxx::Logger::getRootLogger()->removeAppender(m_warnings);
}

/// The earlier store as it was, and no other.
void CFaultRun::Reset() {
    for (const auto& entry : fs::directory_iterator(m_base))
        if (entry.path().filename() != EarlierStore)
            fs::remove_all(entry.path());
    const auto now = Files(m_base / EarlierStore);
    for (const auto& [name, bytes] : now)
        if (!m_earlier.contains(name))
            fs::remove(m_base / EarlierStore / name);
    for (const auto& [name, bytes] : m_earlier)
        if (!now.contains(name) || now.at(name) != bytes)
            WriteBytes(m_base / EarlierStore / name, bytes);
}

CUse CFaultRun::Use() {
    m_kept.Close();
    Reset();
    ReadRecords(); // the history keeps what it read last
    return {HandlesInUse(), HeapBytesInUse()};
}

CFaultRun::COutcome CFaultRun::Round(const std::wstring& phase, const std::string& function, unsigned call) {
    COutcome outcome;
    m_watch.Restart();
    Reset();
    const unsigned warned = m_warnings->count;
    m_faults.Arm(function, call);
    if (phase == L"save") {
        const CSaved saved = m_host.Save();
        m_faults.Disarm();
        m_kept.Close();
        CheckSave(saved, outcome);
    } else {
        const CRestored restored = m_host.Restore();
        m_faults.Disarm();
        m_kept.Close();
        CheckRestore(restored, outcome);
    }
    outcome.reached = m_faults.WasReached();
    outcome.told = outcome.told || m_warnings->count != warned;
    return outcome;
}

void CFaultRun::CheckSave(const CSaved& saved, COutcome& outcome) {
    outcome.told = !saved.Complete();
    if (saved.changes != 0)
        outcome.violation += "; a reference to the change is kept";
    if (Files(m_base / EarlierStore) != m_earlier)
        outcome.violation += "; the earlier store is not as it was";
    CRecords records;
    try {
        records = ReadRecords();
    } catch (const CMorvaneException&) {
        outcome.violation += "; an info file cannot be read";
    }
    if (records[EarlierStore].size() != Documents)
        outcome.violation += "; the earlier records are gone";
    std::size_t recorded = 0;
    for (const auto& entry : fs::directory_iterator(m_base)) {
        const std::wstring store = entry.path().filename().wstring();
        if (store == EarlierStore)
            continue;
        for (const auto& [name, bytes] : Files(entry.path())) {
            if (name == L"info.xml")
                continue;
            if (!bytes.empty() && !records[store].contains(name))
                outcome.violation += "; " + Narrow(name) + " has no record";
            else if (!bytes.empty())
                ++recorded;
        }
    }
    outcome.whole = recorded == Documents;
}

void CFaultRun::CheckRestore(const CRestored& restored, COutcome& outcome) {
    outcome.told = !restored.trouble.empty() || restored.failed != 0;
    CRecords records;
    try {
        records = ReadRecords();
    } catch (const CMorvaneException&) {
        outcome.violation += "; an info file cannot be read";
    }
    const auto& record = records[EarlierStore];
    if (record.size() != Documents)
        outcome.violation += "; the records are gone";
    auto files = Files(m_base / EarlierStore);
    std::size_t restoredFiles = 0;
    for (const auto& [name, bytes] : m_earlier) {
        if (name == L"info.xml")
            continue;
        if (files[name] != bytes)
            outcome.violation += "; " + Narrow(name) + " is not as it was";
        restoredFiles += files[name + L".restored"] == bytes ? 1 : 0;
        files.erase(name);
        files.erase(name + L".restored");
    }
    files.erase(L"info.xml");
    for (const auto& [name, bytes] : files)
        outcome.violation += "; " + Narrow(name) + " is left behind";
    std::size_t recovered = 0;
    for (const auto& [name, isRecovered] : record)
        recovered += isRecovered ? 1 : 0;
    outcome.whole = restoredFiles == Documents && recovered == Documents;
}

/// What the system's script engines keep of each undisturbed round, measured once what only first rounds need is there.
std::size_t CFaultRun::BytesOfEngines(const std::wstring& phase) {
    constexpr int Rounds = 4;
    const auto rounds = [&] {
        for (int count = 0; count < Rounds; ++count)
            Round(phase, "", 0);
        return Use().heap;
    };
    const std::size_t before = rounds();
    const std::size_t after = rounds();
    return after > before ? (after - before) / Rounds : 0;
}

/// A round that took more than it gave back does so each time, if it leaks.
std::string CFaultRun::Leak(const std::wstring& phase, const std::string& function, unsigned call, const CUse& before) {
    constexpr std::size_t Slack = 40; // bytes a round
    std::size_t& engineBytes = m_engineBytes.at(phase);
    constexpr int Repeats = 6; // what grows by chance does so once or twice
    CUse last = before;
    CUse now = Use();
    for (int count = 0; count < Repeats; ++count) {
        if (now.handles <= last.handles && now.heap <= last.heap + engineBytes + Slack)
            return {};
        if (count + 1 == Repeats)
            break;
        last = now;
        Round(phase, function, call);
        now = Use();
    }
    // The engines come to keep more from some round on, of undisturbed ones as well.
    engineBytes = BytesOfEngines(phase);
    if (now.handles <= last.handles && now.heap <= last.heap + engineBytes + Slack)
        return {};
    return "; each time " + std::to_string(now.handles - last.handles) + " handles and " +
           std::to_string(now.heap - last.heap) + " bytes more";
}

bool CFaultRun::Try(const std::wstring& phase, const std::string& function, unsigned call) {
    std::printf("at %ls %s %u\n", phase.c_str(), function.c_str(), call);
    std::fflush(stdout);
    const CUse before = Use();
    COutcome outcome = Round(phase, function, call);
    if (!outcome.reached) {
        std::printf("absent %ls %s %u\n", phase.c_str(), function.c_str(), call);
        return false;
    }
    if (ToleratedOf(function) != Tolerated::Growth)
        outcome.violation += Leak(phase, function, call, before);
    const char* result = "whole";
    if (!outcome.whole) {
        result = "told";
        if (!outcome.told) {
            result = "kept";
            if (ToleratedOf(function) != Tolerated::Silence)
                outcome.violation += "; something is missing and nobody was told";
        }
    }
    if (!outcome.violation.empty())
        result = "VIOLATION";
    std::printf("%s %ls %s %u%s\n", result, phase.c_str(), function.c_str(), call, outcome.violation.c_str());
    return true;
}
constexpr const wchar_t* Phases[] = {L"save", L"restore"};

/// Each function is as likely as any other, however often it is called. The nth of a seed is the same in each process.
void TrySample(CFaultRun& run, const CFaultPlan& plan) {
    for (unsigned done = plan.done; done < plan.sample; ++done) {
        std::mt19937 random(plan.seed + done);
        const wchar_t* const phase = Phases[random() % std::size(Phases)];
        const auto& calls = run.Calls(phase);
        const auto& [function, count] = calls[random() % calls.size()];
        run.Try(phase, function, 1 + static_cast<unsigned>(random() % count));
    }
}

void TryAll(CFaultRun& run, const CFaultPlan& plan) {
    bool started = plan.phase.empty();
    for (const wchar_t* phase : Phases)
        for (const auto& [function, count] : run.Calls(phase)) {
            unsigned call = 1;
            if (!started) {
                if (plan.phase != phase || plan.function != function)
                    continue;
                started = true;
                call = plan.call;
            }
            while (run.Try(phase, function, call))
                ++call;
        }
}
} // namespace

void RunFaults(CCampaignHost& host, CRunnersKept& kept, CImportFaults& faults, const CFaultPlan& plan) {
    CFaultRun run(host, kept, faults);
    if (plan.sample != 0)
        TrySample(run, plan);
    else
        TryAll(run, plan);
    std::printf("end\n");
}
