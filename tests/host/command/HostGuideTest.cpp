// The C++ of the host's guide and of the front page: compiled as it stands there, and run with the real components.
// What they leave to the host ("yours") is this file's. Proves docs and the library's public headers together.

#include "CommandFixture.h"

#include "AppsFile.h"
#include "Components.h"
#include "HostStateChange.h"
#include "ProcessPath.h"

#include <nlohmann/json.hpp>

#include <includes.inc>

namespace {
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

#include <recorder.inc>
#include <run.inc>

/// A name that the format of the record cannot hold as it is.
constexpr const char* SaveOddName = R"(path = TalvinorDocumentStore.GetNew("R&D 100%", "C:\letters\R&D.txt", ".txt")
CreateObject("Scripting.FileSystemObject").CreateTextFile(path, True).Write "text"
)";

class HostGuide : public CommandTest {
protected:
    /// The applications file's only application, a Notepad that runs.
    CDocumentScript& App() {
        if (m_apps.empty()) {
            PutApps();
            PutSigned(L"save.vbs", SaveOddName);
            StartNotepad();
            m_apps = ReadAppsFile(Path(L"apps.json"));
        }
        return *m_apps.front();
    }

    void Save(_STATE_CHANGE_TYPE state) {
        std::vector<CScript*> scripts{&App()};
        const CComPtr<CHostStateChange> change = CHostStateChange::Announce(state);
        CStateChangeInstance written;
        written.SetStateChangeType(state);
        CRecorder recorder(written);
        CStateChangeScriptOp op;
        op.SetScripts(&scripts);
        ASSERT_EQ(op.SetStateChangeInstance(change), S_OK);
        op.SetObserver(&recorder);
        RunToEnd(op);
        EXPECT_FALSE(change->IsVetoed());
        EXPECT_TRUE(recorder.IsComplete());
    }

    void Restore() {
        const CDocumentScript& app = App();
#include <restore.inc>
    }

    static json Documents() {
        const json stores = json::parse(RunQuorline(L"history --json").out)["stores"];
        return stores.size() == 1 ? stores[0]["documents"] : json();
    }
    std::string Record() const {
        return ReadBytes(Stored(L"info.xml").at(0).wstring());
    }

    const CHostApartment m_apartment;
    ProtectedApps m_apps;
};

/// The front page's listener, which is the host's own.
class CMyListener : public IAsyncRunnerListener {
public:
    ~CMyListener() override { SetEvent(gone); }
    void OnFinished() override {}

    inline static HANDLE gone = nullptr;
};
} // namespace

TEST_F(HostGuide, TheFrontPagesSnippetSaves) {
    std::vector<CScript*> scripts{&App()};
    const CComPtr<CHostStateChange> change = CHostStateChange::Announce(Hibernate);
    const CUniqueHandle gone(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    CMyListener::gone = gone.Get();
    {
#include <start.inc>
        ASSERT_EQ(WaitForSingleObject(gone.Get(), 60'000), WAIT_OBJECT_0);
    }
    EXPECT_FALSE(change->IsVetoed());
    EXPECT_THAT(Stored(L"R&D 100%.txt"), SizeIs(1));
}

TEST_F(HostGuide, TheRecordOfItsSaveIsWholeWhateverADocumentIsCalled) {
    Save(Hibernate);
    const json documents = Documents();
    ASSERT_EQ(documents.size(), 1u) << documents;
    EXPECT_EQ(documents[0]["name"], "R&D 100%");
    EXPECT_EQ(documents[0]["originalPath"], "C:\\letters\\R&D.txt");
    EXPECT_EQ(documents[0]["saveScript"], "save.vbs");
    EXPECT_EQ(documents[0]["restoreScript"], "restore.js");
    EXPECT_EQ(documents[0]["recovered"], false);
    EXPECT_THAT(Record(), Not(HasSubstr("<StateChange>")));
}

TEST_F(HostGuide, ItsRestoreRoadBringsEachDocumentBackOnceAndKeepsTheRecordWhole) {
    for (const _STATE_CHANGE_TYPE state : {Hibernate, Shutdown}) {
        Save(state);
        Restore();
        const json documents = Documents();
        ASSERT_EQ(documents.size(), 1u) << documents;
        EXPECT_EQ(documents[0]["name"], "R&D 100%");
        EXPECT_EQ(documents[0]["recovered"], true);
        EXPECT_EQ(Record().find("<StateChange>") != std::string::npos, state == Shutdown);
        const auto restored = Stored(L".restored");
        ASSERT_THAT(restored, SizeIs(1));
        EXPECT_EQ(ReadBytes(restored.front().wstring()), "text");

        std::filesystem::remove(restored.front());
        Restore();
        EXPECT_THAT(Stored(L".restored"), SizeIs(0)) << "what is marked is not restored again";
        std::filesystem::remove_all(m_documents.Base());
    }
}
