#include "Duration.h"

#include "ExitCode.h"

#include <algorithm>

std::chrono::seconds DurationFromText(const std::wstring& text) {
    constexpr long long Year = 366LL * 24 * 60 * 60;
    constexpr std::size_t MostDigits = 8;
    const std::wstring digits = text.substr(0, text.empty() ? 0 : text.size() - 1);
    const bool number = !digits.empty() && digits.size() <= MostDigits &&
                        std::all_of(digits.begin(), digits.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    long long unit = 0;
    switch (text.empty() ? L'\0' : text.back()) {
    case L's':
        unit = 1;
        break;
    case L'm':
        unit = 60;
        break;
    case L'h':
        unit = 60LL * 60;
        break;
    case L'd':
        unit = 24LL * 60 * 60;
        break;
    default:
        break;
    }
    const long long seconds = number ? std::stoll(digits) * unit : 0;
    if (seconds <= 0 || seconds > Year)
        throw CCommandError(ExitCode::BadInput,
                            L"'" + text + L"' is no length of time; write it as 90s, 15m, 2h or 2d, up to a year.");
    return std::chrono::seconds(seconds);
}
