// Loading and freeing the library: what it sets up, and that it leaves nothing behind. Proves DllMain.

#include "ProcessUse.h"

#include <windows.h>

#include <log4cxx/ndc.h>

#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <thread>

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
    const DWORD handles = HandlesInUse();
    const std::size_t bytes = HeapBytesInUse();
    rounds(500);
    EXPECT_LE(HandlesInUse(), handles + 2);
    EXPECT_LE(HeapBytesInUse(), bytes + 500 * 4096 + HeapGrain());
    RecordProperty("BytesPerRound",
                   std::to_string((static_cast<double>(HeapBytesInUse()) - static_cast<double>(bytes)) / 500));
}

TEST(ModuleLoad, FreesTheContextOfAThreadThatEnds) {
    const CLibrary library;
    ASSERT_TRUE(library);
    const auto threads = [](int count) {
        for (int i = 0; i < count; ++i)
            std::thread([] { log4cxx::NDC::push(std::wstring(200, L'x')); }).join();
    };
    threads(20);
    const std::size_t bytes = HeapBytesInUse();
    threads(300);
    EXPECT_LE(HeapBytesInUse(), bytes + 300 * 100);
}
