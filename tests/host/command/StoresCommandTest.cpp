// history and forget, with stores on disk. Proves HistoryCommand, ForgetCommand and StoreFiles.

#include "CommandFixture.h"
#include "SaveTurn.h"
#include "StoreFile.h"

#include <nlohmann/json.hpp>

#include <shellapi.h>

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class StoresCommand : public CommandTest {
protected:
    static nlohmann::json History() { return nlohmann::json::parse(RunQuorline(L"history --json").out)["stores"]; }

    bool IsThere(const wchar_t* store) const { return std::filesystem::exists(m_documents.Base() / store); }

    void MakeOld(const CStoreEntry& store, int days) {
        std::filesystem::last_write_time(store.InfoPath(),
                                         std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * days));
    }

    /// How many things lie in the recycle bin.
    static long long Recycled() {
        SHQUERYRBINFO info{};
        info.cbSize = sizeof info;
        EXPECT_HRESULT_SUCCEEDED(SHQueryRecycleBinW(nullptr, &info));
        return info.i64NumItems;
    }
};
} // namespace

TEST_F(StoresCommand, HistoryTellsTimeStateApplicationAndScript) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save(L"shutdown").exitCode, 0u);
    EXPECT_THAT(RunQuorline(L"history").out,
                AllOf(HasSubstr("  shutdown, 20"), HasSubstr(" UTC\r\n"), HasSubstr("of notepad.exe, by save.vbs")));
    const auto store = History()[0];
    EXPECT_EQ(store["state"], "shutdown");
    EXPECT_THAT(store["time"], HasSubstr(" UTC"));
    EXPECT_EQ(store["documents"][0]["application"], "notepad.exe");
    EXPECT_EQ(store["documents"][0]["saveScript"], "save.vbs");
    EXPECT_EQ(store["documents"][0]["missing"], false);
    EXPECT_THAT(store["unrecorded"], IsEmpty());
}

TEST_F(StoresCommand, AStoreWhoseRecordNamesNoStateTellsTheTimeThatItIsNamedAfter) {
    MakeStore(m_documents, L"2026-11-21_20.45.07", {{L"a.txt"}});
    MakeStore(m_documents, L"renamed", {{L"a.txt"}});
    const SYSTEMTIME local{2026, 11, 0, 21, 20, 45, 7, 0};
    SYSTEMTIME utc{};
    FILETIME time{};
    ASSERT_TRUE(TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc) && SystemTimeToFileTime(&utc, &time));
    EXPECT_THAT(RunQuorline(L"history").out,
                AllOf(HasSubstr("2026-11-21_20.45.07  state not recorded, " + ToUtf8(DescribeTime(time)) + "\r\n"),
                      HasSubstr("renamed  state not recorded\r\n")));
    EXPECT_EQ(History()[0]["time"], ToUtf8(DescribeTime(time)));
    EXPECT_EQ(History()[0]["state"], "");
    EXPECT_EQ(History()[1]["time"], "");
}

TEST_F(StoresCommand, HistoryListsWhatIsMissingUnrecordedOrUnreadable) {
    const CStoreEntry store = MakeStore(m_documents, L"1", {{L"here.txt"}, {L"gone.txt"}, {L"done.txt", true}});
    std::filesystem::remove(m_documents.Base() / L"1" / L"gone.txt");
    std::filesystem::remove(m_documents.Base() / L"1" / L"done.txt");
    std::ofstream(m_documents.Base() / L"1" / L"by-itself.txt") << "x";
    std::filesystem::create_directories(m_documents.Base() / L"recordless");
    std::ofstream(m_documents.Base() / L"recordless" / L"file.txt") << "x";
    std::filesystem::create_directories(m_documents.Base() / L"empty");
    std::ofstream(m_documents.Base() / L"empty" / L"info.xml.new") << "x";
    const std::string folder = ToUtf8(store.directory) + "\\";
    const CProgramResult result = RunQuorline(L"history");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("  unrecovered  " + folder + "here.txt\r\n"),
                                  HasSubstr("  missing      " + folder + "gone.txt\r\n"),
                                  HasSubstr("  recovered    " + folder +
                                            "done.txt\r\n               of editor.exe\r\n"
                                            "               the saved copy is gone\r\n"),
                                  HasSubstr("  unrecorded   " + folder + "by-itself.txt\r\n"),
                                  HasSubstr("  unreadable   it has no info file\r\n  unrecorded   "),
                                  HasSubstr("recordless\\file.txt\r\n"), HasSubstr("2 unrecovered documents in "),
                                  Not(HasSubstr("empty"))));
    const auto stores = History();
    ASSERT_EQ(stores.size(), 2u) << stores;
    EXPECT_EQ(stores[0]["documents"][1]["missing"], true);
    EXPECT_EQ(stores[0]["unrecorded"], nlohmann::json::array({folder + "by-itself.txt"}));
    EXPECT_EQ(stores[1]["problem"], "it has no info file");
    EXPECT_EQ(stores[1]["unrecorded"].size(), 1u);
}

TEST_F(StoresCommand, ACopyElsewhereIsNotEvenLookedAt) {
    MakeStore(m_documents, L"1", {{L"a.txt", false, L"\\\\server\\share\\a.txt"}});
    EXPECT_THAT(RunQuorline(L"history").out,
                HasSubstr("               is not restored: it does not lie in the directory of its store\r\n"));
    EXPECT_EQ(History()[0]["documents"][0]["problem"], "it does not lie in the directory of its store");
}

TEST_F(StoresCommand, AnUnrecoveredDocumentIsForgottenOnlyWhenItIsSaidSo) {
    MakeStore(m_documents, L"1", {{L"a.txt", true}});
    MakeStore(m_documents, L"2", {{L"a.txt", true}, {L"b.txt"}});
    const CProgramResult refused = RunQuorline(L"forget --permanently 1 2");
    EXPECT_EQ(refused.exitCode, 2u);
    EXPECT_THAT(refused.err,
                AllOf(HasSubstr("the store '2' may be needed, '"), HasSubstr("b.txt' was not restored yet"),
                      HasSubstr("nothing was deleted. Restore it first, or give --yes")));
    EXPECT_TRUE(IsThere(L"1"));
    EXPECT_TRUE(IsThere(L"2"));
    EXPECT_EQ(RunQuorline(L"forget --permanently --yes 1 2").exitCode, 0u);
    EXPECT_FALSE(IsThere(L"1"));
    EXPECT_FALSE(IsThere(L"2"));
}

TEST_F(StoresCommand, WhatWasRestoredIsForgottenOnceItIsOldEnough) {
    MakeOld(MakeStore(m_documents, L"young", {{L"a.txt", true}}), 29);
    MakeOld(MakeStore(m_documents, L"old", {{L"a.txt", true}}), 31);
    MakeOld(MakeStore(m_documents, L"needed", {{L"a.txt"}}), 31);
    const CProgramResult result = RunQuorline(L"forget --recovered --older-than 30d --json");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    const auto answer = nlohmann::json::parse(result.out);
    ASSERT_EQ(answer["deleted"].size(), 1u);
    EXPECT_EQ(answer["deleted"][0], ToUtf8((m_documents.Base() / L"old").wstring()));
    ASSERT_EQ(answer["kept"].size(), 1u);
    EXPECT_THAT(answer["kept"][0]["reason"], HasSubstr("a.txt' was not restored yet"));
    EXPECT_TRUE(IsThere(L"young"));
    EXPECT_TRUE(IsThere(L"needed"));
    EXPECT_FALSE(IsThere(L"old"));
    EXPECT_EQ(RunQuorline(L"forget --recovered").exitCode, 0u);
    EXPECT_FALSE(IsThere(L"young"));
    EXPECT_TRUE(IsThere(L"needed"));
}

TEST_F(StoresCommand, WhatIsForgottenLiesInTheRecycleBinUnlessItIsToGoForGood) {
    MakeStore(m_documents, L"1", {{L"a.txt", true}});
    MakeStore(m_documents, L"2", {{L"a.txt", true}});
    const long long before = Recycled();
    EXPECT_THAT(RunQuorline(L"forget 1").out, HasSubstr("recycled   "));
    EXPECT_FALSE(IsThere(L"1"));
    EXPECT_EQ(Recycled(), before + 1);
    EXPECT_THAT(RunQuorline(L"forget 2 --permanently").out, HasSubstr("deleted    "));
    EXPECT_FALSE(IsThere(L"2"));
    EXPECT_EQ(Recycled(), before + 1);
}

TEST_F(StoresCommand, AFileThatNoRecordNamesKeepsItsStoreAndSoDoesAnUnreadableRecord) {
    MakeStore(m_documents, L"1", {{L"a.txt", true}});
    std::ofstream(m_documents.Base() / L"1" / L"by-itself.txt") << "x";
    std::filesystem::create_directories(m_documents.Base() / L"broken");
    std::ofstream(m_documents.Base() / L"broken" / L"info.xml") << "<Nothing";
    const CProgramResult result = RunQuorline(L"forget --recovered");
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_THAT(result.out, AllOf(HasSubstr("no record names '"), HasSubstr("by-itself.txt'"),
                                  HasSubstr("its documents are not known: ")));
    EXPECT_TRUE(IsThere(L"1"));
    EXPECT_EQ(RunQuorline(L"forget broken").exitCode, 2u);
    EXPECT_TRUE(IsThere(L"broken"));
    EXPECT_EQ(RunQuorline(L"forget broken --yes --permanently").exitCode, 0u);
    EXPECT_FALSE(IsThere(L"broken"));
}

TEST_F(StoresCommand, WhileASaveRunsForgetWaitsWithAStoreThatIsNamedByItsPathToo) {
    const CStoreEntry store = MakeStore(m_documents, L"1", {{L"a.txt", true}});
    auto save = std::make_unique<CSaveTurn>();
    CPipedProgram forget(QuorlineCommand(L"forget --permanently \"" + store.directory + L"\""));
    EXPECT_TRUE(forget.ReadUntil("waiting    a save of this user is running\r\n"));
    EXPECT_TRUE(IsThere(L"1"));
    save.reset();
    EXPECT_EQ(forget.Wait(), 0u);
    EXPECT_FALSE(IsThere(L"1"));
}

TEST_F(StoresCommand, OnlyStoresAreForgotten) {
    MakeStore(m_documents, L"1", {{L"a.txt", true}});
    for (const wchar_t* named : {L".", L"..", L"..\\1\\..", L"none", L"1\\a.txt"}) {
        const CProgramResult result = RunQuorline(std::wstring(L"forget --yes --permanently ") + named);
        EXPECT_EQ(result.exitCode, 2u);
        EXPECT_THAT(result.err, HasSubstr("'quorline history' lists them"));
    }
    EXPECT_EQ(RunQuorline(L"forget").exitCode, 2u);
    EXPECT_EQ(RunQuorline(L"forget 1 --recovered").exitCode, 2u);
    EXPECT_EQ(RunQuorline(L"forget 1 --older-than 30d").exitCode, 2u);
    EXPECT_TRUE(IsThere(L"1"));
    EXPECT_EQ(RunQuorline(L"forget --recovered").exitCode, 0u);
    EXPECT_THAT(RunQuorline(L"forget --recovered").out, HasSubstr("nothing to forget"));
}
