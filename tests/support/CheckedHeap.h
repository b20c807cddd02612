#pragma once

// While one of these lives, every block that C++ code frees is looked at before. With the system's heap checks on, see
// heap-checked.sh, a block has a pattern behind its end; what has written there is found when the block goes.

#include "ImportHook.h"

#include <atomic>
#include <malloc.h>

class CCheckedHeap {
public:
    /// Blocks that were found damaged since the process began.
    static int GetDamaged() { return s_damaged; }

    /// Looks at every block that is there; false when one is damaged.
    static bool Check() { return HeapValidate(GetHeap(), 0, nullptr) != FALSE; }

private:
    static HANDLE GetHeap() { return reinterpret_cast<HANDLE>(_get_heap_handle()); }

    static void CheckedFree(void* block) {
        static const auto release = reinterpret_cast<void (*)(void*)>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "free")));
        if (block != nullptr && !HeapValidate(GetHeap(), 0, block))
            ++s_damaged;
        release(block);
    }

    static inline std::atomic<int> s_damaged{0};

    // The compiler's library, where operator delete and the strings' common code are, and the program itself.
    CImportHook m_library{GetModuleHandleW(L"libstdc++-6.dll"), "free", &CheckedFree};
    CImportHook m_program{GetModuleHandleW(nullptr), "free", &CheckedFree};
};
