#pragma once

#include <string>

/// What ended a process that did not end by itself, from its exit code: "an access violation (exception 0xC0000005)",
/// or "the exit code 3" for one that is no exception's.
std::wstring DescribeProcessEnd(unsigned long exitCode);
