#pragma once

// The record of one document that a save script placed into a store. A value, used on its owner's thread.

#include "base/Export.h"
#include "ScriptExecution/DocumentScript.h"

#include <windows.h>

#include <cstdint>
#include <string>

struct ISavedDocument;

/// Only TEMP_DOCUMENT_RECOVERED counts as recovered; any other value does not.
enum TEMP_DOCUMENT_STATUS : unsigned int { TEMP_DOCUMENT_NOT_RECOVERED = 0, TEMP_DOCUMENT_RECOVERED = 1 };

class QUORLINE_API CInternalSavedDocument {
public:
    CInternalSavedDocument() = default;

    // kept: copies leave the application's image name out; the target keeps its own (empty in a new record).
    CInternalSavedDocument(const CInternalSavedDocument& other);
    CInternalSavedDocument& operator=(const CInternalSavedDocument& other);

    void SetDocName(const std::wstring& name) { Change(m_docName, name); }
    void GetDocName(std::wstring& name) const { name = m_docName; }

    void SetDocOriginalPath(const std::wstring& path) { Change(m_docOriginalPath, path); }
    void GetDocOriginalPath(std::wstring& path) const { path = m_docOriginalPath; }

    /// The saved copy inside the store directory.
    void SetDocTempPath(const std::wstring& path) { Change(m_docTempPath, path); }
    void GetDocTempPath(std::wstring& path) const { path = m_docTempPath; }

    void SetAppExeImageName(const std::wstring& name) { Change(m_appExeImageName, name); }
    void GetAppExeImageName(std::wstring& name) const { name = m_appExeImageName; }

    void SetAppPath(const std::wstring& path) { Change(m_appPath, path); }
    void GetAppPath(std::wstring& path) const { path = m_appPath; }

    // These three live in the held script.
    void SetAppFriendlyName(const std::wstring& name);
    void GetAppFriendlyName(std::wstring& name) const;
    void SetSaveScriptName(const std::wstring& name);
    void GetSaveScriptName(std::wstring& name) const;
    void SetRestoreScriptName(const std::wstring& name);
    void GetRestoreScriptName(std::wstring& name) const;

    void SetStatus(TEMP_DOCUMENT_STATUS status) { Change(m_status, status); }
    TEMP_DOCUMENT_STATUS GetStatus() const { return m_status; }

    /// Replaces the friendly name and both script names too.
    void SetScript(const CDocumentScript& script) { Change(m_script, script); }
    /// Whoever has it may change the script at any time: the record has no revision from now on.
    CDocumentScript& GetScript() {
        m_lentScript = true;
        return m_script;
    }
    const CDocumentScript& GetScript() const { return m_script; }

    /// Another number after each change, which no other record ever has; 0 when nobody can tell what has changed.
    std::uint64_t GetRevision() const noexcept { return m_lentScript ? 0 : m_revision; }

    /// The image name takes no part, as in copies.
    bool operator==(const CInternalSavedDocument& other) const { return !(*this != other); }
    bool operator!=(const CInternalSavedDocument& other) const;

    /// Takes the names from an automation object; paths and status stay. Throws CMorvaneException on null and
    /// COSException with the HRESULT of a property that failed, keeping what was read before it.
    void InitFrom(ISavedDocument* pDoc);

    /// A new automation object that holds a copy of this record, with one reference for the caller. E_POINTER on null.
    HRESULT CreateSavedDocumentCOMObject(ISavedDocument** ppDoc) const;

private:
    void InitFrom(const CInternalSavedDocument& other);

    static std::uint64_t NewRevision() noexcept;
    template <class T> void Change(T& member, const T& value) {
        m_revision = NewRevision(); // first: what fails may have changed something
        member = value;
    }

    std::wstring m_appExeImageName;
    std::wstring m_appPath;
    std::wstring m_docOriginalPath;
    std::wstring m_docTempPath;
    std::wstring m_docName;
    TEMP_DOCUMENT_STATUS m_status = TEMP_DOCUMENT_NOT_RECOVERED;
    CDocumentScript m_script;
    std::uint64_t m_revision = NewRevision();
    bool m_lentScript = false;
};
