#pragma once

// Bytes, owned and seen.

#include <windows.h>

#include <algorithm>
#include <span>
#include <vector>

using CBytes = std::vector<BYTE>;
using CBytesView = std::span<const BYTE>;

inline bool SameBytes(CBytesView left, CBytesView right) noexcept {
    return std::ranges::equal(left, right);
}
