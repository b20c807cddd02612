#pragma once

#include <string>

/// Full path of a process's executable; empty when the process is gone or may not be looked into.
std::wstring PathOfProcess(unsigned long processId);
