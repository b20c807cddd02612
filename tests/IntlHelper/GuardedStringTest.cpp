// Proves that a text which cannot be read is told and ends nothing: IntlHelper/format/GuardedString.

#include "IntlHelper/format/StringFormatter.h"
#include "base/Exceptions.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

namespace {
CStringFormatter g_formatter;

const wchar_t* BadWide(std::uintptr_t address) {
    return reinterpret_cast<const wchar_t*>(address);
}
const char* BadNarrow(std::uintptr_t address) {
    return reinterpret_cast<const char*>(address);
}

/// Room that ends where memory ends.
class CPageEnd {
public:
    CPageEnd() : m_pages(static_cast<char*>(VirtualAlloc(nullptr, 8192, MEM_RESERVE, PAGE_NOACCESS))) {
        VirtualAlloc(m_pages, 4096, MEM_COMMIT, PAGE_READWRITE);
    }
    ~CPageEnd() { VirtualFree(m_pages, 0, MEM_RELEASE); }
    CPageEnd(const CPageEnd&) = delete;
    CPageEnd& operator=(const CPageEnd&) = delete;

    template <class Character> const Character* Put(const Character* text, std::size_t count) {
        char* place = m_pages + 4096 - count * sizeof(Character);
        std::memcpy(place, text, count * sizeof(Character));
        return reinterpret_cast<const Character*>(place);
    }

private:
    char* m_pages;
};

template <class... Args> std::pair<std::wstring, long> Refusal(const wchar_t* format, Args... args) {
    try {
        return {L"accepted: " + g_formatter.Format(format, args...), 0};
    } catch (const CIntlHelperException& refusal) {
        return {refusal.GetMessageText(), refusal.GetErrorCode()};
    }
}
} // namespace

TEST(FormatterGuard, AnUnreadableStringNamesItsArgument) {
    EXPECT_EQ(Refusal(L"{0:%d} {1:%s}", 1, BadWide(0x10)),
              std::make_pair(std::wstring(L"Access violation while formatting '%s' argument 1. This could mean the "
                                          L"argument is not a TCHAR*"),
                             11L));
    EXPECT_EQ(Refusal(L"{0:%S}", BadNarrow(0x10)),
              std::make_pair(std::wstring(L"Access violation while formatting '%S' argument 0. This could mean the "
                                          L"argument is not a TCHAR*"),
                             11L));
    EXPECT_EQ(g_formatter.FormatNoThrow(L"{0:%s}", BadWide(0x10)), L"{0:%s}***formatting error***");
    EXPECT_EQ(g_formatter.FormatNoThrow(L"{0:[%5s]}", BadWide(~std::uintptr_t{0xf})),
              L"{0:[%5s]}***formatting error***");
    EXPECT_EQ(g_formatter.FormatNoThrow(L"{0:%S}", BadNarrow(0x8000000000000000)), L"{0:%S}***formatting error***");
}

TEST(FormatterGuard, AStringWithoutItsEndIsUnreadable) {
    CPageEnd end;
    EXPECT_EQ(Refusal(L"{0:%s}", end.Put(L"abc", 3)).second, 11);
    EXPECT_EQ(Refusal(L"{0:%S}", end.Put("abc", 3)).second, 11);
    EXPECT_EQ(g_formatter.Format(L"{0:%s}", end.Put(L"abc", 4)), L"abc");
    EXPECT_EQ(g_formatter.Format(L"{0:%S}", end.Put("abc", 4)), L"abc");
}

TEST(FormatterGuard, APrecisionReadsNoFurther) {
    CPageEnd end;
    EXPECT_EQ(g_formatter.Format(L"{0:%.3s}", end.Put(L"abc", 3)), L"abc");
    EXPECT_EQ(Refusal(L"{0:%.4s}", end.Put(L"abc", 3)).second, 11);
    EXPECT_EQ(g_formatter.Format(L"{0:%.3S}", end.Put("abc", 3)), L"abc");
    EXPECT_EQ(Refusal(L"{0:%.4S}", end.Put("abc", 3)).second, 11);
    EXPECT_EQ(g_formatter.Format(L"{0:%.3hs}", end.Put("abc", 3)), L"abc");
    EXPECT_EQ(g_formatter.Format(L"<{0:%.0s}>", BadWide(0x10)), L"<>");
}

TEST(FormatterGuard, EightThreadsMayFaultAtOnce) {
    constexpr int Faults = 1000;
    std::atomic<int> refused{0};
    std::atomic<int> formatted{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&, thread] {
            for (int i = 0; i < Faults; ++i) {
                const auto address = static_cast<std::uintptr_t>(i + 1);
                const std::wstring text = thread % 2 == 0 ? g_formatter.FormatNoThrow(L"{0:%s}", BadWide(address))
                                                          : g_formatter.FormatNoThrow(L"{0:%S}", BadNarrow(address));
                refused += text.ends_with(L"***formatting error***");
                formatted += g_formatter.Format(L"{0:%d} {1:%s}", thread, L"ok") == std::to_wstring(thread) + L" ok";
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(refused, 8 * Faults);
    EXPECT_EQ(formatted, 8 * Faults);
}
