// Proves support/ProcessUse.h, by which other tests find what is left behind.

#include "base/UniqueHandle.h"
#include "ProcessUse.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

TEST(ProcessUse, EveryOpenHandleCounts) {
    const DWORD before = HandlesInUse();
    EXPECT_GT(before, 0u);
    {
        std::vector<CUniqueHandle> events;
        for (int i = 0; i < 100; ++i)
            events.emplace_back(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        EXPECT_EQ(HandlesInUse(), before + 100);
        CUniqueHandle token;
        ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put()));
        CUniqueRegKey key;
        ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, key.Put()), ERROR_SUCCESS);
        EXPECT_EQ(HandlesInUse(), before + 102);
        // One that fills a hole counts too.
        events.erase(events.begin(), events.begin() + 50);
        EXPECT_EQ(HandlesInUse(), before + 52);
        events.emplace_back(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        EXPECT_EQ(HandlesInUse(), before + 53);
    }
    EXPECT_EQ(HandlesInUse(), before);
}

TEST(ProcessUse, ABlockCountsWhateverItsSizeAndHeap) {
    for (const std::size_t size : {std::size_t{8}, std::size_t{3000}, std::size_t{4} << 20}) {
        if (size < HeapGrain())
            continue;
        const std::size_t before = HeapBytesInUse();
        {
            const auto block = std::make_unique<std::byte[]>(size);
            EXPECT_GE(HeapBytesInUse(), before + size) << size;
        }
        EXPECT_LE(HeapBytesInUse(), before) << size;
    }
    const HANDLE own = HeapCreate(0, 0, 0);
    ASSERT_NE(own, nullptr);
    const std::size_t before = HeapBytesInUse();
    ASSERT_NE(HeapAlloc(own, 0, 5000), nullptr);
    EXPECT_GE(HeapBytesInUse(), before + 5000);
    HeapDestroy(own);
}
