#pragma once

// Runs one operation on a worker thread, in a single-threaded COM apartment:
//
//     auto* runner = new CAsyncRunner(true);       // deletes itself on the worker
//     runner->AttachListener(new CMyListener);     // the runner owns it
//     runner->Start(&operation);                   // the caller owns it
//
// Start once at a time. Without delete-when-finished the owner waits with WaitForFinish and may delete the runner once
// it has returned because the worker signalled; with it, only listeners learn of the end, never both ways. Throws
// CMorvaneException for wrong use and COSException for a failed system call.

#include "base/Export.h"
#include "ScriptExecution/AsyncOp.h"
#include "ScriptExecution/AsyncRunnerListener.h"

#include <windows.h>

#include <atomic>
#include <list>
#include <memory>

class CCriticalSection;

class QUORLINE_API CAsyncRunner {
public:
    explicit CAsyncRunner(bool deleteWhenFinished = false);
    // kept: a copy shares the lock, the events and the listeners. Whether it deletes itself is its own affair.
    CAsyncRunner(const CAsyncRunner& other);
    CAsyncRunner& operator=(const CAsyncRunner& other);
    /// Deletes the listeners in the order in which they were attached. Does not wait for a worker.
    ~CAsyncRunner();

    void SetDeleteWhenFinished(bool deleteWhenFinished) { *m_deleteWhenFinished = deleteWhenFinished; }
    bool GetDeleteWhenFinished() const { return *m_deleteWhenFinished; }

    /// Takes the listener over. Call before Start.
    void AttachListener(IAsyncRunnerListener* listener);

    /// Returns when the worker has entered its apartment; the operation may be running by then, or be done. Does not
    /// return when the worker cannot enter it. With delete-when-finished the runner may be gone afterwards.
    void Start(IAsyncOp* operation);

    /// Waits without limit for the listeners to have been told; returns at once when no worker runs the operation.
    /// One thread at a time.
    void WaitForFinish();

private:
    friend struct CAsyncRunnerPeer; // the tests' way to a worker that is started wrong

    struct CListeners {
        CListeners() = default;
        ~CListeners();
        CListeners(const CListeners&) = delete;
        CListeners& operator=(const CListeners&) = delete;

        std::list<IAsyncRunnerListener*> list; // owned
    };
    struct CStartParameter {
        IAsyncOp* operation;
        CAsyncRunner* runner;
    };

    static DWORD WINAPI RunThread(void* parameter);
    void RunOperation(IAsyncOp* operation);
    void ForgetWorker();

    std::shared_ptr<CCriticalSection> m_lock;
    HANDLE m_hThreadStarted = nullptr; // not null while a worker runs
    HANDLE m_hFinished = nullptr;
    // The worker still needs these when it has let go of the operation. From then on WaitForFinish returns at once, and
    // the owner may delete the runner.
    std::shared_ptr<std::atomic<bool>> m_deleteWhenFinished;
    std::shared_ptr<CListeners> m_listeners;
};
