#include "IntlHelper/format/FloatText.h"

#include <cfloat>
#include <cstdio>
#include <iterator>

std::wstring PrintFloatDigits(double value, std::optional<std::size_t> precision, bool isAlternate,
                              wchar_t conversion) {
    std::wstring format = isAlternate ? L"%#" : L"%";
    if (precision)
        format += L'.' + std::to_wstring(*precision);
    format += conversion;
    // Room for the largest value in front of the decimal point, and for the longest precision behind it.
    wchar_t buffer[DBL_MAX_10_EXP + LongestFloatPrecision + 16];
    const int length = _snwprintf_s(buffer, std::size(buffer), _TRUNCATE, format.c_str(), value);
    return length < 0 ? std::wstring(buffer) : std::wstring(buffer, static_cast<std::size_t>(length));
}
