// What an operation tells its observer, and when. Proves StateChangeScriptOp.

#include "StateChangeFixture.h"

#include "InternalDocumentStore.h"
#include "ScriptExecution/SaveObserver.h"

#include <activscp.h>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const wchar_t* ReserveLetter = L"path = TalvinorDocumentStore.GetNew(\"Letter\", \"\", \".txt\")\n";

/// Writes down what it is told, and names the application like a host.
class CRecorder : public ISaveObserver {
public:
    void OnScriptStarting(const CDocumentScript& app, unsigned long processId,
                          CInternalDocumentStore& store) noexcept override {
        Note(L"starting " + app.GetScriptName(), processId, store);
        store.SetCurrentAppInfo(L"QlOperated.exe", app.GetAppFriendlyName(), L"C:\\apps\\QlOperated.exe");
    }
    void OnScriptEnded(const CDocumentScript& app, unsigned long processId, CInternalDocumentStore& store,
                       long result) noexcept override {
        Note(L"ended " + app.GetScriptName(), processId, store);
        results.push_back(result);
    }
    void OnStoreFinished(CInternalDocumentStore& store) noexcept override {
        Note(L"finished", 0, store);
        CGuid guid;
        EXPECT_EQ(store.GetGuid(guid), S_OK) << "the store is gone already";
        finished.push_back(guid.ToString());
    }

    CTexts calls;
    std::vector<long> results;
    std::vector<std::wstring> finished;

private:
    void Note(const std::wstring& what, unsigned long processId, CInternalDocumentStore& store) {
        calls.push_back(what + (processId != 0 ? L" for " + std::to_wstring(processId) : L"") + L", " +
                        std::to_wstring(store.GetSavedDocumentList()->size()) + L" documents");
    }
};

class SaveObserverTest : public StateChangeOpTest {
protected:
    SaveObserverTest() { m_op.SetObserver(&m_recorder); }

    CRecorder m_recorder;
};

HRESULT WINAPI RefuseEngines(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
    if (IsEqualIID(iid, __uuidof(IActiveScript)))
        return REGDB_E_CLASSNOTREG;
    CComPtr<IClassFactory> factory;
    const HRESULT hr = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    return FAILED(hr) ? hr : factory->CreateInstance(outer, iid, object);
}
} // namespace

TEST_F(SaveObserverTest, EachScriptIsAnnouncedAndReportedAndTheStoreHandedOverAtTheEnd) {
    const CRunningApp one({}, {ExePath()});
    const CRunningApp other({}, {ExePath()});
    CDocumentScript app = MakeApp(L"save.vbs", ReserveLetter);
    CDocumentScript idle = MakeApp(L"idle.vbs", L"x = 1", Standby);
    EXPECT_EQ(Run({&idle, &app}), S_OK);
    const std::wstring low = std::to_wstring(std::min(one.Id(), other.Id()));
    const std::wstring high = std::to_wstring(std::max(one.Id(), other.Id()));
    EXPECT_THAT(m_recorder.calls,
                ElementsAre(L"starting save.vbs for " + low + L", 0 documents",
                            L"ended save.vbs for " + low + L", 1 documents",
                            L"starting save.vbs for " + high + L", 1 documents",
                            L"ended save.vbs for " + high + L", 2 documents", L"finished, 2 documents"));
    EXPECT_THAT(m_recorder.results, ElementsAre(S_OK, S_OK));
}

TEST_F(SaveObserverTest, WhatIsSetBeforeAScriptStandsInTheRecordFromItsFirstByteOnDisk) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript app = MakeApp(
        L"save.vbs", std::wstring(ReserveLetter) +
                         L"Set files = CreateObject(\"Scripting.FileSystemObject\")\n"
                         L"info = files.OpenTextFile(files.GetParentFolderName(path) & \"\\info.xml\").ReadAll\n" +
                         Say(L"Sgn(InStr(info, \"C:\\apps\\QlOperated.exe\"))"));
    EXPECT_EQ(Run({&app}), S_OK);
    EXPECT_THAT(Said(), ElementsAre(L"INFO 1"));
}

TEST_F(SaveObserverTest, AFailingScriptIsReportedAsAFailureAndEndsTheStore) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript failing = MakeApp(L"failing.vbs", L"Err.Raise 1000\n");
    CDocumentScript next = MakeApp(L"next.vbs", L"x = 1");
    EXPECT_EQ(Run({&failing, &next}), S_OK);
    const std::wstring id = std::to_wstring(running.Id());
    EXPECT_THAT(m_recorder.calls,
                ElementsAre(L"starting failing.vbs for " + id + L", 0 documents",
                            L"ended failing.vbs for " + id + L", 0 documents", L"finished, 0 documents"));
    EXPECT_THAT(m_recorder.results, ElementsAre(E_FAIL));
}

TEST_F(SaveObserverTest, AnExceptionOnTheWayIsReportedWithItsCodeAndTheStoreHandedOver) {
    const CRunningApp running({}, {ExePath()});
    CDocumentScript app = MakeApp(L"save.vbs", L"x = 1");
    const CImportHook hook(GetModuleHandleW(nullptr), "CoCreateInstance", &RefuseEngines);
    EXPECT_EQ(Run({&app}), REGDB_E_CLASSNOTREG);
    EXPECT_THAT(m_recorder.results, ElementsAre(REGDB_E_CLASSNOTREG));
    EXPECT_EQ(m_recorder.calls.size(), 3u);
    EXPECT_EQ(m_recorder.finished.size(), 1u);
}

TEST_F(SaveObserverTest, AStoreThatNoScriptUsedIsHandedOverToo) {
    CDocumentScript app = MakeApp(L"save.vbs", ReserveLetter);
    EXPECT_EQ(Run({&app}), S_OK);
    EXPECT_THAT(m_recorder.calls, ElementsAre(L"finished, 0 documents"));
}

TEST_F(SaveObserverTest, AChangeThatRunsNoScriptsTellsNothing) {
    m_change->newState = HibernateResume;
    CDocumentScript app = MakeApp(L"save.vbs", ReserveLetter);
    EXPECT_EQ(Run({&app}), S_OK);
    EXPECT_THAT(m_recorder.calls, IsEmpty());
}

TEST_F(SaveObserverTest, WithoutAnObserverTheScriptsRunAllTheSame) {
    const CRunningApp running({}, {ExePath()});
    m_op.SetObserver(nullptr);
    CDocumentScript app = MakeApp(L"save.vbs", Say(L"Process.Id"));
    EXPECT_EQ(Run({&app}), S_OK);
    EXPECT_THAT(Said(), ElementsAre(L"INFO " + std::to_wstring(running.Id())));
    EXPECT_THAT(m_recorder.calls, IsEmpty());
}
