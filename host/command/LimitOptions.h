#pragma once

// The options by which a command's scripts are given their time.

#include "WorkerProcess.h"

#include <CLI/CLI.hpp>

inline void AddLimits(CLI::App& command, CWorkerLimits& limits) {
    constexpr unsigned Day = 24 * 60 * 60;
    command
        .add_option_function<unsigned>(
            "--script-timeout", [&limits](unsigned seconds) { limits.step = std::chrono::seconds(seconds); },
            "Seconds that one script may take; 60 unless told")
        ->check(CLI::Range(1u, Day));
    command
        .add_option_function<unsigned>(
            "--timeout", [&limits](unsigned seconds) { limits.all = std::chrono::seconds(seconds); },
            "Seconds that everything together may take; as many as it needs unless told")
        ->check(CLI::Range(1u, Day));
}
