#pragma once

#include <chrono>
#include <string>

/// "0.4 s", in whole tenths, rounded down.
inline std::wstring DescribeSeconds(std::chrono::milliseconds time) {
    const auto tenths = time.count() / 100;
    return std::to_wstring(tenths / 10) + L"." + std::to_wstring(tenths % 10) + L" s";
}
