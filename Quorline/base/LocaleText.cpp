#include "base/LocaleText.h"

#include <climits>
#include <cwchar>

std::wstring WidenText(std::string_view text) {
    std::wstring result;
    std::mbstate_t state{};
    for (std::size_t i = 0; i < text.size();) {
        wchar_t wide = L'?';
        const std::size_t used = std::mbrtowc(&wide, text.data() + i, text.size() - i, &state);
        const bool good = used != 0 && used <= text.size() - i;
        if (!good)
            state = {};
        result += good ? wide : (used == 0 ? L'\0' : L'?');
        i += good ? used : 1;
    }
    return result;
}

std::string NarrowText(std::wstring_view text) {
    std::string result;
    for (const wchar_t wide : text) {
        char bytes[MB_LEN_MAX];
        std::mbstate_t state{};
        const std::size_t used = std::wcrtomb(bytes, wide, &state);
        if (used == static_cast<std::size_t>(-1))
            result += '?';
        else
            result.append(bytes, used);
    }
    return result;
}
