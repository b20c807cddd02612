#include "StoreCatalog.h"

#include "base/PathHelper.h"
#include "base/Text.h"
#include "base/UniqueHandle.h"
#include "Console.h"
#include "ExitCode.h"
#include "InfoFileText.h"
#include "InternalDocumentStore.h"
#include "InternalSavedDocument.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "ScriptExecution/WritableStore.h"
#include "SavedCopyNames.h"
#include "ScratchFolder.h"
#include "SystemText.h"
#include "base/Exceptions.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {
bool IsFile(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

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

std::vector<std::wstring> ListStores() {
    std::vector<std::wstring> names;
    const std::wstring base = StoresDirectory();
    WIN32_FIND_DATAW found{};
    const CUniqueFindHandle search(FindFirstFileW(JoinPath(base, L"*").c_str(), &found));
    if (!search)
        return names;
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L".." && (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
            IsFile(JoinPath(JoinPath(base, name), InfoFile)) && !IsScratch(JoinPath(base, name)))
            names.push_back(name);
    } while (FindNextFileW(search.Get(), &found));
    return names;
}

std::string ReadInfoFile(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file)
        throw CCommandError(ExitCode::Failed, L"the file cannot be read");
    return bytes;
}

CStoreEntry ReadStore(const std::wstring& name) {
    CStoreEntry entry;
    entry.name = name;
    entry.directory = JoinPath(StoresDirectory(), name);
    try {
        entry.info = ParseWithMending(ReadInfoFile(entry.InfoPath()));
        FindSavedCopies(entry.directory, entry.Documents());
    } catch (const std::exception& error) {
        entry.problem = DescribeException(error);
    }
    return entry;
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
