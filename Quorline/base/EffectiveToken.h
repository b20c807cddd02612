#pragma once

// Whose rights the calling thread acts with.

#include "base/UniqueHandle.h"

/// The thread's token, or that of the process where the thread has none of its own. Empty when it cannot be had; if it
/// was the process that refused its token, processError says why.
CUniqueHandle OpenEffectiveToken(DWORD access, DWORD* processError = nullptr) noexcept;
