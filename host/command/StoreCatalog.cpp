#include "StoreCatalog.h"

#include "base/PathHelper.h"
#include "base/Text.h"
#include "Console.h"
#include "ExitCode.h"
#include "InfoFileText.h"
#include "InternalDocumentStore.h"
#include "InternalSavedDocument.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "ScriptExecution/WritableStore.h"
#include "SavedCopyNames.h"
#include "ScratchFolder.h"
#include "SharedWork.h"
#include "SystemText.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {
bool HasTime(const FILETIME& time) {
    return time.dwLowDateTime != 0 || time.dwHighDateTime != 0;
}

std::unique_ptr<CDocumentStoreInfo> Parse(std::string_view bytes) {
    auto info = std::make_unique<CDocumentStoreInfo>();
    CDocumentStoreXMLReader::ReadDocumentStoreFromMemory(bytes, *info);
    return info;
}

/// The info file is written without escapes, so that a document called "R&D" makes it malformed. What was meant is
/// still plain from the layout; reading it so keeps such a store from being lost.
std::unique_ptr<CDocumentStoreInfo> ParseWithMending(const std::string& bytes) {
    try {
        return Parse(bytes);
    } catch (const CXmlParseException&) {
        try {
            return Parse(MendInfoText(bytes));
        } catch (const CMorvaneException&) {
            // The first failure says what is wrong with the file as it is.
        }
        throw;
    }
}

bool IsStore(const std::vector<CListedFile>& files) {
    return std::ranges::any_of(
               files, [](const CListedFile& file) { return !file.isDirectory && SameName(file.name, InfoFile); }) &&
           !IsScratch(files);
}

CStoreEntry ListStore(const std::wstring& base, const std::wstring& name) {
    CStoreEntry store;
    store.name = name;
    store.directory = JoinPath(base, name);
    store.files = ListDirectory(store.directory);
    return store;
}

void ReadRecord(CStoreEntry& store) {
    try {
        store.info = ParseWithMending(ReadInfoFile(store.InfoPath()));
        FindSavedCopies(store.directory, store.files, store.Documents());
    } catch (const std::exception& error) {
        store.problem = DescribeException(error);
    }
}
} // namespace

std::vector<CInternalSavedDocument*> CStoreEntry::Documents() const {
    std::vector<CInternalSavedDocument*> documents;
    if (info)
        for (const auto& document : *info->GetInternalDocumentStore()->GetSavedDocumentList())
            documents.push_back(document.get());
    return documents;
}

bool CStoreEntry::HasStateChange() const {
    return info && HasTime(info->GetStateChangeInstance()->GetUTCTimestamp());
}

std::wstring CStoreEntry::InfoPath() const {
    return JoinPath(directory, InfoFile);
}

std::wstring StoresDirectory() {
    std::wstring base;
    CInternalDocumentStore::GetBaseDirectory(base);
    return base;
}

std::vector<CStoreEntry> ReadStores() {
    const std::wstring base = StoresDirectory();
    std::vector<CListedFile> folders = ListDirectory(base);
    std::erase_if(folders, [](const CListedFile& folder) { return !folder.isDirectory; });
    std::vector<CStoreEntry> stores(folders.size());
    ShareWork(folders.size(), [&](CIndexes& indexes) {
        const CInternalDocumentStore::CBaseDirectoryScope inOneFolder;
        while (const auto index = indexes.Next()) {
            CStoreEntry& store = stores[*index] = ListStore(base, folders[*index].name);
            if (IsStore(store.files))
                ReadRecord(store);
        }
    });
    std::erase_if(stores, [](const CStoreEntry& store) { return !IsStore(store.files); });
    return stores;
}

CStoreEntry ReadStore(const std::wstring& name) {
    CStoreEntry store = ListStore(StoresDirectory(), name);
    ReadRecord(store);
    return store;
}

std::string ReadInfoFile(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file)
        throw CCommandError(ExitCode::Failed, L"the file cannot be read");
    return bytes;
}

void WriteStore(const CStoreEntry& store) {
    try {
        RewriteInfoFile(store.InfoPath(), *store.info);
    } catch (const std::exception& error) {
        throw CCommandError(ExitCode::Failed, L"the info file of the store '" + store.name +
                                                  L"' could not be written: " + DescribeException(error));
    }
}

std::wstring DescribeException(const std::exception& error) {
    std::wstring text;
    if (const auto* parse = dynamic_cast<const CXmlParseException*>(&error))
        text = parse->GetText();
    else if (const auto* command = dynamic_cast<const CCommandError*>(&error))
        text = command->GetText();
    else if (const auto* system = dynamic_cast<const COSException*>(&error))
        text = DescribeCode(system->GetErrorCode());
    else if (dynamic_cast<const CMorvaneException*>(&error) != nullptr)
        text = L"a check of the library failed"; // it says in the log which one
    else
        text = FromUtf8(error.what());
    for (wchar_t& c : text)
        if (c == L'\n' || c == L'\r')
            c = L' ';
    return std::wstring(TrimEnd(text, L" "));
}
