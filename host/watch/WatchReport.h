#pragma once

// Tells the log and the system's event log what the watcher does, in the same words: those of WatchEvents.mc.

#include "WatchEvents.h"

#include <windows.h>

#include <string>
#include <vector>

/// Has every event from now on printed, too: as JSON in a line of its own.
void PrintWatchEvents();

/// Such a line, for what is no event: {"event", "severity": "info", "warning" or "error", "values": [], "text"}.
void PrintWatchLine(const char* event, const char* severity, const std::vector<std::wstring>& values,
                    const std::wstring& text);

/// Makes the source known to the event log where that may be done and nobody has done it: an installation does.
void EnsureEventSource();

/// One of WatchEvents.mc with its inserts. Never throws: whatever cannot be told does not keep anybody from saving.
void ReportWatchEvent(DWORD event, const std::vector<std::wstring>& inserts) noexcept;
