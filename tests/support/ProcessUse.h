#pragma once

// What the process holds at a moment, to compare with a later one.

#include <windows.h>

#include <cstddef>
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

inline DWORD HandlesInUse() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}
