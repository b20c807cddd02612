#pragma once

// The document stores found on disk. One instance per process, used from the thread that handles resumes and restore
// scripts; takes no locks. The first query scans the disk, later ones use that scan until Refresh is called or fails.

#include "base/Export.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "logging/LoggerFwd.h"

#include <windows.h>

#include <list>
#include <map>
#include <memory>
#include <string>

struct ISavedDocument;
struct ISavedDocumentCollection;

class QUORLINE_API CDocumentStoreHistory {
public:
    using InfoList = std::list<std::unique_ptr<CDocumentStoreInfo>>;

    static CDocumentStoreHistory& GetInstance() { return s_instance; }

    CDocumentStoreHistory(const CDocumentStoreHistory&) = delete;
    CDocumentStoreHistory& operator=(const CDocumentStoreHistory&) = delete;

    /// Scans again. An info file that cannot be read is named in the log, and its exception passes on; the stores found
    /// before it stay in the list, but the next query scans again. Every query that scans raises like this.
    void Refresh();

    /// The stores in the order in which the search of the base directory returned them; owned by the history.
    const InfoList& GetSavedDocumentInfos();

    bool HasUnrecoveredDocuments();

    /// The latest state change among the stores (UTC); false with a zero time when there is none.
    bool GetLastDocumentSaveTime(FILETIME* time);

    /// The store whose storage directory holds the document; owned by the history. S_FALSE when there is none.
    HRESULT GetDocumentStoreInfoForDocument(ISavedDocument* doc, CDocumentStoreInfo** found);

    /// Writes a store of this history, with what the caller has changed in its records, to the file that it was read
    /// from; see RewriteInfoFile. Throws CMorvaneException for a store that is not from here.
    void WriteBack(const CDocumentStoreInfo& info);

    /// All documents of all stores as automation objects, with one reference for the caller.
    HRESULT CreateSavedDocumentCollectionCOMObject(ISavedDocumentCollection** ppDocs);

private:
    CDocumentStoreHistory() = default;

    void Init();
    void ClearList() {
        m_infos.clear();
        m_infoPaths.clear();
    }
    void AddStore(const std::wstring& infoPath);

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    static CDocumentStoreHistory s_instance;

    bool m_refreshed = false;
    InfoList m_infos;
    FILETIME m_lastSaveTime{};
    bool m_hasUnrecovered = false;
    std::map<const CDocumentStoreInfo*, std::wstring> m_infoPaths; ///< where each was read from
};
