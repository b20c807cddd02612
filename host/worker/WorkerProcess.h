#pragma once

// Runs an operation in a process of its own, so that nothing that scripts and engines do can hold up or end the caller:
//
//     CWorkerProcess worker(request);
//     const CWorkerEnd end = worker.Run({}, {.onEvent = [](const CWorkerEvent& event) { ... }});
//     if (end.kind != CWorkerEnd::Kind::Finished) ... end.Describe()
//
// The worker is this program again, with its hidden command "worker". It ends with the process that started it: by a
// job object that goes with its last handle, and because it watches the pipe that its request came on. What scripts
// start is no part of that: an application that a restore script has opened stays.

#include "base/UniqueHandle.h"
#include "EventPipe.h"
#include "OwnProgram.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

struct CWorkerLimits {
    /// For one script, and for whatever else happens between two events.
    std::chrono::milliseconds step = std::chrono::seconds(60);
    /// For everything together, waiting included; none when zero.
    std::chrono::milliseconds all{0};
};

/// Who hears of a worker while it runs; called on the thread that called Run. Each may be empty.
struct CWorkerWatch {
    std::function<void(const CWorkerEvent&)> onEvent{};
    /// About once a second, with the time since the present step began.
    std::function<void(std::chrono::milliseconds)> onTick{};
    /// Dispatches the messages that have come for the thread. Without it none are looked for.
    std::function<void()> onMessages{};
    /// Ends the worker when it is signalled. Null for none.
    HANDLE stop = nullptr;
};

/// How a worker came to its end.
struct CWorkerEnd {
    enum class Kind {
        Finished,  ///< it said so, or that the operation could not be done
        StepLimit, ///< ended: one step took too long
        AllLimit,  ///< ended: everything together took too long
        Stopped,   ///< ended: the caller wanted it
        Died,      ///< it ended by itself, or somebody ended it
    };
    Kind kind = Kind::Died;
    std::chrono::milliseconds stepTime{}; ///< how long the last step had taken
    CWorkerLimits limits;
    unsigned long exitCode = 0; ///< of a worker that died

    /// "it was ended after 60.0 s, more than one script may take", "an access violation (exception 0xC0000005) ended it
    /// after 0.2 s". Empty for one that finished.
    std::wstring Describe() const;
};

class CWorkerProcess {
public:
    /// Starts it. The request is the worker's to understand. Throws CCommandError when no process can be started.
    explicit CWorkerProcess(const nlohmann::json& request, const std::wstring& program = OwnProgram());
    /// Ends it if it still runs.
    ~CWorkerProcess();
    CWorkerProcess(const CWorkerProcess&) = delete;
    CWorkerProcess& operator=(const CWorkerProcess&) = delete;

    /// Returns when the worker is gone; once.
    CWorkerEnd Run(const CWorkerLimits& limits, const CWorkerWatch& watch);

    unsigned long Id() const { return m_id; }

private:
    using Clock = std::chrono::steady_clock;

    void Take(const CWorkerEvent& event, const CWorkerWatch& watch);
    void TakeRest(const CWorkerWatch& watch);
    bool WaitForMore(const CWorkerLimits& limits, const CWorkerWatch& watch, CWorkerEnd::Kind& kind);
    void Tick(const CWorkerWatch& watch);
    std::optional<CWorkerEnd::Kind> LimitPassed(const CWorkerLimits& limits) const;
    DWORD TimeToWait(const CWorkerLimits& limits) const;
    void Terminate() noexcept;

    CEventReader m_events;
    CUniqueHandle m_requestPipe; ///< closed, it ends the worker
    CUniqueHandle m_job;
    CUniqueHandle m_process;
    unsigned long m_id = 0;
    Clock::time_point m_begin;
    Clock::time_point m_step;
    Clock::time_point m_nextTick;
    bool m_waiting = false;
    bool m_finished = false;
};
