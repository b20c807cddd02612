#pragma once

// How many blocks of memory C++ code of this process, that of the DLLs included, takes while one of these lives:
//
//     const CAllocationCount count;
//     Work();
//     EXPECT_EQ(count.Get(), 0u);
//
// One at a time. They all share the C++ runtime's DLL, whose operator new asks malloc.

#include "ImportHook.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>

class CAllocationCount {
public:
    CAllocationCount() : m_hook(GetModuleHandleW(L"libstdc++-6.dll"), "malloc", &Allocate) { s_count = 0; }
    CAllocationCount(const CAllocationCount&) = delete;
    CAllocationCount& operator=(const CAllocationCount&) = delete;

    std::uint64_t Get() const { return s_count; }

private:
    static void* Allocate(std::size_t size) {
        ++s_count;
        return std::malloc(size);
    }

    static inline std::atomic<std::uint64_t> s_count{0};

    CImportHook m_hook;
};
