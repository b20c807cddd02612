#pragma once

// What the worker of a command is asked to do.

#include <nlohmann/json.hpp>

/// The request for a worker process of this program: an operation and what it needs. It logs as much as this process.
nlohmann::json MakeOrder(const char* operation, nlohmann::json details);
