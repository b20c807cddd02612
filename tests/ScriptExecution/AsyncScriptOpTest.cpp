// Proves the order of an operation's steps, whatever fails: AsyncScriptOp.

#include "OperationFixture.h"

#include "Probe.h"
#include "base/UniqueHandle.h"
#include "ScriptExecution/AsyncScriptOp.h"
#include "base/Exceptions.h"
#include "logging/Logging.h"

#include <functional>
#include <thread>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// Gives the scripts a probe, and notes when its hooks are called.
class CProbingOp : public CAsyncScriptOp {
public:
    long AddNamedItems() override {
        calls.emplace_back("add");
        if (onAdd)
            onAdd();
        if (FAILED(addResult))
            return addResult;
        m_runner.AddNamedItem(L"Probe", probe);
        return addResult;
    }
    long ReleaseNamedItems() override {
        calls.emplace_back("release");
        CAsyncScriptOp::ReleaseNamedItems();
        if (onRelease)
            onRelease();
        return releaseResult;
    }
    bool HasError() { return m_runner.HasError(); }
    const void* Lock() const { return m_lock.get(); }

    CComPtr<CProbe> probe = MakeProbe();
    std::vector<std::string> calls;
    std::function<void()> onAdd;
    std::function<void()> onRelease;
    long addResult = S_OK;
    long releaseResult = S_OK;
};

class AsyncScriptOpTest : public OperationTest {
protected:
    long Run(std::vector<CScript*> scripts) {
        m_op.SetScripts(&scripts);
        return m_op.Run();
    }

    CScript m_first = MakeScript(L"first.vbs", L"Probe.Note 1");
    CScript m_second = MakeScript(L"second.js", L"Probe.Note(2);", CScript::LangJScript);
    CScript m_failing = MakeScript(L"failing.vbs", L"Probe.Fail");
    CScript m_unsupported = MakeScript(L"none", L"", CScript::LangNone);
    CProbingOp m_op;
};

std::wstring RunningError(unsigned long code, const wchar_t* hexadecimal, const wchar_t* decimal) {
    return L"ScriptExecution.CAsyncScriptOp: Error running scripts: " + GetSystemErrorText(code) + L" (0x" +
           hexadecimal + L" / " + decimal + L")";
}
} // namespace

TEST_F(AsyncScriptOpTest, TheScriptsRunInTheirOrderBetweenTheHooks) {
    m_op.releaseResult = S_FALSE;
    EXPECT_EQ(Run({&m_first, &m_second, &m_first}), S_FALSE);
    EXPECT_THAT(m_op.probe->notes, ElementsAre(L"1", L"2", L"1"));
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release"));
    EXPECT_EQ(m_op.OnComplete(), S_OK);
}

TEST_F(AsyncScriptOpTest, AnEmptyListStillCallsTheHooks) {
    EXPECT_EQ(Run({}), S_OK);
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release"));
}

TEST_F(AsyncScriptOpTest, TheBaseAddsNothingAndReleasesAll) {
    CAsyncScriptOp op;
    EXPECT_EQ(op.Run(), S_OK);
    EXPECT_EQ(op.AddNamedItems(), S_OK);
    EXPECT_EQ(op.ReleaseNamedItems(), S_OK);
    EXPECT_EQ(op.OnComplete(), S_OK);
}

TEST_F(AsyncScriptOpTest, AFailureOfTheFirstHookEndsTheRunAtOnce) {
    m_op.addResult = E_ACCESSDENIED;
    EXPECT_EQ(Run({&m_first}), E_ACCESSDENIED);
    EXPECT_THAT(m_op.calls, ElementsAre("add"));
    EXPECT_THAT(m_op.probe->notes, IsEmpty());
}

TEST_F(AsyncScriptOpTest, AScriptThatFailsDoesNotStopTheList) {
    CScript broken = MakeScript(L"broken.vbs", L"If");
    EXPECT_EQ(Run({&m_failing, &broken, &m_second}), S_OK);
    EXPECT_THAT(m_op.probe->notes, ElementsAre(L"2"));
    EXPECT_TRUE(m_op.HasError()) << "the record was cleared";
}

TEST_F(AsyncScriptOpTest, AnUnverifiedScriptDoesNotStopTheList) {
    m_signer.onVerify = [this] { m_signer.verified = m_signer.calls.size() == 1 ? VARIANT_FALSE : VARIANT_TRUE; };
    EXPECT_EQ(Run({&m_first, &m_second}), S_OK);
    EXPECT_THAT(m_op.probe->notes, ElementsAre(L"2"));
}

TEST_F(AsyncScriptOpTest, ANullEntryEndsTheListAndReleasesTheItems) {
    EXPECT_EQ(Run({&m_first, nullptr, &m_second}), E_FAIL);
    EXPECT_THAT(m_op.probe->notes, ElementsAre(L"1"));
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release"));
    EXPECT_EQ(m_op.probe->References(), 1u);
    EXPECT_THAT(m_log.At(L"ERROR"),
                ElementsAre(StartsWith(L"TalvinorGlobal: Failed sanity test \"Null pScript in collection\"; tested at "
                                       L"ScriptExecution/AsyncScriptOp.cpp; line ")));
}

TEST_F(AsyncScriptOpTest, AnUnsupportedLanguageEndsTheListToo) {
    EXPECT_EQ(Run({&m_first, &m_unsupported, &m_second}), E_FAIL);
    EXPECT_THAT(m_op.probe->notes, ElementsAre(L"1"));
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release"));
}

namespace {
HRESULT WINAPI RefusingEngine(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
    if (!IsEqualIID(iid, IID_IScriptSigner))
        return REGDB_E_CLASSNOTREG;
    CComPtr<IClassFactory> factory;
    const HRESULT hr = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    return FAILED(hr) ? hr : factory->CreateInstance(outer, iid, object);
}
} // namespace

TEST_F(AsyncScriptOpTest, AnEngineThatDoesNotStartGivesItsHResult) {
    const CImportHook hook(GetModuleHandleW(nullptr), "CoCreateInstance", &RefusingEngine);
    EXPECT_EQ(Run({&m_first, &m_second}), REGDB_E_CLASSNOTREG);
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release"));
    EXPECT_THAT(m_log.At(L"ERROR"), testing::Contains(RunningError(0x80040154, L"80040154", L"-2147221164")));
}

TEST_F(AsyncScriptOpTest, ASystemErrorBecomesAnHResult) {
    m_op.onAdd = [] { throw COSException(ERROR_ACCESS_DENIED); };
    EXPECT_EQ(Run({&m_first}), static_cast<long>(0x80070005));
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release"));
    EXPECT_THAT(m_log.At(L"ERROR"), ElementsAre(RunningError(5, L"5", L"5")));
}

TEST_F(AsyncScriptOpTest, ReleaseIsCalledOnceMoreWhenItThrew) {
    m_op.onRelease = [this] {
        if (m_op.calls.size() == 2)
            throw COSException(ERROR_ACCESS_DENIED);
    };
    EXPECT_EQ(Run({}), static_cast<long>(0x80070005));
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release", "release"));
}

TEST_F(AsyncScriptOpTest, AnyOtherExceptionIsAPlainFailure) {
    m_op.onAdd = [] { throw std::bad_alloc(); };
    EXPECT_EQ(Run({}), E_FAIL);
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release"));
    EXPECT_THAT(m_log.At(L"ERROR"), IsEmpty());
}

TEST_F(AsyncScriptOpTest, TheListIsReplacedAndHandedOutAtTheEndOfAnother) {
    const std::vector<CScript*> scripts{&m_first, nullptr, &m_second};
    EXPECT_EQ(m_op.SetScripts(&scripts), S_OK);
    std::vector<CScript*> listed{&m_failing, &m_failing};
    EXPECT_EQ(m_op.GetScripts(&listed), S_OK);
    EXPECT_THAT(listed, ElementsAre(&m_failing, &m_failing, &m_first, nullptr, &m_second));

    EXPECT_EQ(m_op.SetScripts(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_op.GetScripts(nullptr), E_INVALIDARG);
    listed.clear();
    m_op.GetScripts(&listed);
    EXPECT_THAT(listed, ElementsAre(&m_first, nullptr, &m_second));

    const std::vector<CScript*> other{&m_second};
    m_op.SetScripts(&other);
    listed.clear();
    m_op.GetScripts(&listed);
    EXPECT_THAT(listed, ElementsAre(&m_second));
    EXPECT_TRUE(m_log.Has(L"DEBUG Trace.CAsyncScriptOp: Entering -> [CAsyncScriptOp::SetScripts]"));
}

TEST_F(AsyncScriptOpTest, ASecondRunRunsTheListAgain) {
    Run({&m_first});
    EXPECT_EQ(m_op.Run(), S_OK);
    EXPECT_THAT(m_op.probe->notes, ElementsAre(L"1", L"1"));
}

namespace {
const void* g_lock = nullptr;
DWORD g_holder = 0;
HANDLE g_secondIsThere = nullptr;
void WINAPI NotingEnter(LPCRITICAL_SECTION section) {
    if (section == g_lock && GetCurrentThreadId() != g_holder)
        SetEvent(g_secondIsThere);
    static const auto system = reinterpret_cast<decltype(&EnterCriticalSection)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "EnterCriticalSection")));
    system(section);
}
} // namespace

TEST_F(AsyncScriptOpTest, RunsOfOneOperationFollowEachOther) {
    const CUniqueHandle secondIsThere(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    g_lock = m_op.Lock();
    g_holder = GetCurrentThreadId();
    g_secondIsThere = secondIsThere.Get();
    const CImportHook hook(GetModuleHandleW(nullptr), "EnterCriticalSection", &NotingEnter);
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    std::thread second;
    // The first run goes on once the second waits for the lock, or is inside as well.
    m_op.onAdd = [&] {
        most = std::max<int>(most, ++inside);
        if (GetCurrentThreadId() != g_holder) {
            SetEvent(secondIsThere.Get());
            return;
        }
        second = std::thread([&] { m_op.Run(); });
        EXPECT_EQ(WaitForSingleObject(secondIsThere.Get(), 60'000), DWORD{WAIT_OBJECT_0});
    };
    m_op.onRelease = [&] { --inside; };
    EXPECT_EQ(Run({}), S_OK);
    second.join();
    EXPECT_EQ(most, 1);
    EXPECT_EQ(inside, 0);
    EXPECT_THAT(m_op.calls, ElementsAre("add", "release", "add", "release"));
}
