#include "logging/ProcessEnd.h"

#include <windows.h>

// Exported by every Windows and by Wine; declared for drivers alone.
extern "C" NTSYSAPI BOOLEAN NTAPI RtlDllShutdownInProgress();

bool IsProcessEnding() noexcept {
    return RtlDllShutdownInProgress() != FALSE;
}
