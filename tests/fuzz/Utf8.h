#pragma once

// UTF-8 to UTF-16 code units, whatever wchar_t is wide, for what is built without Windows.

#include <cstdint>
#include <string>
#include <string_view>

/// Bytes that are no UTF-8 become U+FFFD.
inline std::wstring WidenUtf8(std::string_view text) {
    std::wstring wide;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<std::uint8_t>(text[i++]);
        const int more =
            lead < 0x80 ? 0 : (lead < 0xC0 || lead >= 0xF8 ? -1 : (lead < 0xE0 ? 1 : (lead < 0xF0 ? 2 : 3)));
        std::uint32_t c = more <= 0 ? lead : lead & (0x3Fu >> more);
        bool good = more >= 0;
        for (int k = 0; k < more && good; ++k) {
            good = i < text.size() && (static_cast<std::uint8_t>(text[i]) & 0xC0) == 0x80;
            if (good)
                c = c << 6 | (static_cast<std::uint8_t>(text[i++]) & 0x3F);
        }
        if (!good || c > 0x10FFFF)
            c = 0xFFFD;
        if (c >= 0x10000)
            wide += static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
        wide += static_cast<wchar_t>(c >= 0x10000 ? 0xDC00 + (c & 0x3FF) : c);
    }
    return wide;
}
