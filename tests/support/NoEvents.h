#pragma once

#include "WorkerEvent.h"

/// For an operation that a test runs in its own process.
class CNoEvents final : public IWorkerEvents {
public:
    void Report(const CWorkerEvent&) noexcept override {}
};
