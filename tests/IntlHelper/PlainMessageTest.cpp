// The formatter's short way: that it makes what the three steps make, and that it is taken. Proves PlainMessage.

#include "AllocationCount.h"
#include "base/Exceptions.h"
#include "IntlHelper/format/PlainMessage.h"
#include "IntlHelper/format/StringFormatter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {
/// Goes through the three steps, as every formatter does that is not the class itself.
class CStepwise : public CStringFormatter {};

using CSlots = std::vector<std::uint64_t>;

std::uint64_t SlotOf(const wchar_t* text) {
    return reinterpret_cast<std::uintptr_t>(text);
}

/// On this platform an argument list is the address of its first slot.
va_list ListOf(const CSlots& slots) {
    return reinterpret_cast<va_list>(const_cast<std::uint64_t*>(slots.data()));
}

void ExpectTheSame(const std::wstring& format, const CSlots& slots) {
    EXPECT_EQ(CStepwise().FormatVNoThrow(format, ListOf(slots)),
              CStringFormatter().FormatVNoThrow(format, ListOf(slots)))
        << testing::PrintToString(format);
}

bool IsPlain(const std::wstring& format, const CSlots& slots) {
    return PrintPlainMessage(format, ListOf(slots)).has_value();
}

const CSlots Values{SlotOf(L"name"), 0xFFFFFFFF00000000u + 5, 0x80000000u, SlotOf(L""), 0x123456789u, 0};
} // namespace

TEST(PlainMessage, UsualMessagesGoTheShortWay) {
    for (const wchar_t* const format : {L"", L"plain", L"100% plain }", L"'{0:%s}'", L"{0:%s}{1:%d}", L"{1:%x} {0:%s}.",
                                        L"{0:%s}, {1:%lu}, {2:%ld}, {3:%s}, {4:%X}, {5:%u}"})
        EXPECT_TRUE(IsPlain(format, Values)) << testing::PrintToString(format);
}

TEST(PlainMessage, BothWaysMakeTheSame) {
    for (const wchar_t* const format : {L"",
                                        L"plain",
                                        L"100% plain }",
                                        L"'{0:%s}'",
                                        L"{0:%s}{1:%d}",
                                        L"{1:%x} {0:%s}.",
                                        L"{0:%s} {1:%i} {2:%d}",
                                        L"{0:%s} {1:%u} {2:%lX}",
                                        L"{0:%s}, {1:%lu}, {2:%ld}, {3:%s}, {4:%X}, {5:%u}",
                                        L"{0:%s}\\{1:%d}",
                                        L"\\{0:%s}",
                                        L"{0:%s",
                                        L"{0:",
                                        L"{",
                                        L"{a} {0:%s}",
                                        L"{1x{0:%s}",
                                        L"{0:%s}{0:%s}",
                                        L"{1:%d}",
                                        L"{0:%s}{2:%d}",
                                        L"{00:%s}",
                                        L"{0:(%s)}",
                                        L"{0:%8s}|{1:%-6d}|{2:%08x}",
                                        L"{0:%hs}",
                                        L"{0:%ls}",
                                        L"{0:%S}",
                                        L"{0:%q}",
                                        L"{0:%}",
                                        L"{0:s}",
                                        L"{0:}",
                                        L"{:%s}",
                                        L"{0:%s}{1:%I64x}",
                                        L"{5:%s}{4:%d}{3:%s}{2:%d}{1:%d}{0:%s}",
                                        L"{0:%l}",
                                        L"{0:%%}"})
        ExpectTheSame(format, Values);
}

TEST(PlainMessage, ANumberIsReadAsThirtyTwoBits) {
    EXPECT_EQ(
        L"5 -2147483648 4294967295 ffffffff FFFFFFFF",
        CStringFormatter().Format(L"{0:%d} {1:%ld} {2:%u} {3:%x} {4:%lX}", 0x100000005LL, 0x80000000u, -1, -1, -1));
}

TEST(PlainMessage, ATextOfAnyLengthIsCutWhereTheStepsCutIt) {
    for (const std::size_t length : {1999u, 2000u, 2001u, 4094u, 4095u, 4096u, 10000u}) {
        const std::wstring text(length, L'x');
        ExpectTheSame(L"{0:%s}", {SlotOf(text.c_str())});
        ExpectTheSame(text + L"{0:%s}" + text, {SlotOf(text.c_str())});
    }
}

TEST(PlainMessage, ATextThatCannotBeReadIsRefusedAsEver) {
    const CSlots slots{1};
    EXPECT_FALSE(IsPlain(L"{0:%s}", slots));
    ExpectTheSame(L"{0:%s}", slots);
    EXPECT_THROW(CStringFormatter().FormatV(L"{0:%s}", ListOf(slots)), CIntlHelperException);
    ExpectTheSame(L"{0:%s}", {0});
}

TEST(PlainMessage, ASubclassGoesThroughItsSteps) {
    class CCounting : public CStringFormatter {
    public:
        int steps = 0;

    protected:
        void ParseFormat(std::wstring format, ParseRecord& record) override {
            ++steps;
            CStringFormatter::ParseFormat(std::move(format), record);
        }
        void FormatInserts(va_list args, ParseRecord& record) override {
            ++steps;
            CStringFormatter::FormatInserts(args, record);
        }
        std::wstring BuildResult(const ParseRecord& record) override {
            ++steps;
            return CStringFormatter::BuildResult(record);
        }
    } counting;
    EXPECT_EQ(L"a 1", counting.FormatNoThrow(L"{0:%s} {1:%d}", L"a", 1));
    EXPECT_EQ(3, counting.steps);
}

TEST(PlainMessage, RandomFormatsMakeTheSameBothWays) {
    const wchar_t* const pieces[] = {L"{",      L"}",       L"{0:", L"{1:", L"{2:", L"%s}",   L"%d}",
                                     L"%lu}",   L"%X}",     L"\\",  L":",   L"%",   L"text ", L"{0:%s}",
                                     L"{1:%d}", L"{2:%lx}", L"1",   L"l",   L"(",   L"%5d}"};
    std::mt19937 random(20240517);
    for (int round = 0; round < 20'000; ++round) {
        std::wstring format;
        for (unsigned count = random() % 8; count > 0; --count)
            format += pieces[random() % std::size(pieces)];
        // Every argument is a text, so that each may be printed as one.
        ExpectTheSame(format, {SlotOf(L"first"), SlotOf(L"second"), SlotOf(L"third")});
        if (HasFailure())
            break;
    }
}

TEST(PlainMessage, AMessageTakesOneBlockOfMemory) {
    const CSlots slots{SlotOf(L"notepad-save.vbs"), 12};
    const CAllocationCount count;
    const std::wstring text = FormatMessageText(L"Running script '{0:%s}', line {1:%lu}", ListOf(slots));
    EXPECT_EQ(1u, count.Get());
    EXPECT_EQ(L"Running script 'notepad-save.vbs', line 12", text);
}
