// The build machine's runtime in the place of Windows'.

#include "IntlHelper/format/FloatText.h"

#include <cfloat>
#include <cwchar>
#include <iterator>

std::wstring PrintFloatDigits(double value, std::optional<std::size_t> precision, bool isAlternate,
                              wchar_t conversion) {
    std::wstring format = isAlternate ? L"%#" : L"%";
    if (precision)
        format += L'.' + std::to_wstring(*precision);
    format += conversion;
    wchar_t buffer[DBL_MAX_10_EXP + LongestFloatPrecision + 32];
    return std::swprintf(buffer, std::size(buffer), format.c_str(), value) < 0 ? std::wstring() : buffer;
}
