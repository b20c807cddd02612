#pragma once

// What the tests of the document store start from: a scratch documents folder and a clock that stands still.

#include "ImportHook.h"
#include "InternalDocumentStore.h"
#include "DocumentsFixture.h"

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

inline constexpr GUID SomeGuid = {0x5d8a1c2e, 0x3b4f, 0x4a6d, {0x9e, 0x7f, 0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f}};
inline const std::wstring SomeGuidText = L"5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f";

inline SYSTEMTIME g_localTime = {2024, 3, 4, 7, 18, 5, 9, 999};
inline void WINAPI FixedLocalTime(SYSTEMTIME* time) {
    *time = g_localTime;
}

class StoreTest : public DocumentsTest {
protected:
    static std::wstring Directory(const CInternalDocumentStore& store) {
        std::wstring directory;
        EXPECT_EQ(store.GetStorageDirectory(directory, false), S_OK);
        return directory;
    }

    /// Reserves and returns the file name that was given.
    static std::wstring Reserve(CInternalDocumentStore& store, const wchar_t* name,
                                const std::wstring& extension = L"") {
        std::wstring path;
        EXPECT_EQ(store.GetNewDocumentPath(name, nullptr, extension, path), S_OK) << name;
        EXPECT_TRUE(path.starts_with(Directory(store) + L"\\")) << path;
        return path.substr(std::min(path.size(), Directory(store).size() + 1));
    }

    std::vector<std::wstring> Files(const CInternalDocumentStore& store) {
        std::vector<std::wstring> names;
        for (const auto& entry : fs::directory_iterator(Directory(store)))
            names.push_back(entry.path().filename().wstring());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::wstring Documents() const { return folder.Path().wstring(); }
    CImportHook clock{GetModuleHandleW(nullptr), "GetLocalTime", &FixedLocalTime};
};
