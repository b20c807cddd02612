#pragma once

// What a host is told while a state change operation runs, so that it can complete the store's record as it grows:
//
//     class CRecorder : public ISaveObserver {
//         void OnScriptStarting(const CDocumentScript& app, unsigned long processId,
//                               CInternalDocumentStore& store) noexcept override {
//             store.SetCurrentAppInfo(L"notepad.exe", app.GetAppFriendlyName(), L"C:\\Windows\\notepad.exe");
//         }
//         ...
//     };
//     op.SetObserver(&recorder);
//
// The operation calls it on the thread that runs the scripts, which is also the only one that may touch the store. The
// references are good during the call alone.

class CDocumentScript;
class CInternalDocumentStore;

class ISaveObserver {
public:
    /// The application's save script is about to run for a process. What SetCurrentAppInfo is given here stands in each
    /// record that the script asks for, from the first time that the record reaches the disk.
    virtual void OnScriptStarting(const CDocumentScript& app, unsigned long processId,
                                  CInternalDocumentStore& store) noexcept = 0;

    /// Follows each start. S_OK; E_FAIL for a script that failed or was refused (the operation's GetErrorInfo then says
    /// why, once it has returned); or the HRESULT of the exception that keeps the remaining scripts from running.
    virtual void OnScriptEnded(const CDocumentScript& app, unsigned long processId, CInternalDocumentStore& store,
                               long result) noexcept = 0;

    /// No further script will run; the store goes after this. Told whatever ended the operation, and also of a store
    /// that no script asked for a document.
    virtual void OnStoreFinished(CInternalDocumentStore& store) noexcept = 0;

protected:
    ~ISaveObserver() = default;
};
