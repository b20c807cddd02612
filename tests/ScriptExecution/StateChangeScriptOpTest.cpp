// Proves which save scripts run, for which processes, and what ends them: StateChangeScriptOp, StateChangeScript.

#include "StateChangeFixture.h"

#include "FailingMemory.h"
#include "ScriptExecution/AsyncRunner.h"
#include "ScriptExecution/StateChangeScript.h"
#include "base/Exceptions.h"
#include "logging/Logging.h"

#include "HostInterfaces.h"

#include <rpc.h>

#include <functional>

namespace {
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

ULONG CountOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}
} // namespace

TEST_F(StateChangeOpTest, TheSaveScriptRunsOncePerProcessWithItsOwnItem) {
    const CRunningApp one({}, {ExePath()});
    const CRunningApp other({}, {ExePath()});
    CDocumentScript app = MakeApp(L"save.vbs", Say(L"Process.Id & \" \" & Session.Number"));
    EXPECT_EQ(Run({&app}), S_OK);
    const auto [low, high] = std::minmax({one.Id(), other.Id()});
    EXPECT_THAT(Said(), ElementsAre(L"INFO " + std::to_wstring(low) + L" 7", L"INFO " + std::to_wstring(high) + L" 7"));
    EXPECT_THAT(m_server.session->asked, ElementsAre(low, high));
    EXPECT_FALSE(HasError());
    EXPECT_EQ(m_change->vetoed, VARIANT_FALSE);
}

TEST_F(StateChangeOpTest, EverythingIsGivenBackAfterARun) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript app = MakeApp(L"save.vbs", Say(L"Process.Id"));
    const ULONG sessions = CountOf(m_server.session);
    EXPECT_EQ(Run({&app}), S_OK);
    EXPECT_EQ(CountOf(m_server.session), sessions);
    EXPECT_EQ(CountOf(m_change), 1u);
}

TEST_F(StateChangeOpTest, AScriptReservesAPathAndSavesThere) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript app = MakeApp(L"save.vbs", L"path = TalvinorDocumentStore.GetNew(\"Letter\", \"\", \".txt\")\n"
                                               L"CreateObject(\"Scripting.FileSystemObject\").CreateTextFile(path)"
                                               L".Write \"text\"\n");
    EXPECT_EQ(Run({&app}), S_OK);
    std::vector<std::wstring> files;
    for (const auto& file : std::filesystem::recursive_directory_iterator(m_documents.Base()))
        if (file.is_regular_file())
            files.push_back(file.path().filename().wstring());
    EXPECT_THAT(files, testing::UnorderedElementsAre(L"Letter.txt", L"info.xml"));
}

TEST_F(StateChangeOpTest, TheFirstFailingScriptStopsTheRestAndVetoes) {
    const CRunningApp one({}, {ExePath()});
    const CRunningApp other({}, {ExePath()});
    CDocumentScript failing = MakeApp(L"failing.vbs", Say(L"\"once\"") + L"Err.Raise 1000, \"Letters\", \"no name\"\n");
    CDocumentScript next = MakeApp(L"next.vbs", Say(L"\"next\""));
    EXPECT_EQ(Run({&failing, &next}), S_OK) << "an error does not show in the result";
    EXPECT_THAT(Said(), ElementsAre(L"INFO once"));
    EXPECT_EQ(m_change->vetoed, VARIANT_TRUE);
    ASSERT_TRUE(HasError());

    CComBSTR script;
    CComBSTR source;
    CComBSTR description;
    unsigned long line = 0;
    long character = -1;
    EXPECT_EQ(m_op.GetErrorInfo(&script, &source, &description, &line, &character), S_OK);
    EXPECT_STREQ(script, L"failing.vbs");
    EXPECT_STREQ(source, L"Letters");
    EXPECT_STREQ(description, L"no name");
    EXPECT_EQ(line, 2u);
    EXPECT_GE(character, 0);

    EXPECT_EQ(m_op.ClearError(), S_OK);
    EXPECT_FALSE(HasError());
    CComBSTR again;
    CComBSTR ignored[2];
    m_op.GetErrorInfo(&again, &ignored[0], &ignored[1], &line, &character);
    EXPECT_STREQ(again, L"failing.vbs") << "the record stays until the next error";
}

TEST_F(StateChangeOpTest, AnUnverifiedScriptVetoesToo) {
    const CRunningApp running({}, {ExePath()});
    m_signer.verified = VARIANT_FALSE;
    CDocumentScript app = MakeApp(L"save.vbs", Say(L"1"));
    EXPECT_EQ(Run({&app}), S_OK);
    EXPECT_THAT(Said(), IsEmpty());
    EXPECT_EQ(m_change->vetoed, VARIANT_TRUE);
    EXPECT_TRUE(HasError());
}

TEST_F(StateChangeOpTest, AnErrorOfAnEarlierRunIsForgotten) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript failing = MakeApp(L"failing.vbs", L"Err.Raise 1000\n");
    CDocumentScript good = MakeApp(L"good.vbs", Say(L"1"));
    Run({&failing});
    m_change->vetoed = VARIANT_FALSE;
    EXPECT_EQ(Run({&good}), S_OK);
    EXPECT_THAT(Said(), ElementsAre(L"INFO 1"));
    EXPECT_EQ(m_change->vetoed, VARIANT_FALSE);
}

TEST_F(StateChangeOpTest, AVetoThatFailsIsReported) {
    const CRunningApp running({}, {ExePath()});
    m_change->vetoResult = E_ACCESSDENIED;
    CDocumentScript failing = MakeApp(L"failing.vbs", L"Err.Raise 1000\n");
    EXPECT_EQ(Run({&failing}), S_OK);
    EXPECT_THAT(m_log.At(L"ERROR"),
                Contains(L"TalvinorGlobal: Failure HRESULT=0x80070005; \"Failed to veto state transition after script "
                         L"error!\"; at ScriptExecution/StateChangeScriptOp; line 123; "
                         L"CStateChangeScriptOp::RunAppProtScripts"));
}

TEST_F(StateChangeOpTest, AScriptThatDoesNotCareAboutTheChangeIsSkipped) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript standby = MakeApp(L"standby.vbs", Say(L"\"standby\""), Standby | Shutdown);
    CDocumentScript all = MakeApp(L"all.vbs", Say(L"\"all\""), Standby | Hibernate | Shutdown);
    EXPECT_EQ(Run({&standby, &all}), S_OK);
    EXPECT_THAT(Said(), ElementsAre(L"INFO all"));
}

TEST_F(StateChangeOpTest, OnlyStandbyHibernateAndShutdownRunScripts) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript app = MakeApp(L"save.vbs", Say(L"1"), 0xffffffff);
    const struct {
        _STATE_CHANGE_TYPE state;
        std::size_t runs;
    } cases[] = {
        {Standby, 1},         {Hibernate, 1},      {Shutdown, 1},      {StandbyResume, 0},
        {HibernateResume, 0}, {ShutdownResume, 0}, {ForceShutdown, 0},
    };
    for (const auto& c : cases) {
        m_change->newState = c.state;
        m_server.session->asked.clear();
        EXPECT_EQ(Run({&app}), S_OK);
        EXPECT_EQ(Said().size(), c.runs) << c.state;
        EXPECT_EQ(m_server.session->asked.size(), c.runs) << c.state;
    }
    EXPECT_FALSE(std::filesystem::exists(m_documents.Base()));
}

namespace {
HRESULT WINAPI RefuseSession(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
    if (IsEqualCLSID(clsid, CLSID_Session))
        return REGDB_E_CLASSNOTREG;
    CComPtr<IClassFactory> factory;
    const HRESULT hr = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    return FAILED(hr) ? hr : factory->CreateInstance(outer, iid, object);
}
} // namespace

TEST_F(StateChangeOpTest, WithoutASessionTheScriptsRunAndTheResultSaysSo) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript app = MakeApp(L"save.vbs", L"On Error Resume Next\n"
                                               L"x = Session.Number\n" +
                                                   Say(L"(Err.Number <> 0)"));
    const CImportHook hook(GetModuleHandleW(nullptr), "CoCreateInstance", &RefuseSession);
    EXPECT_EQ(Run({&app}), REGDB_E_CLASSNOTREG);
    EXPECT_THAT(Said(), ElementsAre(L"INFO True"));
    EXPECT_THAT(m_log.At(L"ERROR"),
                ElementsAre(L"TalvinorGlobal: Failure HRESULT=0x80040154; \"Failed to create the session object.\"; at "
                            L"ScriptExecution/StateChangeScriptOp; line 79; CStateChangeScriptOp::RunAppProtScripts"));
}

TEST_F(StateChangeOpTest, WithoutAProcessObjectTheScriptRunsWithoutIt) {
    const CRunningApp running({}, {ExePath()});
    m_server.session->knowsProcesses = false;
    CDocumentScript app = MakeApp(L"save.vbs", L"On Error Resume Next\n"
                                               L"x = Process.Id\n" +
                                                   Say(L"(Err.Number <> 0) & Session.Number"));
    EXPECT_EQ(Run({&app}), S_OK);
    EXPECT_THAT(Said(), ElementsAre(L"INFO True7"));
}

TEST_F(StateChangeOpTest, AStateThatCannotBeReadIsReported) {
    m_change->stateResult = E_ACCESSDENIED;
    EXPECT_EQ(Run({}), E_ACCESSDENIED);
    EXPECT_THAT(m_log.At(L"ERROR"),
                ElementsAre(L"TalvinorGlobal: Failure HRESULT=0x80070005; \"get_NewState failed.\"; at "
                            L"ScriptExecution/StateChangeScriptOp; line 48; CStateChangeScriptOp::Run"));
    EXPECT_EQ(CountOf(m_change), 1u);
}

TEST_F(StateChangeOpTest, CallsOutOfOrderAreRefused) {
    EXPECT_THROW(m_op.Run(), CMorvaneException);
    EXPECT_THAT(m_log.At(L"ERROR"),
                ElementsAre(L"TalvinorGlobal: Failed sanity test \"Invalid call sequence\"; tested at "
                            L"ScriptExecution/StateChangeScriptOp; line 39; CStateChangeScriptOp::Run"));
    m_log.Clear();
    EXPECT_EQ(m_op.SetStateChangeInstance(m_change), S_OK);
    EXPECT_THROW(m_op.SetStateChangeInstance(m_change), CMorvaneException);
    EXPECT_THAT(m_log.At(L"ERROR"), ElementsAre(L"TalvinorGlobal: Failed sanity test \"Invalid call sequence\"; tested "
                                                L"at ScriptExecution/StateChangeScriptOp; line 26; "
                                                L"CStateChangeScriptOp::SetStateChangeInstance"));
    EXPECT_EQ(m_op.Run(), S_OK);
    EXPECT_THROW(m_op.Run(), CMorvaneException) << "a change serves one run";
}

TEST_F(StateChangeOpTest, AChangeThatNobodyTookIsGivenBack) {
    {
        CStateChangeScriptOp op;
        EXPECT_EQ(op.SetStateChangeInstance(m_change), S_OK);
        EXPECT_GT(CountOf(m_change), 1u);
    }
    EXPECT_EQ(CountOf(m_change), 1u);
}

TEST_F(StateChangeOpTest, AChangeThatThereIsNoMemoryToTakeIsGivenBack) {
    int failures = 0;
    for (int blocks = 0; blocks < 20; ++blocks) {
        CStateChangeScriptOp op;
        const CFailingMemory memory(blocks);
        try {
            op.SetStateChangeInstance(m_change);
        } catch (const std::bad_alloc&) {
            ++failures;
        }
        if (!CFailingMemory::HasFailed())
            break;
    }
    EXPECT_GT(failures, 0);
    EXPECT_EQ(CountOf(m_change), 1u);
}

namespace {
HRESULT WINAPI FailingMarshal(REFIID, LPUNKNOWN, LPSTREAM* stream) {
    *stream = nullptr;
    return E_ACCESSDENIED;
}
HRESULT WINAPI FailingUnmarshal(LPSTREAM stream, REFIID, LPVOID* object) {
    *object = nullptr;
    stream->Release();
    return E_ACCESSDENIED;
}
RPC_STATUS WINAPI FailingUuidCreate(UUID*) {
    return static_cast<RPC_STATUS>(0x80070005);
}

template <class Action> unsigned long Code(Action action) {
    try {
        action();
    } catch (const COSException& failure) {
        return failure.GetErrorCode();
    }
    return 0;
}
} // namespace

TEST_F(StateChangeOpTest, MarshallingFailuresAreRaised) {
    {
        const CImportHook hook(GetModuleHandleW(nullptr), "CoMarshalInterThreadInterfaceInStream", &FailingMarshal);
        EXPECT_EQ(Code([&] { m_op.SetStateChangeInstance(m_change); }), 0x80070005u);
    }
    m_op.SetStateChangeInstance(m_change);
    {
        const CImportHook hook(GetModuleHandleW(nullptr), "CoGetInterfaceAndReleaseStream", &FailingUnmarshal);
        EXPECT_EQ(Code([&] { m_op.Run(); }), 0x80070005u);
    }
    EXPECT_THAT(
        m_log.At(L"ERROR"),
        ElementsAre(L"TalvinorGlobal: Failure HRESULT=0x80070005; \"CoMarshalInterThreadInterfaceInStream "
                    L"failed\"; at ScriptExecution/StateChangeScriptOp; line 28; "
                    L"CStateChangeScriptOp::SetStateChangeInstance",
                    L"TalvinorGlobal: Failure HRESULT=0x80070005; \"CoGetInterfaceAndReleaseStream failed\"; at "
                    L"ScriptExecution/StateChangeScriptOp; line 42; CStateChangeScriptOp::Run"));
}

TEST_F(StateChangeOpTest, ASystemFailureInsideARunBecomesItsResult) {
    const CImportHook hook(GetModuleHandleW(nullptr), "UuidCreate", &FailingUuidCreate);
    EXPECT_EQ(Run({}), static_cast<HRESULT>(0x80070005));
    EXPECT_THAT(m_log.At(L"ERROR"), Contains(L"ScriptExecution.CStateChangeScriptOp: Error running scripts: " +
                                             GetSystemErrorText(0x80070005) + L" (0x80070005 / -2147024891)"));
}

TEST_F(StateChangeOpTest, ANullEntryIsAPlainFailure) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript app = MakeApp(L"save.vbs", Say(L"1"));
    EXPECT_EQ(Run({&app, nullptr, &app}), E_FAIL);
    EXPECT_THAT(Said(), ElementsAre(L"INFO 1"));
    EXPECT_THAT(m_log.At(L"ERROR"), ElementsAre(HasSubstr(L"\"Null pScript in collection\"")));
}

TEST_F(StateChangeOpTest, TheListIsLoggedWhenItIsSet) {
    CDocumentScript app = MakeApp(L"save.vbs", L"");
    const std::vector<CScript*> scripts{&app};
    EXPECT_EQ(m_op.SetScripts(&scripts), S_OK);
    EXPECT_THAT(m_log.Of(L"ScriptExecution.CStateChangeScriptOp"),
                ElementsAre(L"INFO Added script for App = App of save.vbs",
                            L"DEBUG Save script name = save.vbs, restore script name = restore of save.vbs"));
    EXPECT_TRUE(m_log.Has(L"DEBUG Trace.CStateChangeScriptOp: Entering -> [CStateChangeScriptOp::SetScripts]"));
    EXPECT_EQ(m_op.SetScripts(nullptr), E_INVALIDARG);
    std::vector<CScript*> listed;
    m_op.GetScripts(&listed);
    EXPECT_THAT(listed, ElementsAre(&app));
    EXPECT_EQ(m_op.OnComplete(), S_OK);
}

TEST_F(StateChangeOpTest, OnAWorkerTheChangeIsReachedThroughItsProxy) {
    /// The worker's apartment has servers of its own.
    class CWorkerOp : public CStateChangeScriptOp {
    public:
        long Run() override {
            const CHostProxies proxies;
            const CSessionServer server;
            const CTestSigner signer;
            result = CStateChangeScriptOp::Run();
            return result;
        }
        long result = E_PENDING;
    } op;
    class CEnd : public IAsyncRunnerListener {
    public:
        explicit CEnd(HANDLE ended) : m_ended(ended) {}
        ~CEnd() override { SetEvent(m_ended); }
        void OnFinished() override {}

    private:
        HANDLE m_ended;
    };
    const CRunningApp running({}, {ExePath()});
    CDocumentScript app = MakeApp(L"failing.vbs", Say(L"Process.Id") + L"Err.Raise 1000\n");
    const std::vector<CScript*> scripts{&app};
    op.SetScripts(&scripts);
    ASSERT_EQ(op.SetStateChangeInstance(m_change), S_OK);
    const CUniqueHandle ended(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    auto* runner = std::make_unique<CAsyncRunner>(true).release();
    runner->AttachListener(std::make_unique<CEnd>(ended.Get()).release());
    runner->Start(&op);
    HANDLE handle = ended.Get();
    DWORD index = 0;
    // This apartment answers the worker's calls while it waits.
    ASSERT_EQ(CoWaitForMultipleHandles(0, 30'000, 1, &handle, &index), S_OK);
    EXPECT_EQ(op.result, S_OK);
    EXPECT_THAT(Said(), ElementsAre(L"INFO " + std::to_wstring(running.Id())));
    EXPECT_EQ(m_change->vetoed, VARIANT_TRUE);
}

// --- the script class beside it ---

namespace {
class CHostScript : public CComObjectRootEx<CComSingleThreadModel>, public IStateChangeScript {
public:
    BEGIN_COM_MAP(CHostScript)
    COM_INTERFACE_ENTRY(IStateChangeScript)
    END_COM_MAP()
    STDMETHODIMP get_Text(BSTR* text) override {
        if (SUCCEEDED(result))
            *text = SysAllocString(L"x = 1");
        return result;
    }
    STDMETHODIMP get_Name(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_StateChangeTypes(unsigned long*) override { return E_NOTIMPL; }
    HRESULT result = S_OK;
};
} // namespace

TEST(StateChangeScript, TakesItsTextFromTheHostsObject) {
    CComObjectNoLock<CHostScript>* created = nullptr;
    CComObjectNoLock<CHostScript>::CreateInstance(&created);
    const CComPtr<CComObjectNoLock<CHostScript>> host(created);
    CStateChangeScript script;
    script.Init(host);
    EXPECT_EQ(script.GetText(), L"x = 1");
    script.SetText(L"old");
    host->result = E_FAIL;
    script.Init(host);
    EXPECT_EQ(script.GetText(), L"old");
    EXPECT_EQ(CountOf(host), 1u);
}

TEST(StateChangeScript, KeepsItsMaskInCopies) {
    CStateChangeScript script;
    script.SetStateChangeTypes(static_cast<_STATE_CHANGE_TYPE>(Standby | Shutdown));
    script.SetScriptName(L"a");
    const CStateChangeScript copy(script);
    CStateChangeScript assigned;
    assigned = copy;
    EXPECT_EQ(assigned.GetStateChangeTypes(), static_cast<_STATE_CHANGE_TYPE>(Standby | Shutdown));
    EXPECT_EQ(assigned.GetScriptName(), L"a");
}
