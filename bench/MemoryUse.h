#pragma once

// How much memory C++ code of this process, that of the DLLs included, holds while one of these lives, and at most
// held. One at a time. They all share the C++ runtime's DLL, whose operators new and delete ask malloc and free.

#include "ImportHook.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>

class CMemoryUse {
public:
    CMemoryUse()
        : m_allocate(GetModuleHandleW(L"libstdc++-6.dll"), "malloc", &Allocate),
          m_free(GetModuleHandleW(L"libstdc++-6.dll"), "free", &Free) {
        s_held = 0;
        s_most = 0;
    }
    CMemoryUse(const CMemoryUse&) = delete;
    CMemoryUse& operator=(const CMemoryUse&) = delete;

    /// Bytes since the beginning; below zero when more was given back.
    static std::int64_t Held() { return s_held; }
    static std::int64_t Most() { return s_most; }

private:
    static void* Allocate(std::size_t size) {
        void* const block = std::malloc(size);
        s_held += static_cast<std::int64_t>(size);
        s_most = std::max(s_most, s_held);
        return block;
    }
    static void Free(void* block) {
        if (block != nullptr)
            s_held -= static_cast<std::int64_t>(_msize(block));
        std::free(block);
    }

    static inline std::int64_t s_held = 0; // of the one thread that is measured
    static inline std::int64_t s_most = 0;

    CImportHook m_allocate;
    CImportHook m_free;
};
