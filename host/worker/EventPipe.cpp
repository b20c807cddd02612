#include "EventPipe.h"

#include "ExitCode.h"
#include "SystemText.h"

#include <atomic>

namespace {
std::wstring NewPipeName() {
    static std::atomic<unsigned> count{0};
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    return L"\\\\.\\pipe\\Quorline.Worker." + std::to_wstring(GetCurrentProcessId()) + L"." + std::to_wstring(++count) +
           L"." + std::to_wstring(counter.QuadPart);
}
} // namespace

CEventReader::CEventReader() : m_ready(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    // An anonymous pipe cannot be read without waiting for it.
    const std::wstring name = NewPipeName();
    m_pipe.Reset(CreateNamedPipeW(
        name.c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, 1, 0, static_cast<DWORD>(m_block.size()), 0, nullptr));
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    if (m_pipe)
        m_otherEnd.Reset(CreateFileW(name.c_str(), GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr));
    if (!m_ready || !m_otherEnd)
        throw CCommandError(ExitCode::Failed, L"no pipe to a worker could be made: " + DescribeCode(GetLastError()));
    StartReading();
}

CEventReader::~CEventReader() {
    if (!m_open)
        return;
    // The block and the structure must not go while the system may still write there.
    CancelIo(m_pipe.Get());
    DWORD count = 0;
    GetOverlappedResult(m_pipe.Get(), &m_reading, &count, TRUE);
}

void CEventReader::StartReading() {
    m_reading = {};
    m_reading.hEvent = m_ready.Get();
    if (ReadFile(m_pipe.Get(), m_block.data(), static_cast<DWORD>(m_block.size()), nullptr, &m_reading) ||
        GetLastError() == ERROR_IO_PENDING)
        return;
    m_open = false;
    ResetEvent(m_ready.Get());
}

/// False when nothing has come.
bool CEventReader::Fetch() {
    DWORD count = 0;
    if (!m_open)
        return false;
    if (GetOverlappedResult(m_pipe.Get(), &m_reading, &count, FALSE)) {
        m_lines.Append({m_block.data(), count});
        StartReading();
        return true;
    }
    if (GetLastError() != ERROR_IO_INCOMPLETE) {
        m_open = false; // nobody is there to write any more
        ResetEvent(m_ready.Get());
    }
    return false;
}

std::optional<CWorkerEvent> CEventReader::Next() {
    do {
        while (const auto line = m_lines.Next())
            if (auto event = EventFromLine(*line))
                return event;
    } while (Fetch());
    return std::nullopt;
}

CEventWriter::CEventWriter(HANDLE end) : m_pipe(end) {
    SetHandleInformation(end, HANDLE_FLAG_INHERIT, 0);
}

void CEventWriter::Report(const CWorkerEvent& event) noexcept {
    try {
        const std::string line = ToLine(event) + "\n";
        const std::lock_guard<std::mutex> lock(m_lock);
        // In one call, so that a worker that is ended leaves no half of it where the system can help it.
        DWORD written = 0;
        WriteFile(m_pipe.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    } catch (const std::exception&) {
        // No memory for the event: the operation goes on, and its end is told.
    }
}
