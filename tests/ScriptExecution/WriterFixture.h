#pragma once

// What the tests of the info file's writer start from: a store and a state change with known identifiers and times.

#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLWriter.h"
#include "DocumentsFixture.h"

#include <filesystem>

namespace fs = std::filesystem;

inline constexpr GUID StoreId = {0x5d8a1c2e, 0x3b4f, 0x4a6d, {0x9e, 0x7f, 0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f}};
inline constexpr GUID ChangeId = {0x0f1e2d3c, 0x4b5a, 0x4968, {0x87, 0x76, 0x65, 0x54, 0x43, 0x32, 0x21, 0x10}};

inline FILETIME Time(SYSTEMTIME time) {
    FILETIME result{};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &result));
    return result;
}

class WriterTest : public DocumentsTest {
protected:
    WriterTest() {
        change.SetId(ChangeId);
        change.SetStateChangeType(Shutdown);
        change.SetUTCTimestamp(Time({2024, 3, 4, 7, 17, 5, 9, 999}));
    }

    CInternalSavedDocument& Add(const wchar_t* name) {
        auto& record = *store.GetSavedDocumentList()->emplace_back(std::make_unique<CInternalSavedDocument>());
        record.SetDocName(name);
        return record;
    }

    /// The file that the writer makes of the store, with or without the state change.
    std::string Write(CStateChangeInstance* stateChange) {
        CDocumentStoreXMLWriter writer(path.wstring());
        CDocumentStoreInfo info(stateChange, &store);
        writer.WriteDocumentStore(info);
        writer.Close();
        return ReadBytes(path);
    }

    fs::path path = folder.Path() / L"info.xml";
    CInternalDocumentStore store{StoreId};
    CStateChangeInstance change;
};

/// Joins the lines with CR LF, the last one included.
inline std::string Lines(std::initializer_list<const char*> lines) {
    std::string result;
    for (const char* line : lines)
        result.append(line).append("\r\n");
    return result;
}
