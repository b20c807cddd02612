#pragma once

// The two ends of the pipe on which a worker's events come.

#include "base/UniqueHandle.h"
#include "LineBuffer.h"
#include "WorkerEvent.h"

#include <array>
#include <mutex>
#include <optional>

/// The end that is read. One thread uses it; it never waits by itself.
class CEventReader {
public:
    /// Throws CCommandError.
    CEventReader();
    ~CEventReader();
    CEventReader(const CEventReader&) = delete;
    CEventReader& operator=(const CEventReader&) = delete;

    /// The other end, inheritable, for the worker; to be given away once, and closed here when the worker has it.
    CUniqueHandle TakeOtherEnd() { return std::move(m_otherEnd); }

    /// Signalled while Next may have something new.
    HANDLE Ready() const { return m_ready.Get(); }

    /// False when the other end is gone and everything was read.
    bool IsOpen() const { return m_open; }

    /// The next event that has arrived. Nothing when there is none yet; half a line, and one that makes no sense, is
    /// never one.
    std::optional<CWorkerEvent> Next();

private:
    bool Fetch();
    void StartReading();

    CUniqueHandle m_ready;
    CUniqueHandle m_pipe;
    CUniqueHandle m_otherEnd;
    CLineBuffer m_lines;
    std::array<char, 16384> m_block;
    OVERLAPPED m_reading{};
    bool m_open = true;
};

/// The end that is written. Any thread.
class CEventWriter final : public IWorkerEvents {
public:
    /// Takes the handle over, and keeps it from the programs that scripts start.
    explicit CEventWriter(HANDLE end);

    /// An end that nobody reads any more swallows the event.
    void Report(const CWorkerEvent& event) noexcept override;

private:
    std::mutex m_lock;
    CUniqueHandle m_pipe;
};
