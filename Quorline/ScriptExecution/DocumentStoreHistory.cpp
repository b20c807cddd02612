#include "ScriptExecution/DocumentStoreHistory.h"

#include "com/ComString.h"
#include "base/LocaleText.h"
#include "base/PathHelper.h"
#include "base/Text.h"
#include "base/UniqueHandle.h"
#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "ScriptExecution/StateChangeInstance.h"
#include "ScriptExecution/WritableStore.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"

#include "Quorline.h"

#include <algorithm>
#include <cstdio>

namespace {
/// On one line, whatever the file's author wrote.
std::wstring DescribeRefusal(const std::exception& refusal) {
    std::wstring text = WidenText(refusal.what());
    if (const auto* parse = dynamic_cast<const CXmlParseException*>(&refusal))
        text = parse->GetText();
    else if (const auto* system = dynamic_cast<const COSException*>(&refusal))
        text = GetSystemErrorText(system->GetErrorCode()) + L" (" + std::to_wstring(system->GetErrorCode()) + L")";
    else if (dynamic_cast<const CMorvaneException*>(&refusal))
        text = L"it is no store's info file";
    std::ranges::replace_if(
        text, [](wchar_t c) { return c < L' '; }, L' ');
    return std::wstring(TrimEnd(text, L" "));
}
} // namespace

CDocumentStoreHistory CDocumentStoreHistory::s_instance;

QUORLINE_CLASS_LOG(CDocumentStoreHistory, L"ScriptExecution.DocumentStoreHistory")

void CDocumentStoreHistory::Init() {
    if (!m_refreshed)
        Refresh();
}

void CDocumentStoreHistory::Refresh() {
    m_refreshed = false; // until the scan is complete: half a list answers no question
    ClearList();
    m_lastSaveTime = {};
    m_hasUnrecovered = false;

    // Each store that is read works out a folder of its own, twice.
    const CInternalDocumentStore::CBaseDirectoryScope inOneFolder;
    std::wstring base;
    CInternalDocumentStore::GetBaseDirectory(base);
    const std::wstring pattern = JoinPath(base, L"*");
    WIN32_FIND_DATAW entry{};
    const CUniqueFindHandle search(FindFirstFileW(pattern.c_str(), &entry));
    if (!search) {
        Log(log4cxx::Level::getDebug(), L"Could not find directory '{0:%s}' ({1:%d})", pattern.c_str(), GetLastError());
    } else {
        do {
            if (!SameText(entry.cFileName, L".") && !SameText(entry.cFileName, L"..") &&
                (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                AddStore(JoinPath(JoinPath(base, entry.cFileName), InfoFile));
        } while (FindNextFileW(search.Get(), &entry));
        if (const DWORD error = GetLastError(); error != ERROR_NO_MORE_FILES)
            LogApiCallFailure(QUORLINE_HERE, error, "FindNextFile");
    }
    m_refreshed = true;
}

void CDocumentStoreHistory::AddStore(const std::wstring& infoPath) {
    // Opened once: that costs more than reading what most stores have.
    FILE* file = nullptr;
    if (const errno_t error = _wfopen_s(&file, infoPath.c_str(), L"rb"); error != 0) {
        Log(log4cxx::Level::getDebug(), L"Could not open file '{0:%s}' (code = {1:%d})", infoPath.c_str(), error);
        return;
    }
    CUniqueStream stream(file);

    auto info = std::make_unique<CDocumentStoreInfo>();
    try {
        CDocumentStoreXMLReader::ReadDocumentStoreFromStream(file, *info);
    } catch (const std::exception& refusal) {
        // What was thrown, and what was logged before it, does not say of which store.
        Log(log4cxx::Level::getError(), L"Info file '{0:%s}' was refused: {1:%s}", infoPath.c_str(),
            DescribeRefusal(refusal).c_str());
        throw;
    }
    stream.reset();
    const CDocumentStoreInfo& store = *m_infos.emplace_back(std::move(info));
    m_infoPaths.emplace(&store, infoPath);
    const FILETIME time = store.GetStateChangeInstance()->GetUTCTimestamp();
    if (CompareFileTime(&time, &m_lastSaveTime) > 0)
        m_lastSaveTime = time;
    if (store.GetInternalDocumentStore()->HasUnrecoveredDocuments())
        m_hasUnrecovered = true;
}

void CDocumentStoreHistory::WriteBack(const CDocumentStoreInfo& info) {
    const auto path = m_infoPaths.find(&info);
    if (path == m_infoPaths.end())
        SanityCheckFailed(QUORLINE_HERE, L"The store was not read by this history");
    RewriteInfoFile(path->second, info);
}

const CDocumentStoreHistory::InfoList& CDocumentStoreHistory::GetSavedDocumentInfos() {
    Init();
    return m_infos;
}

bool CDocumentStoreHistory::HasUnrecoveredDocuments() {
    Init();
    return m_hasUnrecovered;
}

bool CDocumentStoreHistory::GetLastDocumentSaveTime(FILETIME* time) {
    Init();
    if (time)
        *time = m_lastSaveTime;
    return m_lastSaveTime.dwLowDateTime != 0 || m_lastSaveTime.dwHighDateTime != 0;
}

HRESULT CDocumentStoreHistory::GetDocumentStoreInfoForDocument(ISavedDocument* doc, CDocumentStoreInfo** found) {
    if (!found)
        return E_POINTER;
    std::wstring tempPath;
    if (const HRESULT hr = ReadStringProperty(doc, &ISavedDocument::get_TempPath, tempPath); FAILED(hr))
        return hr;
    std::wstring wanted;
    if (const DWORD error = GetCanonicalPath(tempPath.substr(0, tempPath.rfind(L'\\')), wanted); error != ERROR_SUCCESS)
        return HResultFromCode(static_cast<long>(error));

    Init();
    for (const auto& info : m_infos) {
        const CInternalDocumentStore* store = info->GetInternalDocumentStore();
        if (!store)
            continue;
        // kept: the directory that the store worked out when it was read, not the one it was found in.
        std::wstring directory;
        if (const HRESULT hr = store->GetStorageDirectory(directory, false); FAILED(hr))
            return hr;
        std::wstring canonical;
        if (const DWORD error = GetCanonicalPath(directory, canonical); error != ERROR_SUCCESS)
            return HResultFromCode(static_cast<long>(error));
        if (SameText(wanted, canonical)) {
            *found = info.get();
            return S_OK;
        }
    }
    return S_FALSE;
}
