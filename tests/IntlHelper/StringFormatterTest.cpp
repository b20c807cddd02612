// Proves messages with numbered inserts: IntlHelper/format/StringFormatter, InsertFormat.

#include "IntlHelper/format/StringFormatter.h"
#include "IntlHelper/format/ZeroArguments.h"
#include "StackUse.h"
#include "base/Exceptions.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>

namespace {
CStringFormatter g_formatter;

constexpr const wchar_t* Empty = L"Got empty text for insert number";
constexpr const wchar_t* Repeated = L"Argument indexes may not be repeated in the format string.";
constexpr const wchar_t* Invalid = L"Invalid insert format";
constexpr const wchar_t* SizeRefused = L"Size specifiers not supported with c, C, s or S";

/// The message of the exception that the format raises, with its code behind it.
template <class... Args> std::wstring Refusal(const wchar_t* format, Args... args) {
    try {
        return L"accepted: " + g_formatter.Format(format, args...);
    } catch (const CIntlHelperException& refusal) {
        return refusal.GetMessageText() + L"/" + std::to_wstring(refusal.GetErrorCode());
    }
}
} // namespace

TEST(Formatter, TextWithoutInsertsComesBackWithItsEscapesRemoved) {
    const struct {
        const wchar_t* format;
        const wchar_t* text;
    } cases[] = {
        {L"", L""},
        {L"plain", L"plain"},
        {L"a}b", L"a}b"},
        {L"\\{0:%d\\}", L"{0:%d}"},
        {L"C:\\\\dir", L"C:\\dir"},
        {L"\\a", L"a"},
        {L"lone \\", L"lone "},
        {L"{a}", L"{a}"},
        {L"{12x", L"{12x"},
        {L"{{0:%d}", L"{{0:%d}"},
        {L"{1\\}", L"{1\\}"}, // no escape inside a number
        {L"{1x{2y", L"{1x{12y"},
        {L"{\u0661:%d}", L"{\u0661:%d}"}, // digits are 0 to 9 only
        {L"open {0", L"open "},
        {L"open {0:%d", L"open "},
        {L"open {", L"open "},
    };
    for (const auto& c : cases)
        EXPECT_EQ(g_formatter.Format(c.format), c.text) << c.format;
}

TEST(Formatter, InsertsTakeTheArgumentsInTheOrderOfTheirNumbers) {
    EXPECT_EQ(g_formatter.Format(L"{1:%s} before {0:%d}", 5, L"x"), L"x before 5");
    EXPECT_EQ(g_formatter.Format(L"{2:%d}{0:%d}{1:%d}", 1, 2, 3), L"312");
    EXPECT_EQ(g_formatter.Format(L"{00:%d}", 7), L"7");
}

TEST(Formatter, EachConversionReadsWhatItSays) {
    EXPECT_EQ(g_formatter.Format(L"{0:%d}", -5), L"-5");
    EXPECT_EQ(g_formatter.Format(L"{0:%i}", 5), L"5");
    EXPECT_EQ(g_formatter.Format(L"{0:%i} {1:%3i}", -5, -5), L"-5  -5");
    EXPECT_EQ(g_formatter.Format(L"{0:%o}", 8), L"10");
    EXPECT_EQ(g_formatter.Format(L"{0:%u}", 4000000000U), L"4000000000");
    EXPECT_EQ(g_formatter.Format(L"{0:%08X}", 0xbeefU), L"0000BEEF");
    EXPECT_EQ(g_formatter.Format(L"{0:%#x}", 0x80004005U), L"0x80004005");
    EXPECT_EQ(g_formatter.Format(L"{0:%-5d}|", 7), L"7    |");
    EXPECT_EQ(g_formatter.Format(L"{0:%+d}", 7), L"+7");
    EXPECT_EQ(g_formatter.Format(L"{0:%.2f} {1:%d}", 2.5, 1), L"2.50 1");
    EXPECT_EQ(g_formatter.Format(L"{0:%g}", 0.25), L"0.25");
    EXPECT_EQ(g_formatter.Format(L"{0:%.1E}", 1500.0), L"1.5E+003");
    EXPECT_EQ(g_formatter.Format(L"{0:%p}", reinterpret_cast<void*>(0x1234)), L"0000000000001234");
    EXPECT_EQ(g_formatter.Format(L"{0:%c}{1:%C}", L'\u00e9', 'y'), L"\u00e9y");
    EXPECT_EQ(g_formatter.Format(L"{0:%S} {1:%s}", "narrow", L"wide"), L"narrow wide");
    EXPECT_EQ(g_formatter.Format(L"{0:%hs} {1:%ls} {2:%lS} {3:%hS}", "n", L"w", L"w", "n"), L"n w w n");
    EXPECT_EQ(g_formatter.Format(L"{0:%10.3s}|", L"abcdef"), L"       abc|");
    EXPECT_EQ(g_formatter.Format(L"{0:%s}", static_cast<const wchar_t*>(nullptr)), L"(null)");
}

TEST(Formatter, TheSizePrefixDecidesHowManyBitsAreRead) {
    constexpr std::int64_t Wide = 0x123456789;
    EXPECT_EQ(g_formatter.Format(L"{0:%I64x}", Wide), L"123456789");
    EXPECT_EQ(g_formatter.Format(L"{0:%x}", Wide), L"23456789");
    EXPECT_EQ(g_formatter.Format(L"{0:%lx}", Wide), L"23456789");
    EXPECT_EQ(g_formatter.Format(L"{0:%hd}", std::int64_t{0x1fff0}), L"-16");
    EXPECT_EQ(g_formatter.Format(L"{0:%hi}", std::int64_t{0x1fff0}), L"-16");
    EXPECT_EQ(g_formatter.Format(L"{0:%hu}", std::int64_t{0x1fff0}), L"65520");
    // kept: these prefixes read 32 bits, which are widened for the print call.
    EXPECT_EQ(g_formatter.Format(L"{0:%llx}", Wide), L"23456789");
    EXPECT_EQ(g_formatter.Format(L"{0:%Ix}", Wide), L"23456789");
    EXPECT_EQ(g_formatter.Format(L"{0:%I32x}", Wide), L"23456789");
    EXPECT_EQ(g_formatter.Format(L"{0:%lld} {1:%lld}", std::int64_t{0x1ffffffff}, -2), L"-1 -2");
    EXPECT_EQ(g_formatter.Format(L"{0:%llu}", -1), L"4294967295");
    EXPECT_EQ(g_formatter.Format(L"{0:%I64d}", std::int64_t{-9000000000}), L"-9000000000");
}

TEST(Formatter, EveryIntegerConversionReadsEverySize) {
    constexpr std::int64_t Value = -0x123456789ABCDEF0; // 0xEDCBA98765432110
    const struct {
        const wchar_t* conversion;
        const wchar_t* texts[4]; ///< 32 bits, the same with "l", 16 bits, 64 bits
    } cases[] = {
        {L"d", {L"1698898192", L"1698898192", L"8464", L"-1311768467463790320"}},
        {L"i", {L"1698898192", L"1698898192", L"8464", L"-1311768467463790320"}},
        {L"o", {L"14520620420", L"14520620420", L"20420", L"1667135230354520620420"}},
        {L"u", {L"1698898192", L"1698898192", L"8464", L"17134975606245761296"}},
        {L"x", {L"65432110", L"65432110", L"2110", L"edcba98765432110"}},
        {L"X", {L"65432110", L"65432110", L"2110", L"EDCBA98765432110"}},
    };
    constexpr const wchar_t* Prefixes[] = {L"", L"l", L"h", L"I64"};
    for (const auto& c : cases)
        for (int size = 0; size < 4; ++size) {
            const std::wstring format = std::wstring(L"{0:%") + Prefixes[size] + c.conversion + L"}";
            EXPECT_EQ(g_formatter.Format(format, Value), c.texts[size]) << format;
        }
}

TEST(Formatter, AFloatingValueAndAPointerTakeAnyPrefix) {
    EXPECT_EQ(g_formatter.Format(L"{0:%e}", 1500.0), L"1.500000e+003");
    EXPECT_EQ(g_formatter.Format(L"{0:%G}", 1e-10), L"1E-010");
    EXPECT_EQ(g_formatter.Format(L"{0:%lf} {1:%hf}", 0.5, 0.25), L"0.500000 0.250000");
    EXPECT_EQ(g_formatter.Format(L"{0:%lp}", reinterpret_cast<void*>(0x1234)), L"0000000000001234");
}

TEST(Formatter, ANarrowCharacterIsEightBitsOfItsSlot) {
    EXPECT_EQ(g_formatter.Format(L"{0:%C}{1:%c}", 0x1FF41, 0x120AC), L"A\u20ac");
}

TEST(Formatter, ASpecificationWithoutADirectivePassesItsArgumentOver) {
    EXPECT_EQ(g_formatter.Format(L"{0:void} {1:%d}", 5, 6), L"void 6");
    EXPECT_EQ(g_formatter.Format(L"{0:100%% red} {1:%d}", 5, 6), L"100% red 6");
    // Two characters are too few, four too few for "I64", to hold a size prefix.
    EXPECT_EQ(g_formatter.Format(L"{0:hc}{1:I64c}{2:c} {3:%d}", 5, 6, 7, 8), L"hcI64cc 8");
}

TEST(Formatter, LiteralTextAroundTheConversionIsKept) {
    EXPECT_EQ(g_formatter.Format(L"{0:(%d)}", 5), L"(5)");
    EXPECT_EQ(g_formatter.Format(L"{0:x=%d}", 5), L"x=5");
    EXPECT_EQ(g_formatter.Format(L"{0:%d:{}", 5), L"5:{");
    EXPECT_EQ(g_formatter.Format(L"{0:%d hc, 100%%}", 5), L"5 hc, 100%");
    EXPECT_EQ(g_formatter.Format(L"{0:100%% of %d}", 5), L"100% of 5");
}

TEST(Formatter, AnInsertIsCutAt4095Characters) {
    const std::wstring longText(5000, L'a');
    EXPECT_EQ(g_formatter.Format(L"{0:%s}|", longText.c_str()), std::wstring(4095, L'a') + L"|");
    EXPECT_EQ(g_formatter.Format(L"<{0:%s}|", (longText + L"b").c_str()), L"<" + std::wstring(4095, L'a') + L"|");
    EXPECT_EQ(g_formatter.Format(L"{0:%6000d}|", 1).size(), 4096u);
}

TEST(Formatter, AnIntegersPrecisionMayBeAnyNumber) {
    EXPECT_EQ(g_formatter.Format(L"{0:%.30d}", 5), std::wstring(29, L'0') + L"5");
    EXPECT_EQ(g_formatter.Format(L"{0:%.25I64x}", std::int64_t{0x1ff}), std::wstring(22, L'0') + L"1ff");
    EXPECT_EQ(g_formatter.Format(L"{0:%.21hd}", -3), L"-" + std::wstring(20, L'0') + L"3");
    EXPECT_EQ(g_formatter.Format(L"{0:%.4000d}", 5), std::wstring(3999, L'0') + L"5");
}

TEST(Formatter, NoFieldIsTooMuchForAnInsert) {
    EXPECT_EQ(g_formatter.Format(L"{0:%#049x}", 5), L"0x" + std::wstring(46, L'0') + L"5");
    EXPECT_EQ(g_formatter.Format(L"{0:%#0100x}", 0x80004005U), L"0x" + std::wstring(90, L'0') + L"80004005");
    EXPECT_EQ(g_formatter.Format(L"{0:%.2200000d}", -5), L"-" + std::wstring(4094, L'0'));
    EXPECT_EQ(g_formatter.Format(L"{0:%99999999999999999999d}", 5), std::wstring(4095, L' '));
    EXPECT_EQ(g_formatter.Format(L"{0:%.2200000f}", 0.5), L"0.5" + std::wstring(4092, L'0'));
    EXPECT_EQ(g_formatter.Format(L"{0:%2200000.1s}", L"x"), std::wstring(4095, L' '));
    EXPECT_EQ(g_formatter.Format(L"{0:%-2200000c}", L'x'), L"x" + std::wstring(4094, L' '));
    EXPECT_EQ(g_formatter.Format(L"{0:before %-2200000p}", nullptr).size(), 4095u);
}

TEST(Formatter, AMessageTakesNoMoreStackThanAnother) {
    std::wstring many;
    for (int i = 0; i < 20'000; ++i)
        many += L"{x {" + std::to_wstring(i) + L":%.2200000d}";
    for (const std::wstring& format : {std::wstring(L"{0:%.2200000d}"), std::wstring(L"{0:%.2200000f}"), many,
                                       L"{0:" + std::wstring(200'000, L'%') + L"d}", std::wstring(200'000, L'{')})
        EXPECT_LE(StackUse([&] {
                      CZeroArguments zeros(format);
                      g_formatter.FormatVNoThrow(format, zeros.GetList());
                  }),
                  40'000u);
}

TEST(Formatter, ZeroArgumentsServeEveryInsertOfAFormat) {
    std::wstring format;
    for (int i = 0; i < 100'000; ++i)
        format += L'{' + std::to_wstring(i) + L":%d}";
    CZeroArguments zeros(format);
    EXPECT_EQ(g_formatter.FormatV(format, zeros.GetList()), std::wstring(100'000, L'0'));

    const std::wstring each = L"{0:%d}|{1:%I64x}|{2:%s}|{3:%S}|{4:%g}|{5:%p}|{6:%c}";
    CZeroArguments more(each);
    EXPECT_EQ(g_formatter.FormatV(each, more.GetList()),
              L"0|0|(null)|(null)|0|0000000000000000|" + std::wstring(1, L'\0'));
}

TEST(Formatter, AShortMessageDoesNotTakeAllMemory) {
    std::wstring digits;
    for (int i = 0; i < 100'000; ++i)
        digits += L"{1x"; // each repeats all digits before it
    EXPECT_THROW(g_formatter.Format(digits), std::length_error);
    EXPECT_EQ(g_formatter.FormatNoThrow(digits), digits + L"***formatting error***");

    std::wstring widths;
    for (int i = 0; i < 100'000; ++i)
        widths += L'{' + std::to_wstring(i) + L":%4095d}";
    CZeroArguments zeros(widths);
    EXPECT_EQ(g_formatter.FormatVNoThrow(widths, zeros.GetList()), widths + L"***formatting error***");
}

TEST(Formatter, ABadFormatIsRefusedWithItsMessageAndCode) {
    const struct {
        const wchar_t* format;
        const wchar_t* message;
    } cases[] = {
        {L"{:%d}", Empty},
        {L"{0:%d}{0:%d}", Repeated},
        {L"{0:%hc}", SizeRefused},
        {L"{0:%lC}", SizeRefused},
        {L"{0:%I64c}", SizeRefused},
        {L"{0:ahc}", SizeRefused}, // also where nothing prints the argument
        {L"{0:lC lC}", SizeRefused},
        {L"{0:aI64c}", SizeRefused},
        {L"{0:%%hc}", SizeRefused},
        {L"{0:%q}", Invalid},
        {L"{0:%n}", Invalid},
        {L"{0:%d%n}", Invalid},
        {L"{0:}", Invalid},
        {L"{0:%}", Invalid},
        {L"{0:%5}", Invalid},
        {L"{0:text}", Invalid},
        {L"{0:%.*d}", Invalid},
        {L"{0:d%%}", Invalid},
        {L"{0:%y d}", Invalid},
        {L"{0:%d}{2:%d}", Invalid},
        {L"{1:%d}", Invalid},
        {L"{1x{0:%d}", Invalid}, // kept: the second insert's number is 10
        {L"{0:%d %d}", Invalid},
        {L"{0:%*d}", Invalid},
        {L"{99999999999:%d}", Invalid},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Refusal(c.format, 1, 2, 3), std::wstring(c.message) + L"/8") << c.format;
        EXPECT_EQ(g_formatter.FormatNoThrow(c.format, 1, 2, 3), std::wstring(c.format) + L"***formatting error***");
    }
}

TEST(Formatter, ACharactersPrefixIsRefusedWhateverStandsBeforeIt) {
    for (const wchar_t* format : {L"{0:%hhc}", L"{0:%hhC}", L"{0:%llc}", L"{0:%-5.2I64c}"})
        EXPECT_EQ(Refusal(format, 1), std::wstring(SizeRefused) + L"/8") << format;
}

TEST(Formatter, APrefixOnAStringIsNotRefused) {
    EXPECT_EQ(g_formatter.FormatNoThrow(L"{0:%hs}", "x"), L"x");
}

TEST(Formatter, DigitsOfWhatWasNoInsertStayInFrontOfTheNextNumber) {
    EXPECT_EQ(g_formatter.FormatNoThrow(L"{x{0:%d}", 4), L"{x4");
    EXPECT_EQ(Refusal(L"{1x{0:%d}", 4), std::wstring(Invalid) + L"/8");
    // The digits go with the insert that has used them.
    EXPECT_EQ(g_formatter.Format(L"{0x{:%d} {1:%d}", 4, 5), L"{0x4 5");
}

TEST(Formatter, OneStepCanBeReplaced) {
    class CShouting : public CStringFormatter {
    protected:
        std::wstring BuildResult(const ParseRecord& record) override {
            EXPECT_EQ(record.highest, 0);
            EXPECT_EQ(record.order, std::list<int>{0});
            EXPECT_EQ(record.segments, (std::list<std::wstring>{L"a", L"b"}));
            EXPECT_EQ(record.inserts.at(0), L"5");
            return CStringFormatter::BuildResult(record) + L"!";
        }
    } shouting;
    EXPECT_EQ(shouting.Format(L"a{0:%d}b", 5), L"a5b!");
}

TEST(Formatter, TheGlobalFormatterIsOne) {
    EXPECT_EQ(&GlobalFormatter(), &GlobalFormatter());
    EXPECT_EQ(GlobalFormatter().Format(L"{0:%d}", 1), L"1");
}
