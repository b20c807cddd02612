#include "WatchReport.h"

#include "Console.h"
#include "JsonWide.h"
#include "base/UniqueHandle.h"

#include <log4cxx/logger.h>

#include <algorithm>
#include <atomic>

namespace {
constexpr const wchar_t* Source = L"Quorline";
constexpr const wchar_t* SourceKey = L"System\\CurrentControlSet\\Services\\EventLog\\Application\\Quorline";

constexpr DWORD SeverityOf(DWORD event) {
    return event >> 30;
}
constexpr DWORD Warning = 2;
constexpr DWORD Error = 3;

/// What programs know an event by.
constexpr std::pair<DWORD, const char*> Names[] = {{EVENT_WATCHING, "watching"},
                                                   {EVENT_SESSION_ENDED, "session-ended"},
                                                   {EVENT_SESSION_GOES_ON, "session-goes-on"},
                                                   {EVENT_SAVED, "saved"},
                                                   {EVENT_NOTHING_TO_SAVE, "nothing-to-save"},
                                                   {EVENT_VETOED, "vetoed"},
                                                   {EVENT_SAVE_FAILED, "save-failed"},
                                                   {EVENT_CHECKPOINT, "checkpoint"},
                                                   {EVENT_CHECKPOINT_FAILED, "checkpoint-failed"},
                                                   {EVENT_CHECKPOINTS_CLEARED, "checkpoints-cleared"},
                                                   {EVENT_UNANNOUNCED_END, "unannounced-end"},
                                                   {EVENT_RESTORE_OFFERED, "restore-offered"},
                                                   {EVENT_RESTORED, "restored"},
                                                   {EVENT_RESTORE_FAILED, "restore-failed"},
                                                   {EVENT_TROUBLE, "trouble"},
                                                   {EVENT_STOPPED, "stopped"}};

std::atomic<bool> g_printed = false;

const char* NameOf(DWORD event) {
    const auto found = std::ranges::find(Names, event, &std::pair<DWORD, const char*>::first);
    return found != std::end(Names) ? found->second : "";
}

const char* SeverityNameOf(DWORD event) {
    const DWORD severity = SeverityOf(event);
    return severity == Error ? "error" : severity == Warning ? "warning" : "info";
}

std::wstring TextOf(DWORD event, const std::vector<const wchar_t*>& inserts) {
    wchar_t* buffer = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                       GetModuleHandleW(nullptr), event, 0, reinterpret_cast<LPWSTR>(&buffer), 0,
                       reinterpret_cast<va_list*>(const_cast<wchar_t**>(inserts.data())));
    const CUniqueLocalMemory<wchar_t> owner(buffer);
    std::wstring text(buffer != nullptr ? buffer : L"", length);
    text.erase(text.find_last_not_of(L"\r\n ") + 1);
    return text;
}

void Log(DWORD event, const std::wstring& text) {
    const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger("Quorline.Watch");
    log4cxx::LevelPtr level = log4cxx::Level::getInfo();
    if (SeverityOf(event) == Warning)
        level = log4cxx::Level::getWarn();
    else if (SeverityOf(event) == Error)
        level = log4cxx::Level::getError();
    if (logger->isEnabledFor(level))
        logger->forcedLog(level, text, log4cxx::spi::LocationInfo::getLocationUnavailable());
}

WORD TypeOf(DWORD event) {
    switch (SeverityOf(event)) {
    case Error:
        return EVENTLOG_ERROR_TYPE;
    case Warning:
        return EVENTLOG_WARNING_TYPE;
    default:
        return EVENTLOG_INFORMATION_TYPE;
    }
}
} // namespace

void PrintWatchEvents() {
    g_printed = true;
}

void PrintWatchLine(const char* event, const char* severity, const std::vector<std::wstring>& values,
                    const std::wstring& text) {
    const nlohmann::ordered_json line{
        {"event", event}, {"severity", severity}, {"values", nlohmann::json(values)}, {"text", ToUtf8(text)}};
    PrintData(line.dump(-1, ' ', true));
}

void EnsureEventSource() {
    CUniqueRegKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, SourceKey, 0, KEY_READ, key.Put()) == ERROR_SUCCESS)
        return;
    wchar_t program[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, program, MAX_PATH);
    if (length == 0 || length == MAX_PATH ||
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, SourceKey, 0, nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr) !=
            ERROR_SUCCESS)
        return;
    const DWORD types = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
    RegSetValueExW(key.Get(), L"EventMessageFile", 0, REG_SZ, reinterpret_cast<const BYTE*>(program),
                   (length + 1) * sizeof(wchar_t));
    RegSetValueExW(key.Get(), L"TypesSupported", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&types), sizeof(types));
}

void ReportWatchEvent(DWORD event, const std::vector<std::wstring>& inserts) noexcept {
    try {
        std::vector<const wchar_t*> texts;
        texts.reserve(inserts.size());
        for (const auto& insert : inserts)
            texts.push_back(insert.c_str());
        const std::wstring text = TextOf(event, texts);
        Log(event, text);
        if (g_printed)
            PrintWatchLine(NameOf(event), SeverityNameOf(event), inserts, text);
        HANDLE source = RegisterEventSourceW(nullptr, Source);
        if (source == nullptr)
            return;
        ReportEventW(source, TypeOf(event), 0, event, nullptr, static_cast<WORD>(texts.size()), 0, texts.data(),
                     nullptr);
        DeregisterEventSource(source);
    } catch (...) {
        return;
    }
}
