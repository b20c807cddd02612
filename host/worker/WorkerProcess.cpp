#include "WorkerProcess.h"

#include "ExceptionText.h"
#include "ExitCode.h"
#include "SystemText.h"
#include "TimeText.h"

#include <algorithm>
#include <array>
#include <vector>

using namespace std::chrono_literals;

namespace {
constexpr auto TickInterval = 1s;
/// What a worker that has told its result may take to end.
constexpr DWORD FarewellMilliseconds = 5000;

[[noreturn]] void ThrowStartFailure(DWORD error) {
    throw CCommandError(ExitCode::Failed, L"no worker process could be started: " + DescribeCode(error));
}

CUniqueHandle MakeInheritable(HANDLE handle) {
    CUniqueHandle copy;
    DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), copy.Put(), 0, TRUE, DUPLICATE_SAME_ACCESS);
    return copy;
}

/// Whom the worker is started with: these handles alone, whatever else of this process's can be inherited.
class CInheritedHandles {
public:
    explicit CInheritedHandles(std::vector<HANDLE> handles) : m_handles(std::move(handles)) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        m_memory.resize(size);
        m_list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_memory.data());
        if (!InitializeProcThreadAttributeList(m_list, 1, 0, &size))
            ThrowStartFailure(GetLastError());
        if (!UpdateProcThreadAttribute(m_list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, m_handles.data(),
                                       m_handles.size() * sizeof(HANDLE), nullptr, nullptr)) {
            const DWORD error = GetLastError();
            DeleteProcThreadAttributeList(m_list);
            ThrowStartFailure(error);
        }
    }
    ~CInheritedHandles() { DeleteProcThreadAttributeList(m_list); }
    CInheritedHandles(const CInheritedHandles&) = delete;
    CInheritedHandles& operator=(const CInheritedHandles&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST Get() const { return m_list; }

private:
    std::vector<HANDLE> m_handles;
    std::vector<BYTE> m_memory;
    LPPROC_THREAD_ATTRIBUTE_LIST m_list = nullptr;
};

/// Ends what is in it with its last handle. What a script starts is not in it: an application that was reopened stays.
CUniqueHandle MakeJob() {
    CUniqueHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
    if (job)
        SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

void WriteRequest(HANDLE pipe, const nlohmann::json& request) {
    const std::string line = request.dump() + "\n";
    DWORD written = 0;
    // A worker that is gone already is found out by whoever waits for it.
    WriteFile(pipe, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}
} // namespace

std::wstring CWorkerEnd::Describe() const {
    switch (kind) {
    case Kind::Finished:
        return {};
    case Kind::StepLimit:
        return L"it was ended after " + DescribeSeconds(stepTime) + L", more than one script may take";
    case Kind::AllLimit:
        return L"it was ended after " + DescribeSeconds(stepTime) + L", when the time for all was over (" +
               DescribeSeconds(limits.all) + L")";
    case Kind::Stopped:
        return L"it was stopped after " + DescribeSeconds(stepTime);
    case Kind::Died:
        break;
    }
    return DescribeProcessEnd(exitCode) + L" ended it after " + DescribeSeconds(stepTime);
}

CWorkerProcess::CWorkerProcess(const nlohmann::json& request, const std::wstring& program) : m_job(MakeJob()) {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    CUniqueHandle requestEnd;
    if (!CreatePipe(requestEnd.Put(), m_requestPipe.Put(), &inherited, 0))
        ThrowStartFailure(GetLastError());
    SetHandleInformation(m_requestPipe.Get(), HANDLE_FLAG_INHERIT, 0);
    const CUniqueHandle events = m_events.TakeOtherEnd();
    // Nothing that a worker prints is for the user, but for the complaints of what stands below it.
    const CUniqueHandle nothing(
        CreateFileW(L"NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, OPEN_EXISTING, 0, nullptr));
    const CUniqueHandle complaints = MakeInheritable(GetStdHandle(STD_ERROR_HANDLE));
    std::vector<HANDLE> handles{requestEnd.Get(), events.Get(), nothing.Get()};
    if (complaints)
        handles.push_back(complaints.Get());
    const CInheritedHandles list(handles);

    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = requestEnd.Get();
    startup.StartupInfo.hStdOutput = nothing.Get();
    startup.StartupInfo.hStdError = complaints ? complaints.Get() : nothing.Get();
    startup.lpAttributeList = list.Get();
    PROCESS_INFORMATION started{};
    const std::wstring commandLine =
        L"\"" + program + L"\" worker " + std::to_wstring(reinterpret_cast<std::uintptr_t>(events.Get()));
    if (!StartPatiently(program, commandLine, true, EXTENDED_STARTUPINFO_PRESENT, startup.StartupInfo, started))
        ThrowStartFailure(GetLastError());
    m_process.Reset(started.hProcess);
    m_id = started.dwProcessId;
    CloseHandle(started.hThread);
    // It does nothing before its request comes, so that nothing it does can outlive this process. It is not suspended:
    // had this process ended just now, nobody would wake it, while the dead pipe ends it. So it does where the worker
    // may not be in a job of its own.
    if (m_job)
        AssignProcessToJobObject(m_job.Get(), m_process.Get());
    m_begin = m_step = Clock::now();
    m_nextTick = m_begin + TickInterval;
    WriteRequest(m_requestPipe.Get(), request);
}

CWorkerProcess::~CWorkerProcess() {
    Terminate();
}

void CWorkerProcess::Terminate() noexcept {
    constexpr DWORD Patience = 10'000;
    TerminateProcess(m_process.Get(), static_cast<UINT>(ExitCode::Failed));
    WaitForSingleObject(m_process.Get(), Patience);
}

void CWorkerProcess::Take(const CWorkerEvent& event, const CWorkerWatch& watch) {
    m_waiting = std::holds_alternative<CWaitingEvent>(event);
    m_finished = std::holds_alternative<CFinishedEvent>(event) || std::holds_alternative<CWorkerErrorEvent>(event);
    if (!std::holds_alternative<CMessageEvent>(event) && !std::holds_alternative<CDocumentReservedEvent>(event))
        m_step = Clock::now();
    if (watch.onEvent)
        watch.onEvent(event);
}

/// What a worker that is gone had still written.
void CWorkerProcess::TakeRest(const CWorkerWatch& watch) {
    constexpr DWORD Patience = 1000; // only somebody else who holds the pipe's end makes it as long as that
    do
        while (const auto event = m_finished ? std::nullopt : m_events.Next())
            Take(*event, watch);
    while (!m_finished && m_events.IsOpen() && WaitForSingleObject(m_events.Ready(), Patience) == WAIT_OBJECT_0);
}

std::optional<CWorkerEnd::Kind> CWorkerProcess::LimitPassed(const CWorkerLimits& limits) const {
    const auto now = Clock::now();
    if (limits.all != 0ms && now - m_begin >= limits.all)
        return CWorkerEnd::Kind::AllLimit;
    if (!m_waiting && now - m_step >= limits.step)
        return CWorkerEnd::Kind::StepLimit;
    return std::nullopt;
}

DWORD CWorkerProcess::TimeToWait(const CWorkerLimits& limits) const {
    auto next = m_nextTick;
    if (limits.all != 0ms)
        next = std::min(next, m_begin + limits.all);
    if (!m_waiting)
        next = std::min(next, m_step + limits.step);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<DWORD>(std::max(left, 0ms).count());
}

/// False when the worker is to be ended, or is gone.
bool CWorkerProcess::WaitForMore(const CWorkerLimits& limits, const CWorkerWatch& watch, CWorkerEnd::Kind& kind) {
    const std::array<HANDLE, 3> handles{m_process.Get(), m_events.Ready(), watch.stop};
    const DWORD count = watch.stop != nullptr ? 3 : 2;
    const DWORD woken = MsgWaitForMultipleObjectsEx(count, handles.data(), TimeToWait(limits),
                                                    watch.onMessages ? QS_ALLINPUT : 0, MWMO_INPUTAVAILABLE);
    if (woken == WAIT_OBJECT_0 + count && watch.onMessages)
        watch.onMessages();
    if (woken == WAIT_OBJECT_0)
        kind = CWorkerEnd::Kind::Died;
    else if (woken == WAIT_OBJECT_0 + 2 && count == 3)
        kind = CWorkerEnd::Kind::Stopped;
    else
        return true;
    return false;
}

void CWorkerProcess::Tick(const CWorkerWatch& watch) {
    const auto now = Clock::now();
    if (now < m_nextTick)
        return;
    m_nextTick = now + TickInterval;
    if (watch.onTick)
        watch.onTick(std::chrono::duration_cast<std::chrono::milliseconds>(now - m_step));
}

CWorkerEnd CWorkerProcess::Run(const CWorkerLimits& limits, const CWorkerWatch& watch) {
    CWorkerEnd end;
    end.limits = limits;
    end.kind = CWorkerEnd::Kind::Finished;
    for (bool goesOn = true; goesOn && !m_finished;) {
        // One at a time, so that a script which says something without end is ended, too.
        if (const auto event = m_events.Next()) {
            Take(*event, watch);
        } else {
            Tick(watch);
            goesOn = WaitForMore(limits, watch, end.kind);
        }
        if (const auto passed = goesOn && !m_finished ? LimitPassed(limits) : std::nullopt) {
            end.kind = *passed;
            goesOn = false;
        }
    }
    end.stepTime = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_step);
    if (m_finished)
        WaitForSingleObject(m_process.Get(), FarewellMilliseconds);
    Terminate();
    GetExitCodeProcess(m_process.Get(), &end.exitCode);
    TakeRest(watch);
    if (m_finished)
        end.kind = CWorkerEnd::Kind::Finished;
    return end;
}
