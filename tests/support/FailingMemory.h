#pragma once

// Lets the program's own code have no more memory after some allocations, for a scope and on the thread that made it:
//
//     const CFailingMemory memory(3); // three more blocks
//
// Of the library only what is linked into the program is meant. One at a time.

#include "ImportHook.h"

#include <windows.h>

#include <cstdlib>
#include <new>

class CFailingMemory {
public:
    explicit CFailingMemory(int blocks) : m_hook(GetModuleHandleW(nullptr), "_Znwy", &Allocate) {
        s_left = blocks;
        s_thread = GetCurrentThreadId();
    }
    ~CFailingMemory() { s_thread = 0; }
    CFailingMemory(const CFailingMemory&) = delete;
    CFailingMemory& operator=(const CFailingMemory&) = delete;

    /// Whether there was a block too many.
    static bool HasFailed() { return s_left < 0; }

private:
    static void* Allocate(std::size_t size) {
        if (s_thread == GetCurrentThreadId() && --s_left < 0)
            throw std::bad_alloc();
        if (void* const block = std::malloc(size != 0 ? size : 1))
            return block;
        throw std::bad_alloc();
    }

    static inline int s_left = 0;
    static inline DWORD s_thread = 0;

    CImportHook m_hook;
};
