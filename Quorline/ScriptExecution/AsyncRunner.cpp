#include "ScriptExecution/AsyncRunner.h"

#include "Common/CriticalSection.h"
#include "base/UniqueHandle.h"
#include "logging/Checks.h"
#include "logging/Logging.h"
#include "logging/TraceScope.h"

#include <objbase.h>

#include <atomic>
#include <mutex>

namespace {
CUniqueHandle MakeAutoResetEvent(const CCodeLocation& location) {
    CUniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    CheckWin32Error(location, event ? ERROR_SUCCESS : GetLastError(), L"CreateEvent");
    return event;
}

/// One more handle to the event: the worker closes the runner's own, perhaps before the waiter comes to wait for it.
CUniqueHandle Duplicate(const CCodeLocation& location, HANDLE event) {
    CUniqueHandle copy;
    const BOOL made =
        DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), copy.Put(), 0, FALSE, DUPLICATE_SAME_ACCESS);
    CheckWin32Error(location, made ? ERROR_SUCCESS : GetLastError(), L"DuplicateHandle");
    return copy;
}

struct CApartment {
    ~CApartment() { CoUninitialize(); }
};
} // namespace

CAsyncRunner::CListeners::~CListeners() {
    for (const IAsyncRunnerListener* listener : list)
        delete listener;
}

CAsyncRunner::CAsyncRunner(bool deleteWhenFinished)
    : m_lock(std::make_shared<CCriticalSection>()),
      m_deleteWhenFinished(std::make_shared<std::atomic<bool>>(deleteWhenFinished)),
      m_listeners(std::make_shared<CListeners>()) {}

CAsyncRunner::CAsyncRunner(const CAsyncRunner& other)
    : m_lock(other.m_lock), m_hThreadStarted(other.m_hThreadStarted), m_hFinished(other.m_hFinished),
      m_deleteWhenFinished(std::make_shared<std::atomic<bool>>(other.GetDeleteWhenFinished())),
      m_listeners(other.m_listeners) {}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): assigned to itself, every member stays as it was.
CAsyncRunner& CAsyncRunner::operator=(const CAsyncRunner& other) {
    m_lock = other.m_lock;
    m_hThreadStarted = other.m_hThreadStarted;
    m_hFinished = other.m_hFinished;
    SetDeleteWhenFinished(other.GetDeleteWhenFinished());
    m_listeners = other.m_listeners;
    return *this;
}

// kept: the events stay open; somebody may still wait for the finished one.
CAsyncRunner::~CAsyncRunner() = default;

void CAsyncRunner::AttachListener(IAsyncRunnerListener* listener) {
    m_listeners->list.push_back(listener);
}

void CAsyncRunner::Start(IAsyncOp* operation) {
    const CTraceScope trace(L"CAsyncRunner::Start");
    LogGlobal(log4cxx::Level::getInfo(), L"Starting script execution");
    if (!operation)
        // kept: log readers know the message with these names, which are none of this class.
        SanityCheckFailed(QUORLINE_HERE, L"Null pOp argument passed to CScriptBackgroundRunner::StartRunScripts");
    auto parameter = std::make_unique<CStartParameter>(CStartParameter{operation, this});
    const std::atomic_ref<HANDLE> threadStarted(m_hThreadStarted);
    if (threadStarted.load())
        SanityCheckFailed(QUORLINE_HERE, L"Thread already started.");

    CUniqueHandle started = MakeAutoResetEvent(QUORLINE_HERE);
    CUniqueHandle finished = MakeAutoResetEvent(QUORLINE_HERE);
    const CUniqueHandle waitHandle = Duplicate(QUORLINE_HERE, started.Get());
    threadStarted.store(started.Get());
    m_hFinished = finished.Get();
    // kept: nobody holds the thread's handle; the two events tell all there is to know of the worker.
    if (!CreateThread(nullptr, 0, &RunThread, parameter.get(), 0, nullptr)) {
        const DWORD error = GetLastError();
        threadStarted.store(nullptr);
        m_hFinished = nullptr;
        CheckWin32Error(QUORLINE_HERE, error, L"CreateThread");
    }
    // The worker's now, as this object may be: nothing below may touch either.
    static_cast<void>(parameter.release());
    static_cast<void>(started.Detach());
    static_cast<void>(finished.Detach());

    switch (WaitForSingleObject(waitHandle.Get(), INFINITE)) {
    case WAIT_ABANDONED:
        LogGlobal(log4cxx::Level::getError(), L"Waiting for CAsyncRunner::m_hThreadStarted returned WAIT_ABANDONED");
        break;
    case WAIT_FAILED:
        LogGlobal(log4cxx::Level::getError(),
                  L"Waiting for CAsyncRunner::m_hThreadStarted returned WAIT_FAILED. Error code = {0:%d}",
                  GetLastError());
        break;
    default:
        break;
    }
}

void CAsyncRunner::WaitForFinish() {
    if (std::atomic_ref<HANDLE>(m_hThreadStarted).load())
        WaitForSingleObject(m_hFinished, INFINITE);
}

DWORD WINAPI CAsyncRunner::RunThread(void* parameter) {
    const CTraceScope trace(L"CAsyncRunner::RunThread");
    if (!parameter)
        SanityCheckFailed(QUORLINE_HERE, L"Null lParam passed to CAsyncRunner::RunThread");
    const std::unique_ptr<CStartParameter> start(static_cast<CStartParameter*>(parameter));

    if (const HRESULT hr = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); FAILED(hr)) {
        // kept: the caller of Start goes on waiting.
        LogHResultFailure(QUORLINE_HERE, hr, L"CoInitializeEx failed.");
        return 0;
    }
    CAsyncRunner* runner = start->runner;
    if (!runner)
        SanityCheckFailed(QUORLINE_HERE, L"pRunner is null");
    if (!SetEvent(runner->m_hThreadStarted))
        CheckWin32Error(QUORLINE_HERE, GetLastError(), L"SetEvent");
    // kept: passed through, though nobody else takes it.
    { const std::lock_guard<CCriticalSection> pass(*runner->m_lock); }

    const auto deleteWhenFinished = runner->m_deleteWhenFinished;
    auto listeners = runner->m_listeners;
    HANDLE finished = runner->m_hFinished;
    runner->RunOperation(start->operation);

    const CApartment apartment; // left behind when the operation throws: the process ends then
    for (IAsyncRunnerListener* listener : listeners->list)
        listener->OnFinished();
    const bool deleteRunner = *deleteWhenFinished;
    listeners.reset();
    SetEvent(finished);
    if (deleteRunner)
        delete runner;
    return 0;
}

void CAsyncRunner::RunOperation(IAsyncOp* operation) {
    try {
        if (!operation)
            SanityCheckFailed({__FILE__, __LINE__, "CAsyncRunner::RunThread"}, L"pOp is null");
        operation->Run();
    } catch (...) {
        HANDLE finished = m_hFinished;
        ForgetWorker();
        SetEvent(finished);
        throw;
    }
    ForgetWorker();
}

void CAsyncRunner::ForgetWorker() {
    CloseHandle(std::atomic_ref<HANDLE>(m_hThreadStarted).exchange(nullptr));
}
