// Proves that saves of one user wait for each other: SaveTurn.

#include "DocumentsFolder.h"
#include "ImportHook.h"
#include "InternalDocumentStore.h"
#include "SaveTurn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <future>

namespace {
using testing::EndsWith;

/// A clock that only the host's waiting moves.
SYSTEMTIME g_now{};
int g_waits = 0;
void WINAPI FixedLocalTime(SYSTEMTIME* time) {
    *time = g_now;
}
void WINAPI WaitedFor(DWORD milliseconds) {
    EXPECT_EQ(milliseconds, 1000u - g_now.wMilliseconds);
    g_now.wMilliseconds = 0;
    ++g_now.wSecond;
    ++g_waits;
}

class SaveTurnTest : public testing::Test {
protected:
    SaveTurnTest() {
        g_now = {2024, 5, 5, 17, 18, 30, 15, 250};
        g_waits = 0;
    }

    void MakeDirectory(const wchar_t* name) { std::filesystem::create_directories(m_documents.Base() / name); }

    CDocumentsFolder m_documents;
    const CImportHook m_libraryClock{GetModuleHandleW(L"Quorline.dll"), "GetLocalTime", &FixedLocalTime};
    const CImportHook m_hostClock{GetModuleHandleW(nullptr), "GetLocalTime", &FixedLocalTime};
    const CImportHook m_wait{GetModuleHandleW(nullptr), "Sleep", &WaitedFor};
};

std::wstring DirectoryOf(const CInternalDocumentStore& store) {
    std::wstring directory;
    store.GetStorageDirectory(directory, false);
    return directory;
}
} // namespace

TEST_F(SaveTurnTest, ADirectoryThatNobodyMadeIsTakenAtOnce) {
    CInternalDocumentStore store;
    TakeFreshDirectory(store);
    EXPECT_THAT(DirectoryOf(store), EndsWith(L"2024-05-17_18.30.15"));
    EXPECT_EQ(g_waits, 0);
}

TEST_F(SaveTurnTest, SecondsWhoseDirectoriesAreThereAreWaitedOut) {
    MakeDirectory(L"2024-05-17_18.30.15");
    MakeDirectory(L"2024-05-17_18.30.16");
    MakeDirectory(L"2024-05-17_18.30.18"); // left by a clock that was ahead
    CInternalDocumentStore store;
    CGuid before;
    store.GetGuid(before);
    TakeFreshDirectory(store);
    EXPECT_THAT(DirectoryOf(store), EndsWith(L"2024-05-17_18.30.17"));
    EXPECT_EQ(g_waits, 2);
    CGuid after;
    store.GetGuid(after);
    EXPECT_TRUE(IsEqualGUID(before.GetGuid(), after.GetGuid())) << "it is the same store still";
}

TEST_F(SaveTurnTest, AFileOfThatNameIsAvoidedToo) {
    std::filesystem::create_directories(m_documents.Base());
    std::ofstream(m_documents.Base() / L"2024-05-17_18.30.15") << "x";
    CInternalDocumentStore store;
    TakeFreshDirectory(store);
    EXPECT_THAT(DirectoryOf(store), EndsWith(L"2024-05-17_18.30.16"));
}

TEST(SaveTurn, TheNextSaveHasItsTurnWhenTheOneBeforeEnds) {
    auto first = std::make_unique<CSaveTurn>();
    auto second = std::async(std::launch::async, [] { const CSaveTurn turn; });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    first.reset();
    EXPECT_EQ(second.wait_for(std::chrono::seconds(60)), std::future_status::ready);
}

TEST(SaveTurn, ATurnWhoseOwnerWasEndedIsFree) {
    // The thread keeps the mutex for good; the turn's own memory is never given back.
    std::async(std::launch::async, [] { static_cast<void>(std::make_unique<CSaveTurn>().release()); }).get();
    std::atomic<bool> waited{false};
    auto next = std::async(std::launch::async, [&] { const CSaveTurn turn([&] { waited = true; }); });
    EXPECT_EQ(next.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    EXPECT_FALSE(waited);
}

TEST(SaveTurn, WhoHasToWaitIsToldSoOnce) {
    auto first = std::make_unique<CSaveTurn>([] { ADD_FAILURE() << "nobody is in front"; });
    std::atomic<int> told{0};
    const CUniqueHandle waiting(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    auto second = std::async(std::launch::async, [&] {
        const CSaveTurn turn([&] {
            ++told;
            SetEvent(waiting.Get());
        });
    });
    EXPECT_EQ(WaitForSingleObject(waiting.Get(), 60'000), WAIT_OBJECT_0);
    first.reset();
    EXPECT_EQ(second.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    EXPECT_EQ(told, 1);
}
