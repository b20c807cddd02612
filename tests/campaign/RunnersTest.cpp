// Many runners at once, each deleting itself, with operations that do nothing and with scripts in the system's engines.
// Proves AsyncRunner and ScriptRunner.

#include "HostDoubles.h"
#include "Probe.h"
#include "CountTable.h"
#include "ProcessUse.h"
#include "RandomRounds.h"
#include "RunnersKept.h"
#include "Tally.h"
#include "TestSigner.h"

#include "base/UniqueHandle.h"
#include "ScriptExecution/AsyncRunner.h"
#include "ScriptExecution/AsyncScriptOp.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

namespace {
constexpr int Runners = 8;

/// What became of all operations and listeners.
struct CTally {
    std::atomic<unsigned long long> plain{0};
    std::atomic<unsigned long long> scripts{0};
    std::atomic<unsigned long long> failedScripts{0};
    std::atomic<unsigned long long> told{0};
    std::atomic<unsigned long long> deleted{0};
    std::atomic<unsigned long long> outOfOrder{0};
    std::atomic<unsigned long long> wrongApartments{0};
    std::atomic<unsigned long long> aloneForAMinute{0};
};

/// Where the operations of a round wait for each other. The runtime's barrier has been seen to leave them waiting.
class CMeeting {
public:
    /// False when the others have not come in a minute.
    bool ArriveAndWait() {
        if (--m_missing == 0)
            return SetEvent(m_all.Get()) != FALSE;
        return WaitForSingleObject(m_all.Get(), 60'000) == WAIT_OBJECT_0;
    }

private:
    std::atomic<int> m_missing{Runners};
    CUniqueHandle m_all{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

/// Runs once all the others of its round are running, too.
class COperation : public CAsyncScriptOp {
public:
    COperation(CTally& tally, CMeeting& together, const CScript* script) : m_tally(tally), m_together(together) {
        if (script)
            m_script = *script;
        m_isScript = script != nullptr;
    }

    long Run() override {
        APTTYPE type{};
        APTTYPEQUALIFIER qualifier{};
        if (FAILED(CoGetApartmentType(&type, &qualifier)) || (type != APTTYPE_STA && type != APTTYPE_MAINSTA))
            ++m_tally.wrongApartments;
        if (!m_together.ArriveAndWait())
            ++m_tally.aloneForAMinute;
        if (m_isScript)
            RunScript();
        else
            ++m_tally.plain;
        done = true;
        return S_OK;
    }

    std::atomic<bool> done{false};
    std::atomic<bool> told{false};

private:
    void RunScript() {
        const CTestSigner signer; // of this apartment
        m_probe = MakeProbe();
        const std::vector<CScript*> scripts{&m_script};
        SetScripts(&scripts);
        const long hr = CAsyncScriptOp::Run();
        ++m_tally.scripts;
        if (hr != S_OK || m_runner.HasError() || m_probe->notes != std::vector<std::wstring>{L"42"} ||
            m_probe->References() != 1)
            ++m_tally.failedScripts;
        m_probe.Release();
    }
    long AddNamedItems() override {
        m_runner.AddNamedItem(L"Probe", m_probe);
        return S_OK;
    }

    CTally& m_tally;
    CMeeting& m_together;
    CScript m_script;
    bool m_isScript = false;
    CComPtr<CProbe> m_probe;
};

class CListener : public IAsyncRunnerListener {
public:
    CListener(CTally& tally, COperation& operation, HANDLE deleted)
        : m_tally(tally), m_operation(operation), m_deleted(deleted) {}
    ~CListener() override {
        ++m_tally.deleted;
        if (!m_operation.told)
            ++m_tally.outOfOrder;
        SetEvent(m_deleted);
    }
    void OnFinished() override {
        ++m_tally.told;
        if (!m_operation.done || m_operation.told.exchange(true))
            ++m_tally.outOfOrder;
    }

private:
    CTally& m_tally;
    COperation& m_operation;
    HANDLE m_deleted;
};

CScript MakeScript(CScript::ScriptLanguageEnum language) {
    CScript script;
    script.SetScriptName(L"note");
    script.SetScriptLang(language);
    script.SetText(language == CScript::LangVBScript ? L"Probe.Note 6 * 7" : L"Probe.Note(6 * 7);");
    return script;
}

/// Starts one runner, and returns when it has deleted itself.
void RunOne(CTally& tally, CMeeting& together, const CScript* script) {
    const CUniqueHandle deleted(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    COperation operation(tally, together, script);
    auto runner = std::make_unique<CAsyncRunner>(true);
    auto listener = std::make_unique<CListener>(tally, operation, deleted.Get());
    runner->AttachListener(listener.get());
    static_cast<void>(listener.release());
    runner->Start(&operation);
    static_cast<void>(runner.release());
    ASSERT_EQ(WaitForSingleObject(deleted.Get(), 120'000), DWORD{WAIT_OBJECT_0})
        << "told: " << operation.told << ", run: " << operation.done;
}
} // namespace

TEST(Runners, EightAtOnceEachRunTellAndDeleteThemselvesExactlyOnce) {
    const CRandomRounds rounds(100);
    const CScript scripts[] = {MakeScript(CScript::LangVBScript), MakeScript(CScript::LangJScript)};
    CTally tally;
    CRunnersKept kept;
    const auto round = [&](std::mt19937& random) {
        CMeeting together;
        std::vector<std::thread> starters;
        for (int i = 0; i < Runners; ++i) {
            // One in four runs a script.
            const unsigned kind = random() % 8;
            const CScript* script = kind < 2 ? &scripts[kind] : nullptr;
            starters.emplace_back([&, script] { RunOne(tally, together, script); });
        }
        for (std::thread& starter : starters)
            starter.join();
    };

    std::mt19937 random(rounds.seed);
    constexpr int WarmUp = 20;
    DWORD handles = 0;
    std::size_t heap = 0;
    for (unsigned long long count = 0; count < WarmUp + rounds.count; ++count) {
        if (count == WarmUp) {
            kept.Close();
            handles = HandlesInUse();
            heap = HeapBytesInUse();
        }
        round(random);
        if (count % 100 == 99)
            kept.Close();
        ASSERT_FALSE(HasFatalFailure());
    }
    kept.Close();
    const DWORD handlesAfter = HandlesInUse();
    const std::size_t heapAfter = HeapBytesInUse();

    const unsigned long long all = (WarmUp + rounds.count) * Runners;
    CCountTable table({"count"});
    table["operations without a script"] = {tally.plain};
    table["operations with a script"] = {tally.scripts};
    table.Print();
    std::printf("handles %lu, then %lu; heap bytes %zu, then %zu\n", handles, handlesAfter, heap, heapAfter);
    PrintTally("rounds of eight runners at once", rounds.count);
    EXPECT_EQ(tally.plain + tally.scripts, all);
    EXPECT_EQ(tally.told, all);
    EXPECT_EQ(tally.deleted, all);
    EXPECT_EQ(tally.failedScripts, 0u);
    EXPECT_EQ(tally.outOfOrder, 0u);
    EXPECT_EQ(tally.wrongApartments, 0u);
    EXPECT_EQ(tally.aloneForAMinute, 0u);
    // A lock that two threads happen to meet at keeps a handle; an engine keeps some bytes of each thread.
    EXPECT_LE(handlesAfter, handles + 16);
    EXPECT_LE(heapAfter, heap + 65'536 + 16 * (tally.scripts + tally.plain) + HeapGrain());
}
