// Loading and freeing the library: what it sets up, and that it leaves nothing behind.

#include "Common/UniqueHandle.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

class CLibrary {
public:
    CLibrary() : m_module(LoadLibraryW(L"Quorline.dll")) {}
    ~CLibrary() {
        if (m_module != nullptr)
            FreeLibrary(m_module);
    }
    CLibrary(const CLibrary&) = delete;
    CLibrary& operator=(const CLibrary&) = delete;
    explicit operator bool() const { return m_module != nullptr; }
    HMODULE Get() const { return m_module; }

private:
    HMODULE m_module;
};

/// Bytes in use in all of the process's heaps.
std::size_t BytesInUse() {
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

DWORD Handles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

} // namespace

TEST(ModuleLoad, ExportsTheFourEntryPoints) {
    const CLibrary library;
    ASSERT_TRUE(library);
    for (const char* name : {"DllRegisterServer", "DllUnregisterServer", "DllGetClassObject", "DllCanUnloadNow"})
        EXPECT_NE(GetProcAddress(library.Get(), name), nullptr) << name;
    EXPECT_EQ(GetProcAddress(library.Get(), "PrxDllRegisterServer"), nullptr);
}

TEST(ModuleLoad, SetsTheLocaleOfTheProcess) {
    std::setlocale(LC_ALL, "C");
    const CLibrary library;
    ASSERT_TRUE(library);
    EXPECT_STRNE(std::setlocale(LC_ALL, nullptr), "C");
}

TEST(ModuleLoad, IsGoneOnceFreed) {
    {
        const CLibrary library;
        ASSERT_TRUE(library);
        EXPECT_NE(GetModuleHandleW(L"Quorline.dll"), nullptr);
    }
    EXPECT_EQ(GetModuleHandleW(L"Quorline.dll"), nullptr);
}

TEST(ModuleLoad, LeavesNothingBehindInFiveHundredRounds) {
    const auto rounds = [](int count) {
        for (int i = 0; i < count; ++i) {
            const CLibrary library;
            ASSERT_TRUE(library);
        }
    };
    rounds(50);
    const DWORD handles = Handles();
    const std::size_t bytes = BytesInUse();
    rounds(500);
    EXPECT_LE(Handles(), handles + 2);
    EXPECT_LE(BytesInUse(), bytes + 500 * 4096);
    RecordProperty("BytesPerRound",
                   std::to_string((static_cast<double>(BytesInUse()) - static_cast<double>(bytes)) / 500));
}
