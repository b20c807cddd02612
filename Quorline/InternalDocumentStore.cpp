#include "InternalDocumentStore.h"

#include "com/ComString.h"
#include "base/PathHelper.h"
#include "base/EffectiveToken.h"
#include "base/Text.h"
#include "IntlHelper/CultureHelper.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLWriter.h"
#include "ScriptExecution/InfoFileBytes.h"
#include "StoreFileName.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"
#include "logging/TraceScope.h"

#include "Quorline.h"

#include <shlobj.h>

#include <utility>

namespace {
template <class... Args> std::wstring FormatText(const wchar_t* format, Args... args) {
    std::wstring text;
    CCultureHelper::GetInstance().Format(text, format, args...);
    return text;
}

/// The innermost of the thread's.
thread_local CInternalDocumentStore::CBaseDirectoryScope* t_baseScope = nullptr;
} // namespace

CInternalDocumentStore::CBaseDirectoryScope::CBaseDirectoryScope() noexcept
    : m_outer(std::exchange(t_baseScope, this)) {}

CInternalDocumentStore::CBaseDirectoryScope::~CBaseDirectoryScope() {
    t_baseScope = m_outer;
}

CInternalDocumentStore::CInternalDocumentStore() : CInternalDocumentStore(CGuid()) {}

CInternalDocumentStore::CInternalDocumentStore(const GUID& guid) : CInternalDocumentStore(CGuid(guid)) {}

CInternalDocumentStore::CInternalDocumentStore(const CGuid& guid)
    : m_guid(std::make_unique<CGuid>(guid.GetGuid())), m_savedDocuments(std::make_unique<DocumentList>()) {
    Init();
}

CInternalDocumentStore::CInternalDocumentStore(const CInternalDocumentStore& other)
    : m_storageDirectory(other.m_storageDirectory), m_inited(other.m_inited),
      m_guid(other.m_guid ? std::make_unique<CGuid>(*other.m_guid) : nullptr),
      m_currentAppExeImageName(other.m_currentAppExeImageName),
      m_currentAppFriendlyName(other.m_currentAppFriendlyName), m_currentAppPath(other.m_currentAppPath),
      m_savedDocuments(std::make_unique<DocumentList>()), m_stateChangeInstance(other.m_stateChangeInstance),
      m_namesInUse(other.m_namesInUse) {
    for (const auto& record : *other.m_savedDocuments) {
        // A copied record leaves its image name out, a copied store's info file must not.
        auto& copy = m_savedDocuments->emplace_back(std::make_unique<CInternalSavedDocument>(*record));
        std::wstring imageName;
        record->GetAppExeImageName(imageName);
        copy->SetAppExeImageName(imageName);
    }
}

CInternalDocumentStore::~CInternalDocumentStore() = default;

bool CInternalDocumentStore::LessNoCase::operator()(const std::wstring& left, const std::wstring& right) const {
    return CompareNames(left, right) < 0;
}

QUORLINE_CLASS_LOG(CInternalDocumentStore, L"Quorline.InternalDocumentStore")

void CInternalDocumentStore::Init() {
    if (m_inited)
        return;
    SYSTEMTIME now{};
    GetLocalTime(&now);
    const std::wstring name = FormatText(L"{0:%04d}-{1:%02d}-{2:%02d}_{3:%02d}.{4:%02d}.{5:%02d}", now.wYear,
                                         now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
    std::wstring base;
    GetBaseDirectory(base);
    m_storageDirectory = JoinPath(base, name);
    m_inited = true;
}

void CInternalDocumentStore::GetBaseDirectory(std::wstring& base) {
    if (t_baseScope && !t_baseScope->m_directory.empty()) {
        base = t_baseScope->m_directory;
        return;
    }
    // kept: the token is opened and reported on but not passed on; the folder is that of the thread's identity. What
    // the process refuses carries the name of the thread's call.
    DWORD error = ERROR_SUCCESS;
    const CUniqueHandle token = OpenEffectiveToken(TOKEN_QUERY, &error);
    LogApiCallFailure(QUORLINE_HERE, error, "OpenThreadToken");

    wchar_t documents[MAX_PATH] = L"";
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_PERSONAL | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, documents)))
        LogApiCallFailure(QUORLINE_HERE, GetLastError(), "SHGetFolderPath");
    base = JoinPath(documents, L"Talvinor Saved Documents");
    if (t_baseScope)
        t_baseScope->m_directory = base;
}

HRESULT CInternalDocumentStore::GetStorageDirectory(std::wstring& directory, bool create) const {
    if (!m_inited)
        SanityCheckFailed(QUORLINE_HERE, L"CInternalDocumentStore object is not inited");
    const HRESULT hr = create ? CreateStorageDirectory() : S_OK;
    directory = m_storageDirectory;
    return hr;
}

HRESULT CInternalDocumentStore::CreateStorageDirectory() const {
    const int error = SHCreateDirectoryExW(nullptr, m_storageDirectory.c_str(), nullptr);
    if (error == ERROR_SUCCESS || error == ERROR_ALREADY_EXISTS)
        return S_OK;
    SetLastError(static_cast<DWORD>(error));
    LogApiCallFailure(QUORLINE_HERE, static_cast<DWORD>(error), "SHCreateDirectory");
    return HResultFromCode(error);
}

HRESULT CInternalDocumentStore::GetGuid(CGuid& guid) const {
    if (!m_guid)
        return E_FAIL;
    guid.SetGuid(m_guid->GetGuid());
    return S_OK;
}

HRESULT CInternalDocumentStore::SetGuid(const CGuid& guid) {
    if (m_guid)
        m_inited = false;
    m_guid = std::make_unique<CGuid>(guid.GetGuid());
    Init();
    return S_OK;
}

std::wstring CInternalDocumentStore::GetGuidString() const {
    if (!m_guid)
        CheckHResult(QUORLINE_HERE, E_FAIL, L"Failed to convert guid to string");
    return m_guid->ToString();
}

HRESULT CInternalDocumentStore::GetInfoFilePath(std::wstring& path, const std::wstring& extension) {
    if (!m_inited)
        return E_FAIL;
    path = JoinPath(m_storageDirectory, InfoFileStem + (extension.starts_with(L'.') ? extension : L'.' + extension));
    return S_OK;
}

HRESULT CInternalDocumentStore::WriteInfoFile() {
    CTraceScope trace(L"CInternalDocumentStore::WriteInfoFile");
    if (const HRESULT hr = CreateStorageDirectory(); FAILED(hr))
        return hr;
    std::wstring path;
    if (const HRESULT hr = GetInfoFilePath(path, InfoFileExtension); FAILED(hr))
        return hr;
    if (!m_infoFileBytes)
        m_infoFileBytes = std::make_unique<CInfoFileBytes>();
    try {
        CDocumentStoreXMLWriter writer(path);
        // kept: no state change here; the host writes the complete file.
        CDocumentStoreInfo info(nullptr, this);
        writer.WriteDocumentStore(info, *m_infoFileBytes);
    } catch (const COSException& failure) {
        return failure.GetHResult();
    }
    return S_OK;
}

HRESULT CInternalDocumentStore::SetStateChangeInstance(IStateChangeInstance* instance) {
    m_stateChangeInstance = instance;
    return S_OK;
}

HRESULT CInternalDocumentStore::GetStateChangeInstance(IStateChangeInstance** instance) {
    if (instance)
        m_stateChangeInstance.CopyTo(instance);
    return S_OK;
}

HRESULT CInternalDocumentStore::SetCurrentAppInfo(const std::wstring& exeImageName, const std::wstring& friendlyName,
                                                  const std::wstring& appPath) {
    m_currentAppExeImageName = exeImageName;
    m_currentAppFriendlyName = friendlyName;
    m_currentAppPath = appPath;
    return S_OK;
}

bool CInternalDocumentStore::EnsureFilenameUnique(std::wstring& name, const std::wstring& extension,
                                                  const std::wstring& directory, CNamesInUse& inUse, DWORD& error) {
    const auto probe = [&](const std::wstring& candidate) {
        const std::wstring fullPath = FullPath(candidate);
        return inUse.reserved.contains(fullPath) ? NameProbe::Taken : ProbeName(directory, candidate, fullPath, error);
    };
    // A control character stands in no name.
    const std::wstring key = directory + L'\n' + name + L'\n' + extension;
    int refusals = 0;
    unsigned n = 0;
    do {
        if (const unsigned given = n; (n = inUse.given.FirstFree(key, n)) != given) {
            refusals = 0;
            continue;
        }
        // kept: a forward slash before the name.
        const NameProbe result = probe(
            n == 0 ? FormatText(L"{0:%s}/{1:%s}{2:%s}", directory.c_str(), name.c_str(), extension.c_str())
                   : FormatText(L"{0:%s}/{1:%s}({2:%u}){3:%s}", directory.c_str(), name.c_str(), n, extension.c_str()));
        if (result == NameProbe::Free) {
            if (n != 0)
                name = FormatText(L"{0:%s}({1:%d})", name.c_str(), n);
            inUse.given.Add(key, n);
            return true;
        }
        // A counter helps a name that is taken, and the first one may make a file name of a device's. Where a second
        // one in a row changes nothing, the answer is the same as after all of them.
        refusals = result == NameProbe::Refused ? refusals + 1 : 0;
        if (refusals == 2 || result == NameProbe::Hopeless)
            return false;
        ++n;
    } while (n != 0);
    return false;
}

HRESULT CInternalDocumentStore::GetNewDocumentPath(const wchar_t* docName, const wchar_t* originalPath,
                                                   const std::wstring& extension, std::wstring& path) {
    CTraceScope trace(L"CInternalDocumentStore::GetNewDocumentPath");
    m_nameRefusal.clear();
    if (const HRESULT hr = CreateStorageDirectory(); FAILED(hr))
        return hr;

    std::wstring tail = extension.empty() || extension.starts_with(L'.') ? extension : L'.' + extension;
    std::wstring name = docName && *docName ? docName : L"Untitled";
    if (const auto dot = name.rfind(L'.'); dot != std::wstring::npos) {
        if (tail.empty())
            tail = name.substr(dot);
        if (name.compare(dot, std::wstring::npos, tail) == 0)
            name.erase(dot);
    }

    m_nameRefusal = DescribeForbiddenName(name + tail);
    if (!m_nameRefusal.empty())
        return E_FAIL;

    // The first reservation comes before the info file exists, and every one between two writes of it.
    if (std::wstring infoPath; SUCCEEDED(GetInfoFilePath(infoPath, InfoFileExtension))) {
        m_namesInUse.reserved.insert(FullPath(infoPath));
        m_namesInUse.reserved.insert(FullPath(CDocumentStoreXMLWriter::GetSiblingPath(infoPath)));
    }
    DWORD error = ERROR_SUCCESS;
    if (!EnsureFilenameUnique(name, tail, m_storageDirectory, m_namesInUse, error)) {
        m_nameRefusal = DescribeRefusedName(name + tail, error);
        return E_FAIL;
    }
    path = JoinPath(m_storageDirectory, name + tail);
    m_namesInUse.reserved.insert(FullPath(path));

    auto record = std::make_unique<CInternalSavedDocument>();
    if (docName)
        record->SetDocName(docName);
    if (originalPath)
        record->SetDocOriginalPath(originalPath);
    record->SetAppExeImageName(m_currentAppExeImageName);
    record->SetAppPath(m_currentAppPath);
    record->SetAppFriendlyName(m_currentAppFriendlyName);
    record->SetDocTempPath(path);
    m_savedDocuments->push_back(std::move(record));
    Log(log4cxx::Level::getInfo(), L"[{1:%s}] Reserved temp document '{0:%s}'", path.c_str(), GetGuidString().c_str());

    const HRESULT hr = WriteInfoFile();
    if (FAILED(hr))
        Log(log4cxx::Level::getError(), L"Could not write document store information. Error = (0x{0:%x}) {1:%s}", hr,
            GetSystemErrorText(static_cast<DWORD>(hr)).c_str());
    return hr;
}

HRESULT CInternalDocumentStore::FindDocument(ISavedDocument* doc, CInternalSavedDocument** found) {
    if (!doc || !found)
        return E_POINTER;
    std::wstring tempPath;
    if (const HRESULT hr = ReadStringProperty(doc, &ISavedDocument::get_TempPath, tempPath); FAILED(hr))
        return hr;
    std::wstring wanted;
    if (const DWORD error = GetCanonicalPath(tempPath, wanted); error != ERROR_SUCCESS)
        return HRESULT_FROM_WIN32(error);
    for (const auto& record : *m_savedDocuments) {
        std::wstring canonical;
        record->GetDocTempPath(tempPath);
        if (const DWORD error = GetCanonicalPath(tempPath, canonical); error != ERROR_SUCCESS) {
            Log(log4cxx::Level::getWarn(), L"Cannot find path '{0:%s}'; error is {1:%d}", tempPath.c_str(), error);
            continue;
        }
        if (SameText(wanted, canonical)) {
            *found = record.get();
            return S_OK;
        }
    }
    return S_FALSE;
}

bool CInternalDocumentStore::HasUnrecoveredDocuments() {
    for (const auto& record : *m_savedDocuments)
        if (record->GetStatus() != TEMP_DOCUMENT_RECOVERED)
            return true;
    return false;
}
