#include "InternalSavedDocument.h"

#include "com/ComString.h"
#include "logging/Checks.h"

#include "Quorline.h"

#include <atomic>

std::uint64_t CInternalSavedDocument::NewRevision() noexcept {
    static std::atomic<std::uint64_t> last = 0;
    return ++last;
}

CInternalSavedDocument::CInternalSavedDocument(const CInternalSavedDocument& other) {
    InitFrom(other);
}

CInternalSavedDocument& CInternalSavedDocument::operator=(const CInternalSavedDocument& other) {
    InitFrom(other);
    return *this;
}

// kept: without the app exe image name; who needs it reads the store's own record.
void CInternalSavedDocument::InitFrom(const CInternalSavedDocument& other) {
    m_revision = NewRevision();
    m_script = other.m_script;
    m_appPath = other.m_appPath;
    m_docOriginalPath = other.m_docOriginalPath;
    m_docTempPath = other.m_docTempPath;
    m_docName = other.m_docName;
    m_status = other.m_status;
}

void CInternalSavedDocument::SetAppFriendlyName(const std::wstring& name) {
    m_revision = NewRevision();
    m_script.SetAppFriendlyName(name);
}
void CInternalSavedDocument::GetAppFriendlyName(std::wstring& name) const {
    name = m_script.GetAppFriendlyName();
}

void CInternalSavedDocument::SetSaveScriptName(const std::wstring& name) {
    m_revision = NewRevision();
    m_script.SetScriptName(std::wstring(name));
}
void CInternalSavedDocument::GetSaveScriptName(std::wstring& name) const {
    name = m_script.GetScriptName();
}

void CInternalSavedDocument::SetRestoreScriptName(const std::wstring& name) {
    m_revision = NewRevision();
    m_script.GetRestoreScript().SetScriptName(std::wstring(name));
}

void CInternalSavedDocument::GetRestoreScriptName(std::wstring& name) const {
    name = m_script.GetRestoreScript().GetScriptName();
}

bool CInternalSavedDocument::operator!=(const CInternalSavedDocument& other) const {
    return m_script != other.m_script || m_appPath != other.m_appPath || m_docOriginalPath != other.m_docOriginalPath ||
           m_docTempPath != other.m_docTempPath || m_docName != other.m_docName || m_status != other.m_status;
}

void CInternalSavedDocument::InitFrom(ISavedDocument* pDoc) {
    if (!pDoc)
        SanityCheckFailed(QUORLINE_HERE, L"Null pDoc argument to CInternalSavedDocument::InitFrom");

    const auto read = [pDoc](auto getter, const wchar_t* failure) {
        std::wstring value;
        RequireSuccess({__FILE__, __LINE__, "CInternalSavedDocument::InitFrom"},
                       ReadStringProperty(pDoc, getter, value), failure);
        return value;
    };
    SetAppExeImageName(read(&ISavedDocument::get_AppExeName, L"ISavedDocument::get_AppExeName failed"));
    SetAppFriendlyName(read(&ISavedDocument::get_AppFriendlyName, L"ISavedDocument::get_AppFriendlyName failed"));
    SetSaveScriptName(read(&ISavedDocument::get_SaveScriptName, L"ISavedDocument::get_SaveScriptName failed"));
    SetRestoreScriptName(read(&ISavedDocument::get_RestoreScriptName, L"ISavedDocument::get_RestoreScriptName failed"));
    SetDocName(read(&ISavedDocument::get_Name, L"ISavedDocument::get_Name failed"));
}
