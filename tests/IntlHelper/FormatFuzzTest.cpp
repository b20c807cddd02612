// Random formats through a message and through an info file value. Run by heap-checked.sh, which switches the system's
// heap checks on and wants to see nothing reported. Proves IntlHelper/format and InfoFileValue.

#include "CheckedHeap.h"
#include "IntlHelper/format/StringFormatter.h"
#include "RandomRounds.h"
#include "ScriptExecution/InfoFileValue.h"
#include "Tally.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

namespace {
constexpr std::size_t LongestPrint = 4095;

/// Slots in front of a page that nobody may touch, so that reading one too many ends the test.
class CArgumentSlots {
public:
    CArgumentSlots() : m_pages(static_cast<char*>(VirtualAlloc(nullptr, 2 * Page, MEM_RESERVE, PAGE_NOACCESS))) {
        VirtualAlloc(m_pages, Page, MEM_COMMIT, PAGE_READWRITE);
    }
    ~CArgumentSlots() { VirtualFree(m_pages, 0, MEM_RELEASE); }
    CArgumentSlots(const CArgumentSlots&) = delete;
    CArgumentSlots& operator=(const CArgumentSlots&) = delete;

    va_list Put(const std::vector<std::uint64_t>& slots) {
        char* const place = m_pages + Page - slots.size() * sizeof slots[0];
        std::memcpy(place, slots.data(), slots.size() * sizeof slots[0]);
        return place;
    }

private:
    static constexpr std::size_t Page = 4096;

    char* m_pages;
};

/// Makes formats that look like formats, and some that do not.
class CFormatMaker {
public:
    explicit CFormatMaker(unsigned seed) : m_random(seed) {}

    std::wstring Message() {
        std::wstring format;
        std::vector<unsigned> numbers(Below(6));
        for (unsigned i = 0; i < numbers.size(); ++i)
            numbers[i] = i;
        std::ranges::shuffle(numbers, m_random);
        for (const unsigned number : numbers) {
            format += Literal();
            format += L'{' + std::to_wstring(Below(40) ? number : Below(20)) + L':';
            format += Below(8) ? Directive() : Value();
            format += L'}';
        }
        return format + Literal();
    }

    std::wstring Value() {
        std::wstring value;
        for (unsigned parts = Below(6); parts > 0; --parts)
            value += Below(3) ? Directive() : Literal();
        return value;
    }

    std::vector<std::uint64_t> Slots(std::size_t count) {
        std::vector<std::uint64_t> slots(count);
        for (auto& slot : slots)
            slot = Slot();
        return slots;
    }

private:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }
    wchar_t OneOf(std::wstring_view set) { return set[Below(static_cast<unsigned>(set.size()))]; }

    std::wstring Literal() {
        std::wstring text;
        for (unsigned length = Below(5); length > 0; --length)
            text += Below(10) ? OneOf(L"{}\\:0123 a%") : static_cast<wchar_t>(m_random());
        return text;
    }

    std::wstring Directive() {
        std::wstring text = L"%";
        while (Below(3) == 0)
            text += OneOf(L"-+ 0#");
        text += Field();
        if (Below(2))
            text += L'.' + Field();
        if (Below(3) == 0)
            text += Size();
        text += Below(20) ? OneOf(L"dioxXueEfgGpcCsS") : OneOf(L"aAnZqyF%*.{ ");
        return text;
    }

    std::wstring Size() {
        constexpr const wchar_t* Sizes[] = {L"h", L"l", L"I64", L"I32", L"ll", L"w", L"I", L"hh", L"L", L"z"};
        return Sizes[Below(static_cast<unsigned>(std::size(Sizes)))];
    }

    /// Most are small, some lie where buffers end.
    std::wstring Field() {
        switch (Below(8)) {
        case 0:
            return std::to_wstring(Below(60));
        case 1:
            return std::to_wstring((1u << Below(13)) + Below(5) - 2);
        case 2:
            return Below(50) ? std::to_wstring(Below(1000)) : std::to_wstring(m_random());
        case 3:
            return Below(20) ? L"" : L"*";
        default:
            return L"";
        }
    }

    /// Every one is a number, a floating value and the address of a text, wide or narrow, or of none.
    std::uint64_t Slot() {
        switch (Below(3)) {
        case 0:
            return 0;
        case 1:
            return reinterpret_cast<std::uintptr_t>(m_long.get());
        default:
            return reinterpret_cast<std::uintptr_t>(m_short.get());
        }
    }

    static std::unique_ptr<wchar_t[]> Text(std::size_t length) {
        auto text = std::make_unique<wchar_t[]>(length + 1);
        std::fill_n(text.get(), length, L'\u7478'); // "xt" when read as narrow text
        return text;
    }

    std::mt19937 m_random;
    std::unique_ptr<wchar_t[]> m_short = Text(7);
    std::unique_ptr<wchar_t[]> m_long = Text(5000);
};
} // namespace

TEST(FormatFuzz, AnyFormatIsPrintedOrRefused) {
    const CRandomRounds rounds(100'000);
    const CCheckedHeap heap;
    CFormatMaker make(rounds.seed);
    CArgumentSlots memory;
    unsigned long long refused = 0;
    unsigned long long printed = 0;
    for (unsigned long long round = 0; round < rounds.count; ++round) {
        const std::wstring format = make.Message();
        const auto inserts = static_cast<std::size_t>(std::ranges::count(format, L'{'));
        const std::wstring message =
            GlobalFormatter().FormatVNoThrow(format, memory.Put(make.Slots(std::max<std::size_t>(inserts, 1))));
        ASSERT_LE(message.size(), format.size() * (format.size() + 1) + LongestPrint * inserts + 22) << format;
        ++(message == format + L"***formatting error***" ? refused : printed);

        const std::wstring value = make.Value();
        ASSERT_LE(FormatInfoFileValue(value).size(), value.size() + 65'536) << value;
        ASSERT_EQ(heap.GetDamaged(), 0) << format << L"\n" << value;
        ASSERT_TRUE(round % 1'000 != 0 || heap.Check()) << format << L"\n" << value;
    }
    PrintTally("random formats, as messages and as values", rounds.count);
    std::printf("messages printed: %llu, refused: %llu; values printed: %llu\n", printed, refused, rounds.count);
    EXPECT_GT(printed, rounds.count / 4);
    EXPECT_GT(refused, rounds.count / 20);
}

// What has to be noticed, or nothing that is said of the other test means anything.
TEST(HeapCheck, DISABLED_WritingBehindABlockIsReported) {
    const CCheckedHeap heap;
    {
        std::vector<wchar_t> characters(12);
        wchar_t* volatile end = characters.data() + characters.size();
        *end = L'x';
    }
    EXPECT_EQ(heap.GetDamaged(), 1);
}
