#pragma once

#include <windows.h>

#include <chrono>

/// The system's time, earlier or later by so many minutes.
FILETIME FromNow(std::chrono::minutes later);
