// Proves the printing of one directive, against the runtime's own: IntlHelper/format/PrintfDirective, FloatText.

#include "IntlHelper/format/PrintfDirective.h"

#include "StackUse.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {
/// What the runtime's print call makes of "%" and the directive.
template <class Argument> std::wstring Runtime(const std::wstring& directive, Argument argument) {
    wchar_t buffer[4096];
    const int length = _snwprintf_s(buffer, std::size(buffer), _TRUNCATE, (L'%' + directive).c_str(), argument);
    return {buffer, static_cast<std::size_t>(length)};
}

/// All combinations of flags with some widths and precisions, "-#8.3" and so on: those that the runtime can hold.
std::vector<std::wstring> Fields(std::wstring_view flags) {
    std::vector<std::wstring> result;
    for (unsigned set = 0; set < 1u << flags.size(); ++set) {
        std::wstring chosen;
        for (std::size_t i = 0; i < flags.size(); ++i)
            if (set >> i & 1)
                chosen += flags[i];
        for (const wchar_t* width : {L"", L"1", L"8", L"15"})
            for (const wchar_t* precision : {L"", L".0", L".", L".3", L".12"})
                result.push_back(chosen + width + precision);
    }
    return result;
}

bool HasPrecision(const std::wstring& field) {
    return field.find(L'.') != std::wstring::npos;
}

std::wstring PrintNumber(const std::wstring& directive, std::int64_t number) {
    return CPrintfDirective(directive).PrintInteger(static_cast<std::uint64_t>(number));
}
} // namespace

TEST(PrintfDirective, ItsPartsAreFound) {
    const std::wstring text = L"-+ 0#12.34I64x rest";
    const CPrintfDirective all(text);
    EXPECT_EQ(all.GetLength(), std::size_t{14});
    EXPECT_EQ(all.GetConversion(), L'x');
    EXPECT_EQ(all.GetSize(), L"I64");
    EXPECT_EQ(all.GetPrecision(), 34u);
    EXPECT_FALSE(all.TakesFields());

    EXPECT_EQ(CPrintfDirective(L"d").GetLength(), 1u);
    EXPECT_EQ(CPrintfDirective(L"d").GetPrecision(), std::nullopt);
    EXPECT_EQ(CPrintfDirective(L".d").GetPrecision(), 0u);
    EXPECT_EQ(CPrintfDirective(L"lld").GetSize(), L"ll");
    EXPECT_EQ(CPrintfDirective(L"hI32d").GetSize(), L"hI32");
    EXPECT_EQ(CPrintfDirective(L"!d").GetConversion(), L'!');
    EXPECT_EQ(CPrintfDirective(L"99999999999999999999d").GetLength(), 21u);
    for (const wchar_t* unfinished : {L"", L"-", L"5", L"5.", L".5", L"I64"}) {
        EXPECT_EQ(CPrintfDirective(unfinished).GetConversion(), L'\0') << unfinished;
        EXPECT_EQ(CPrintfDirective(unfinished).GetLength(), std::wcslen(unfinished)) << unfinished;
    }
    for (const wchar_t* starred : {L"*d", L".*d", L"*.*d", L"-*.3d"})
        EXPECT_TRUE(CPrintfDirective(starred).TakesFields()) << starred;
}

TEST(PrintfDirective, IntegersLookAsTheRuntimePrintsThem) {
    constexpr std::int64_t Numbers[] = {
        0, 1, -1, 42, -98765, std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()};
    for (const std::wstring& field : Fields(L"-+ 0#"))
        for (const wchar_t conversion : std::wstring_view(L"diouxX"))
            for (const std::int64_t number : Numbers) {
                const std::wstring directive = field + conversion;
                // Here the runtime follows neither its documentation nor the C standard.
                const bool isZeroFilled = field.find(L'0') != std::wstring::npos && HasPrecision(field);
                const bool isOctalZero = conversion == L'o' && number == 0 && field.find(L'#') != std::wstring::npos;
                if (isZeroFilled || isOctalZero)
                    continue;
                EXPECT_EQ(PrintNumber(directive, number), Runtime(field + L"I64" + conversion, number))
                    << directive << L" " << number;
            }
}

TEST(PrintfDirective, WithAPrecisionTheFieldIsFilledWithBlanks) {
    EXPECT_EQ(PrintNumber(L"08.3d", -42), L"    -042");
    EXPECT_EQ(PrintNumber(L"#010.4x", 42), L"    0x002a");
}

TEST(PrintfDirective, AnOctalNumberInItsOtherFormBeginsWithAZero) {
    EXPECT_EQ(PrintNumber(L"#o", 0), L"0");
    EXPECT_EQ(PrintNumber(L"#.0o", 0), L"0");
    EXPECT_EQ(PrintNumber(L"#.3o", 0), L"000");
}

TEST(PrintfDirective, FloatingValuesLookAsTheRuntimePrintsThem) {
    constexpr double Infinity = std::numeric_limits<double>::infinity();
    constexpr double Values[] = {0.0, -0.0, 1.5, -2.25, 1e300, 5e-324, 0.1, 123456., 1e15, -9.9999};
    const auto compare = [&] {
        for (const std::wstring& field : Fields(L"-+ 0#"))
            for (const wchar_t conversion : std::wstring_view(L"eEfgG"))
                for (const double value : Values)
                    EXPECT_EQ(CPrintfDirective(field + conversion).PrintFloat(value),
                              Runtime(field + conversion, value))
                        << field + conversion << L" " << value;
        // Of these the runtime pads the middle; without a width they compare.
        for (const wchar_t* field : {L"", L"+", L" ", L"#", L".1", L".3", L".12", L"+.20"})
            for (const wchar_t conversion : std::wstring_view(L"eEfgGaA"))
                for (const double value : {1.5, -0.1, Infinity, -Infinity, std::numeric_limits<double>::quiet_NaN()})
                    EXPECT_EQ(CPrintfDirective(std::wstring(field) + conversion).PrintFloat(value),
                              Runtime(std::wstring(field) + conversion, value))
                        << std::wstring(field) + conversion << L" " << value;
    };
    compare();
    ASSERT_NE(setlocale(LC_ALL, "German_Germany.1252"), nullptr);
    compare();
    EXPECT_EQ(CPrintfDirective(L"8.2f").PrintFloat(1.5), L"    1,50");
    setlocale(LC_ALL, "C");
}

TEST(PrintfDirective, TextAndPointersLookAsTheRuntimePrintsThem) {
    for (const std::wstring& field : Fields(L"-+ 0#")) {
        for (const wchar_t* text :
             {L"", L"a", L"\u65e5\u672c text", L"longer than most fields are wide, and then some"})
            EXPECT_EQ(CPrintfDirective(field + L's').PrintString(text), Runtime(field + L's', text)) << field;
        if (HasPrecision(field))
            continue;
        for (const wchar_t character : {L'x', L'\u20ac', L'\0'})
            EXPECT_EQ(CPrintfDirective(field + L'c').PrintCharacter(character), Runtime(field + L'c', character));
        for (const std::uintptr_t address : {std::uintptr_t{0}, std::uintptr_t{0x1234}, ~std::uintptr_t{0}}) {
            auto* const pointer = reinterpret_cast<void*>(address);
            EXPECT_EQ(CPrintfDirective(field + L'p').PrintPointer(pointer), Runtime(field + L'p', pointer)) << field;
        }
    }
    // No precision cuts what has only one length.
    EXPECT_EQ(CPrintfDirective(L"3.0c").PrintCharacter(L'x'), L"  x");
    EXPECT_EQ(CPrintfDirective(L".5p").PrintPointer(nullptr), L"0000000000000000");
}

TEST(PrintfDirective, NothingIsLongerThan4095Characters) {
    const std::wstring fields[] = {L"#0100",     L"#049",     L".2200000",      L"#0999999999", L"99999999999999999999",
                                   L"-99999999", L".9999999", L"2147483648.99", L"5000.4999",   L".4095"};
    for (const std::wstring& field : fields) {
        for (const wchar_t conversion : std::wstring_view(L"diouxX"))
            EXPECT_LE(PrintNumber(field + conversion, -1).size(), 4095u) << field + conversion;
        for (const wchar_t conversion : std::wstring_view(L"eEfgGaA"))
            for (const double value : {0.0, -1e308, 5e-324, std::numeric_limits<double>::quiet_NaN()})
                EXPECT_LE(CPrintfDirective(field + conversion).PrintFloat(value).size(), 4095u) << field + conversion;
        EXPECT_LE(CPrintfDirective(field + L's').PrintString(std::wstring(5000, L's')).size(), 4095u) << field;
        EXPECT_LE(CPrintfDirective(field + L'c').PrintCharacter(L'c').size(), 4095u) << field;
        EXPECT_LE(CPrintfDirective(field + L'p').PrintPointer(nullptr).size(), 4095u) << field;
    }
}

TEST(PrintfDirective, WhatIsCutIsTheEnd) {
    const std::wstring blanks(4095, L' ');
    EXPECT_EQ(PrintNumber(L"4095d", 7), blanks.substr(1) + L'7');
    EXPECT_EQ(PrintNumber(L"4096d", 7), blanks);
    EXPECT_EQ(PrintNumber(L"99999999999999d", 7), blanks);
    EXPECT_EQ(PrintNumber(L"-99999999999999d", 7), L'7' + blanks.substr(1));
    EXPECT_EQ(PrintNumber(L"#099999999999999x", 7), L"0x" + std::wstring(4093, L'0'));
    EXPECT_EQ(PrintNumber(L"5010.5000d", -7), blanks.substr(0, 9) + L'-' + std::wstring(4085, L'0'));
    EXPECT_EQ(CPrintfDirective(L"5010s").PrintString(std::wstring(5000, L's')),
              blanks.substr(0, 10) + std::wstring(4085, L's'));
    EXPECT_EQ(CPrintfDirective(L".9999f").PrintFloat(0.5), L"0.5" + std::wstring(4092, L'0'));
    // 309 digits, the point and 4095 more fill the field.
    EXPECT_EQ(CPrintfDirective(L"4405.4095f").PrintFloat(std::numeric_limits<double>::max()).front(), L'1');
    EXPECT_EQ(CPrintfDirective(L"4406.4095f").PrintFloat(std::numeric_limits<double>::max()).front(), L' ');
}

TEST(PrintfDirective, TheStackThatItTakesIsFixed) {
    constexpr std::size_t Enough = 40'000;
    EXPECT_LE(StackUse([] { PrintNumber(L"#0100x", 1); }), Enough);
    EXPECT_LE(StackUse([] { PrintNumber(L"99999999.99999999d", 1); }), Enough);
    EXPECT_LE(StackUse([] { CPrintfDirective(L"99999999.99999999f").PrintFloat(1e308); }), Enough);
    EXPECT_LE(StackUse([] { CPrintfDirective(L"99999999.99999999s").PrintString(L"x"); }), Enough);
}
