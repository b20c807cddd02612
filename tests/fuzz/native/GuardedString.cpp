// Natively a sanitizer watches what is read; a string that is not there ends the fuzzer, which never passes one.

#include "IntlHelper/format/GuardedString.h"

namespace {
template <class Character> std::ptrdiff_t Length(const Character* text, std::size_t limit) {
    std::size_t length = 0;
    while (length < limit && text[length] != 0)
        ++length;
    return static_cast<std::ptrdiff_t>(length);
}
} // namespace

std::ptrdiff_t GuardedLength(const wchar_t* text, std::size_t limit) noexcept {
    return Length(text, limit);
}

std::ptrdiff_t GuardedLength(const char* text, std::size_t limit) noexcept {
    return Length(text, limit);
}
