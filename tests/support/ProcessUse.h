#pragma once

// What the process holds at a moment, to compare with a later one.

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// Bytes in use in all heaps.
inline std::size_t HeapBytesInUse() {
    std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
    heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
    std::size_t sum = 0;
    for (const HANDLE heap : heaps) {
        HeapLock(heap);
        PROCESS_HEAP_ENTRY entry{};
        while (HeapWalk(heap, &entry)) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
                sum += entry.cbData;
        }
        HeapUnlock(heap);
    }
    return sum;
}

/// Bytes by which that count may grow although nothing is left behind: none where each block counts by itself. Newer
/// versions of Wine give small blocks out of groups, of each thread's own, and a group counts as a whole.
inline std::size_t HeapGrain() {
    constexpr std::size_t Size = 40;
    // So many that the heap makes a group of them.
    std::vector<std::unique_ptr<std::byte[]>> blocks(100);
    for (auto& block : blocks) {
        const std::size_t before = HeapBytesInUse();
        block = std::make_unique<std::byte[]>(Size);
        if (HeapBytesInUse() < before + Size)
            return std::size_t{4} << 20;
    }
    return 0;
}

/// Open handles. Each value is asked for: Wine's GetProcessHandleCount answers 0 whatever is open. The lowest free
/// value is given out first, so that a long gap means the end.
inline DWORD HandlesInUse() {
    constexpr unsigned LongestGap = 1024;
    DWORD count = 0;
    unsigned gap = 0;
    for (std::uintptr_t value = 4; gap < LongestGap; value += 4) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) {
            ++count;
            gap = 0;
        } else {
            ++gap;
        }
    }
    return count;
}
