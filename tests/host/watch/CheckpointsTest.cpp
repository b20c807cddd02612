// Proves which checkpoints are the same and which have served their time: watch/Checkpoints.

#include "Checkpoints.h"

#include "DocumentsFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {
using Names = std::vector<std::wstring>;

class CheckpointsTest : public testing::Test {
protected:
    /// Newest first, so to be called in that order.
    void Saved(const std::wstring& store, const std::wstring& name, const std::string& content,
               bool recovered = false) {
        const fs::path folder = fs::path(m_documents.Base()) / store;
        fs::create_directories(folder);
        std::ofstream(folder / L"info.xml") << "record";
        const fs::path copy = folder / (name + std::to_wstring(m_all.size()) + L".txt");
        std::ofstream(copy, std::ios::binary) << content;
        m_all.push_back({L"Notepad", name, L"", copy.wstring(), store, recovered});
    }

    const CDocumentsFolder m_documents;
    std::vector<CSavedDocument> m_all;
};
} // namespace

TEST_F(CheckpointsTest, StoresWithTheSameBytesUnderTheSameNamesAreTheSame) {
    Saved(L"b", L"Letter", "one");
    Saved(L"b", L"Letter", "two");
    Saved(L"a", L"Letter", "two");
    Saved(L"a", L"Letter", "one");
    EXPECT_TRUE(HoldSameDocuments(m_all, L"a", L"b"));
}

TEST_F(CheckpointsTest, ADocumentThatIsOtherMissingOrNamedOtherwiseMakesADifference) {
    Saved(L"a", L"Letter", "one");
    Saved(L"bytes", L"Letter", "two");
    Saved(L"length", L"Letter", "one more");
    Saved(L"name", L"Report", "one");
    Saved(L"more", L"Letter", "one");
    Saved(L"more", L"Letter", "one");
    for (const wchar_t* other : {L"bytes", L"length", L"name", L"more", L"none"}) {
        EXPECT_FALSE(HoldSameDocuments(m_all, L"a", other));
        EXPECT_FALSE(HoldSameDocuments(m_all, other, L"a"));
    }
}

TEST_F(CheckpointsTest, OneCopyIsNotTheSameAsTwoOthers) {
    Saved(L"b", L"Letter", "one");
    Saved(L"b", L"Letter", "two");
    Saved(L"a", L"Letter", "one");
    Saved(L"a", L"Letter", "one");
    EXPECT_FALSE(HoldSameDocuments(m_all, L"a", L"b"));
    EXPECT_FALSE(HoldSameDocuments(m_all, L"b", L"a"));
}

TEST_F(CheckpointsTest, OfMoreThanTheNumberTheOldestGo) {
    for (const wchar_t* store : {L"4", L"3", L"2", L"1"})
        Saved(store, L"Letter", "text");
    EXPECT_EQ(FindSuperseded({L"1", L"2", L"3", L"4"}, m_all, {2, std::chrono::hours(1)}), (Names{L"1", L"2"}));
    EXPECT_EQ(FindSuperseded({L"1", L"2"}, m_all, {2, std::chrono::hours(1)}), Names{});
}

TEST_F(CheckpointsTest, WhatIsOlderThanTheAgeGoesUnlessItIsTheNewest) {
    for (const wchar_t* store : {L"2", L"1"}) {
        Saved(store, L"Letter", "text");
        const fs::path info = fs::path(m_documents.Base()) / store / L"info.xml";
        fs::last_write_time(info, fs::file_time_type::clock::now() - std::chrono::hours(3));
    }
    EXPECT_EQ(FindSuperseded({L"1", L"2"}, m_all, {5, std::chrono::hours(4)}), Names{});
    EXPECT_EQ(FindSuperseded({L"1", L"2"}, m_all, {5, std::chrono::hours(2)}), Names{L"1"});
}

TEST_F(CheckpointsTest, TheOnlyCopyOfAnUnrecoveredDocumentStays) {
    Saved(L"3", L"Letter", "text");
    Saved(L"2", L"Letter", "text");
    Saved(L"1", L"Report", "closed since");
    EXPECT_EQ(FindSuperseded({L"1", L"2", L"3"}, m_all, {1, std::chrono::hours(1)}), Names{L"2"});
}

TEST_F(CheckpointsTest, ARecoveredDocumentNeedsNoCopy) {
    Saved(L"2", L"Letter", "text");
    Saved(L"1", L"Report", "restored", true);
    EXPECT_EQ(FindSuperseded({L"1", L"2"}, m_all, {1, std::chrono::hours(1)}), Names{L"1"});
}

TEST_F(CheckpointsTest, DocumentsOfOneStoreAreDifferentOnesWhateverTheyAreCalled) {
    Saved(L"2", L"Report", "text");
    Saved(L"1", L"Letter", "restored", true);
    Saved(L"1", L"Letter", "another without a name of its own");
    EXPECT_EQ(FindSuperseded({L"1", L"2"}, m_all, {1, std::chrono::hours(1)}), Names{});
}

TEST_F(CheckpointsTest, OnlyTheNewestCopyOfADocumentIsOffered) {
    Saved(L"2", L"Letter", "new");
    Saved(L"2", L"Letter", "another without a name of its own");
    Saved(L"1", L"Letter", "old");
    Saved(L"1", L"Report", "only here");
    const auto newest = NewestCopies(m_all);
    ASSERT_EQ(newest.size(), 3u);
    EXPECT_EQ(newest[0].store, L"2");
    EXPECT_EQ(newest[1].store, L"2");
    EXPECT_EQ(newest[2].name, L"Report");
}

TEST_F(CheckpointsTest, AStoreIsRemovedWithAllThatIsInIt) {
    Saved(L"1", L"Letter", "text");
    EXPECT_TRUE(RemoveStore(L"1"));
    EXPECT_FALSE(fs::exists(fs::path(m_documents.Base()) / L"1"));
}

TEST(SavedDocumentTimeTest, TheStoreTellsTheTime) {
    CSavedDocument document;
    document.store = L"2026-11-21_21.08.54";
    EXPECT_EQ(document.Time(), L"2026-11-21 21:08:54");
    document.store = L"My store";
    EXPECT_EQ(document.Time(), L"My store");
}
