// Proves that the text kept between two writes of an info file is never older than the records: InfoFileBytes.

#include "WriterFixture.h"

#include "ImportHook.h"
#include "RandomRounds.h"
#include "StorePeer.h"

#include <random>

namespace {
using Record = CInternalSavedDocument;

struct CRecordChange {
    const char* name;
    void (*make)(Record& record, const std::wstring& value);
};

/// Every way to change what the file says of a record.
constexpr CRecordChange Changes[] = {
    {"name", [](Record& record, const std::wstring& value) { record.SetDocName(value); }},
    {"original path", [](Record& record, const std::wstring& value) { record.SetDocOriginalPath(value); }},
    {"temp path", [](Record& record, const std::wstring& value) { record.SetDocTempPath(value); }},
    {"image name", [](Record& record, const std::wstring& value) { record.SetAppExeImageName(value); }},
    {"app path", [](Record& record, const std::wstring& value) { record.SetAppPath(value); }},
    {"save script", [](Record& record, const std::wstring& value) { record.SetSaveScriptName(value); }},
    {"restore script", [](Record& record, const std::wstring& value) { record.SetRestoreScriptName(value); }},
    {"status",
     [](Record& record, const std::wstring&) {
         record.SetStatus(record.GetStatus() == TEMP_DOCUMENT_RECOVERED ? TEMP_DOCUMENT_NOT_RECOVERED
                                                                        : TEMP_DOCUMENT_RECOVERED);
     }},
    {"script",
     [](Record& record, const std::wstring& value) {
         CDocumentScript script;
         script.SetScriptName(value);
         record.SetScript(script);
     }},
    {"assignment",
     [](Record& record, const std::wstring& value) {
         Record other;
         other.SetDocName(value);
         record = other;
     }},
    {"object",
     [](Record& record, const std::wstring& value) {
         CScriptDocument object;
         object.values["Name"] = value;
         record.InitFrom(&object);
     }},
    {"held script", [](Record& record, const std::wstring& value) { record.GetScript().SetScriptName(value); }},
    {"held restore script",
     [](Record& record, const std::wstring& value) { record.GetScript().GetRestoreScript().SetScriptName(value); }},
};

int g_conversions = 0;
decltype(&WideCharToMultiByte) g_convert = nullptr;
int WINAPI CountedConversion(UINT page, DWORD flags, LPCWCH text, int size, LPSTR bytes, int room, LPCCH strange,
                             LPBOOL used) {
    ++g_conversions;
    return g_convert(page, flags, text, size, bytes, room, strange, used);
}

BOOL WINAPI FullDisk(HANDLE, const void*, DWORD, DWORD* written, OVERLAPPED*) {
    *written = 0;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

class KeptTextTest : public WriterTest {
protected:
    /// What the store writes by way of what it has kept.
    std::string WriteAgain() {
        EXPECT_EQ(store.WriteInfoFile(), S_OK);
        std::wstring info;
        EXPECT_EQ(store.GetInfoFilePath(info, InfoFileExtension), S_OK);
        return ReadBytes(info);
    }

    /// What a writer that has kept nothing makes of it.
    std::string WriteAnew() { return Write(nullptr); }

    CInternalDocumentStore::DocumentList& list = *store.GetSavedDocumentList();
};
} // namespace

TEST_F(KeptTextTest, EachChangeOfARecordIsInTheNextFile) {
    for (const wchar_t* name : {L"first", L"second", L"third"})
        Add(name);
    for (const std::size_t at : {2u, 1u, 0u})
        for (const auto& [what, change] : Changes) {
            list[at] = std::make_unique<Record>();
            const std::string before = WriteAgain();
            change(*list[at], L"changed");
            const std::string after = WriteAgain();
            EXPECT_NE(after, before) << what << " of " << at;
            EXPECT_EQ(after, WriteAnew()) << what << " of " << at;
        }
}

TEST_F(KeptTextTest, WhoHoldsARecordsScriptMayChangeItBetweenAnyTwoFiles) {
    Record& record = Add(L"document");
    CDocumentScript& script = record.GetScript();
    for (const wchar_t* name : {L"one", L"two", L"three"}) {
        script.SetScriptName(name);
        EXPECT_EQ(WriteAgain(), WriteAnew());
        record.SetDocName(name); // does not end it
        EXPECT_EQ(WriteAgain(), WriteAnew());
    }
}

TEST_F(KeptTextTest, TheListIsWrittenAsItIs) {
    const auto move = [this](std::size_t from, std::size_t to) {
        auto record = std::move(list[from]);
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(from));
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(to), std::move(record));
    };
    for (const wchar_t* name : {L"a", L"b", L"c", L"d"})
        Add(name);
    EXPECT_EQ(WriteAgain(), WriteAnew());
    std::swap(list[1], list[2]);
    EXPECT_EQ(WriteAgain(), WriteAnew());
    move(0, 3);
    EXPECT_EQ(WriteAgain(), WriteAnew());
    move(3, 1);
    EXPECT_EQ(WriteAgain(), WriteAnew());
    list.erase(list.begin());
    EXPECT_EQ(WriteAgain(), WriteAnew());
    list.pop_back();
    EXPECT_EQ(WriteAgain(), WriteAnew());
    *list[0] = *list[1];
    EXPECT_EQ(WriteAgain(), WriteAnew());
    list.clear();
    EXPECT_EQ(WriteAgain(), WriteAnew());
    Add(L"e");
    EXPECT_EQ(WriteAgain(), WriteAnew());
}

TEST_F(KeptTextTest, AfterAnyChangesTheFileIsThatOfAWriterThatKeptNothing) {
    const CRandomRounds rounds(300);
    std::mt19937 random(rounds.seed);
    const auto below = [&random](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
    const wchar_t* values[] = {L"", L"plain", L"50% off", L"\u00e9\u00df", L"a long value, longer than all others"};
    for (unsigned long long i = 0; i < rounds.count; ++i) {
        for (std::size_t changes = below(4); changes > 0; --changes) {
            const std::size_t kind = below(8);
            if (kind == 0 || list.empty())
                Add(values[below(std::size(values))]);
            else if (kind == 1)
                list.erase(list.begin() + static_cast<std::ptrdiff_t>(below(list.size())));
            else if (kind == 2)
                std::swap(list[below(list.size())], list[below(list.size())]);
            else
                Changes[below(std::size(Changes))].make(*list[below(list.size())], values[below(std::size(values))]);
        }
        ASSERT_EQ(WriteAgain(), WriteAnew()) << "round " << i;
    }
}

TEST_F(KeptTextTest, RecordsAreWholeBehindAnotherHead) {
    CInternalDocumentStorePeer::ForgetGuid(store);
    Add(L"a");
    const auto withoutHead = [](const std::string& file) { return file.substr(file.find("<Docs>")); };
    const std::string first = WriteAgain();
    Add(L"b");
    const std::string second = WriteAgain();
    EXPECT_NE(first.substr(0, first.find("<Docs>")), second.substr(0, second.find("<Docs>")));
    EXPECT_EQ(withoutHead(second), withoutHead(WriteAnew()));
}

TEST_F(KeptTextTest, ACopyOfAStoreWritesTheCopiesOfItsRecords) {
    Add(L"a").SetAppExeImageName(L"a.exe");
    const std::string file = WriteAgain();
    CInternalDocumentStore copy(store);
    copy.GetSavedDocumentList()->front()->SetDocName(L"b");
    EXPECT_EQ(copy.WriteInfoFile(), S_OK);
    std::wstring info;
    ASSERT_EQ(copy.GetInfoFilePath(info, InfoFileExtension), S_OK);
    EXPECT_NE(ReadBytes(info), file);
    EXPECT_EQ(WriteAgain(), file);
}

TEST_F(KeptTextTest, WhatOneFullDiskRefusedIsInTheNextFile) {
    Add(L"a");
    WriteAgain();
    Add(L"b");
    list[0]->SetStatus(TEMP_DOCUMENT_RECOVERED);
    {
        const CImportHook hook(GetModuleHandleW(L"msvcrt.dll"), "WriteFile", &FullDisk);
        EXPECT_NE(store.WriteInfoFile(), S_OK);
    }
    EXPECT_EQ(WriteAgain(), WriteAnew());
}

TEST_F(KeptTextTest, AReservationMakesItsOwnRecordIntoTextAlone) {
    const auto conversions = [this] {
        std::wstring reserved;
        g_conversions = 0;
        const CImportHook hook(GetModuleHandleW(nullptr), "WideCharToMultiByte", &CountedConversion);
        g_convert = reinterpret_cast<decltype(g_convert)>(hook.Original());
        EXPECT_EQ(store.GetNewDocumentPath(L"\u00e9.doc", L"C:\\\u00e9.doc", L"", reserved), S_OK);
        return g_conversions;
    };
    const int first = conversions();
    for (int i = 0; i < 100; ++i)
        Add(L"\u00e9").SetAppPath(L"\u00df");
    EXPECT_GT(conversions(), first + 200); // all but the first are new
    EXPECT_EQ(conversions(), first);
}
