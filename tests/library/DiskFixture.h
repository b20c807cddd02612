#pragma once

// What the tests of a store on a disk that fails share: reservations whose every outcome is checked against what was
// recorded before, and a table of them at the program's end.

#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "StoreFixture.h"

#include <cstdio>
#include <map>
#include <optional>

/// How often each kind of attempt came to what. Printed when all tests have run.
class COutcomeTable : public testing::Environment {
public:
    static COutcomeTable& Get() {
        static auto* table = dynamic_cast<COutcomeTable*>(testing::AddGlobalTestEnvironment(new COutcomeTable));
        return *table;
    }

    void Count(const std::string& attempt, HRESULT hr) { ++m_rows[attempt][hr]; }

    void TearDown() override {
        std::printf("%-58s %10s %7s\n", "attempt", "result", "times");
        for (const auto& [attempt, outcomes] : m_rows)
            for (const auto& [hr, times] : outcomes)
                std::printf("%-58s 0x%08lX %7d\n", attempt.c_str(), static_cast<unsigned long>(hr), times);
    }

private:
    std::map<std::string, std::map<HRESULT, int>> m_rows;
};

/// The long form of what else takes a moment.
inline bool IsSoak() {
    return GetEnvironmentVariableW(L"DOCUMENTS_SOAK", nullptr, 0) != 0;
}

/// An environment variable's text, empty when it is not set.
inline std::wstring Variable(const wchar_t* name) {
    wchar_t value[MAX_PATH];
    return std::wstring(value, GetEnvironmentVariableW(name, value, MAX_PATH));
}

class DiskTest : public StoreTest {
protected:
    static std::wstring InfoPath(const CInternalDocumentStore& store) { return Directory(store) + L"\\info.xml"; }

    static std::optional<std::string> Record(const CInternalDocumentStore& store) {
        std::ifstream file(fs::path(InfoPath(store)), std::ios::binary);
        if (!file)
            return std::nullopt;
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    static std::vector<std::wstring> Names(const CInternalDocumentStore& store) {
        std::vector<std::wstring> names;
        for (const auto& record : *store.GetSavedDocumentList())
            names.push_back(Text(*record, &CInternalSavedDocument::GetDocName));
        return names;
    }

    /// The names that the store's record on the disk holds; it must be there and whole.
    static std::vector<std::wstring> NamesOnDisk(const CInternalDocumentStore& store) {
        CDocumentStoreInfo info;
        EXPECT_NO_THROW(CDocumentStoreXMLReader(InfoPath(store)).ReadDocumentStore(info));
        return Names(*info.GetInternalDocumentStore());
    }

    /// Reserves a document and counts the outcome. A success must be on the disk with everything before it; a failure
    /// must leave the record on the disk as it was and say why, in the log or to the script's author.
    HRESULT Attempt(CInternalDocumentStore& store, const std::wstring& name, const std::string& row,
                    std::wstring* path = nullptr) {
        const auto before = Record(store);
        const std::size_t count = store.GetSavedDocumentList()->size();
        std::wstring reserved;
        log.Clear();
        const HRESULT hr =
            store.GetNewDocumentPath(name.c_str(), (L"C:\\Work\\" + name).c_str(), L".txt", path ? *path : reserved);
        COutcomeTable::Get().Count(row, hr);
        if (hr == S_OK) {
            EXPECT_EQ(NamesOnDisk(store), Names(store)) << row;
        } else {
            EXPECT_TRUE(FAILED(hr)) << row;
            EXPECT_EQ(Record(store), before) << row;
            if (store.GetSavedDocumentList()->size() > count)
                EXPECT_TRUE(log.HasPrefix(L"ERROR Quorline.InternalDocumentStore: Could not write document store "
                                          L"information. Error = "))
                    << row;
            else
                EXPECT_TRUE(!store.GetNameRefusal().empty() || !log.At(L"ERROR").empty()) << row;
        }
        EXPECT_FALSE(fs::exists(InfoPath(store) + L".new")) << row;
        return hr;
    }
};
