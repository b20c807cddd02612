#pragma once

// One document store: the directory into which the save scripts of one state change place documents, the records that
// describe them, and the info file beside them. Belongs to the thread of its state change; takes no locks. The
// directory is made when it is first needed, not before.
//
//     CInternalDocumentStore store;
//     store.SetCurrentAppInfo(L"notepad.exe", L"Notepad", L"C:\\Windows\\notepad.exe");
//     std::wstring path;
//     HRESULT hr = store.GetNewDocumentPath(L"Report.doc", nullptr, L"", path);

#include "base/Export.h"
#include "Common/RpcHelper.h"
#include "GivenNames.h"
#include "InternalSavedDocument.h"
#include "logging/LoggerFwd.h"

#include "HostInterfaces.h"

#include <wrl/client.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

class CInfoFileBytes;
struct IDocumentStore;
struct ISavedDocumentCollection;

class QUORLINE_API CInternalDocumentStore {
public:
    using DocumentList = std::vector<std::unique_ptr<CInternalSavedDocument>>;

    /// A store with a fresh identifier; throws COSException when none can be made.
    CInternalDocumentStore();
    explicit CInternalDocumentStore(const GUID& guid);
    explicit CInternalDocumentStore(const CGuid& guid);
    /// Copies every member; the copy has records of its own.
    CInternalDocumentStore(const CInternalDocumentStore& other);
    CInternalDocumentStore& operator=(const CInternalDocumentStore&) = delete;
    ~CInternalDocumentStore();

    /// Works out the storage directory from the local time, once.
    void Init();

    /// The folder of all stores: "Talvinor Saved Documents" in the documents folder of the thread's user.
    static void GetBaseDirectory(std::wstring& base);

    /// While one of these lives, the calling thread takes the folder of all stores to be where it was the first time
    /// that it was asked for: for whoever reads many stores at once, since asking costs more than reading one.
    class QUORLINE_API CBaseDirectoryScope {
    public:
        CBaseDirectoryScope() noexcept;
        ~CBaseDirectoryScope();
        CBaseDirectoryScope(const CBaseDirectoryScope&) = delete;
        CBaseDirectoryScope& operator=(const CBaseDirectoryScope&) = delete;

    private:
        friend class CInternalDocumentStore;
        CBaseDirectoryScope* m_outer;
        std::wstring m_directory;
    };

    /// Throws CMorvaneException when not initialised. With create, returns the result of making the directory.
    HRESULT GetStorageDirectory(std::wstring& directory, bool create) const;

    /// E_FAIL without an identifier.
    HRESULT GetGuid(CGuid& guid) const;
    /// Replacing an identifier also works out a new storage directory from the current time.
    HRESULT SetGuid(const CGuid& guid);

    /// The path of "info" with this extension (with or without its dot) in the storage directory; E_FAIL when not
    /// initialised.
    HRESULT GetInfoFilePath(std::wstring& path, const std::wstring& extension);

    /// Rewrites info.xml whole, without a state change section. Exceptions other than COSException pass on.
    HRESULT WriteInfoFile();

    HRESULT SetStateChangeInstance(IStateChangeInstance* instance);
    /// Hands out null when there is none; the caller releases. A null out-pointer is ignored.
    HRESULT GetStateChangeInstance(IStateChangeInstance** instance);

    /// Names the application that the next records belong to.
    HRESULT SetCurrentAppInfo(const std::wstring& exeImageName, const std::wstring& friendlyName,
                              const std::wstring& appPath);

    /// Reserves a file name for a document about to be saved, appends its record and rewrites the info file. Names
    /// may be null. E_FAIL when no name is free or the document may not have its name; when only the info file fails,
    /// path and record stay.
    HRESULT GetNewDocumentPath(const wchar_t* docName, const wchar_t* originalPath, const std::wstring& extension,
                               std::wstring& path);

    /// Why the last reservation found no name, as a sentence for the script's author; empty after any other outcome.
    const std::wstring& GetNameRefusal() const { return m_nameRefusal; }

    /// Records in the order of their reservation; owned by the store.
    DocumentList* GetSavedDocumentList() const { return m_savedDocuments.get(); }

    /// The record whose saved file is the object's; owned by the store. S_FALSE when there is none.
    HRESULT FindDocument(ISavedDocument* doc, CInternalSavedDocument** found);

    bool HasUnrecoveredDocuments();

    /// An object for scripts to see, with one reference for the caller. Scripts may keep it for longer than the store
    /// lives: it then answers E_POINTER.
    HRESULT CreateDocumentStoreCOMObject(IDocumentStore** ppStore);
    /// A new collection of all records' objects, with one reference for the caller; null on failure.
    HRESULT CreateSavedDocumentCollectionCOMObject(ISavedDocumentCollection** ppDocs);
    /// Appends all records' objects; stops at the first failure.
    HRESULT AddDocumentsToCOMCollection(ISavedDocumentCollection* pDocs);

    /// Expires with the store: what refers to the store without owning it asks here before each use.
    std::weak_ptr<const void> GetLifetime() const { return m_lifetime; }

private:
    friend struct CInternalDocumentStorePeer; // the tests' way to states that no caller can reach

    struct LessNoCase {
        bool operator()(const std::wstring& left, const std::wstring& right) const;
    };

    /// What this store has given away. A reserved name leaves no file behind that the next probe could find.
    struct CNamesInUse {
        std::set<std::wstring, LessNoCase> reserved; ///< full paths
        CGivenNames given;                           ///< the same by name and counter, so that many are passed at once
    };

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    HRESULT CreateStorageDirectory() const;
    std::wstring GetGuidString() const;
    static bool EnsureFilenameUnique(std::wstring& name, const std::wstring& extension, const std::wstring& directory,
                                     CNamesInUse& inUse, DWORD& error);

    std::wstring m_storageDirectory;
    bool m_inited = false;
    std::unique_ptr<CGuid> m_guid;
    std::wstring m_currentAppExeImageName;
    std::wstring m_currentAppFriendlyName;
    std::wstring m_currentAppPath;
    std::unique_ptr<DocumentList> m_savedDocuments;
    Microsoft::WRL::ComPtr<IStateChangeInstance> m_stateChangeInstance;
    CNamesInUse m_namesInUse;
    std::wstring m_nameRefusal;
    std::unique_ptr<CInfoFileBytes> m_infoFileBytes;                   ///< of the last file; null before it
    std::shared_ptr<const void> m_lifetime = std::make_shared<char>(); ///< each store's own, never copied
};
