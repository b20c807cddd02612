#include "base/Utf8.h"

#include <windows.h>

#include <new>
#include <utility>

namespace {
constexpr std::size_t LongestPiece = 1 << 20; // the system counts a text's bytes in an int

/// The length of the next piece; it does not end within a surrogate pair.
std::size_t PieceOf(std::wstring_view text) noexcept {
    if (text.size() <= LongestPiece)
        return text.size();
    return IS_HIGH_SURROGATE(text[LongestPiece - 1]) ? LongestPiece - 1 : LongestPiece;
}

/// What the system answers for a piece. It takes any text, so only memory can have been short; an empty answer in its
/// place would be a lost text.
std::size_t Converted(int length) {
    if (length <= 0)
        throw std::bad_alloc();
    return static_cast<std::size_t>(length);
}
} // namespace

std::string ToUtf8(std::wstring_view text) {
    std::string bytes;
    while (!text.empty()) {
        const std::wstring_view piece = text.substr(0, PieceOf(text));
        text.remove_prefix(piece.size());
        const int length = static_cast<int>(piece.size());
        const int size = WideCharToMultiByte(CP_UTF8, 0, piece.data(), length, nullptr, 0, nullptr, nullptr);
        const std::size_t end = bytes.size();
        bytes.resize(end + Converted(size));
        Converted(WideCharToMultiByte(CP_UTF8, 0, piece.data(), length, bytes.data() + end, size, nullptr, nullptr));
    }
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes) {
    std::optional<std::wstring> text = DecodeUtf8(bytes, BadUtf8::Replace);
    if (!text)
        throw std::bad_alloc();
    return *std::move(text);
}

std::optional<std::wstring> DecodeUtf8(std::string_view bytes, BadUtf8 bad) {
    if (bytes.empty())
        return std::wstring();
    const DWORD flags = bad == BadUtf8::Refuse ? MB_ERR_INVALID_CHARS : 0;
    const int size = static_cast<int>(bytes.size());
    const int length = MultiByteToWideChar(CP_UTF8, flags, bytes.data(), size, nullptr, 0);
    if (length == 0)
        return std::nullopt;
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    if (MultiByteToWideChar(CP_UTF8, flags, bytes.data(), size, text.data(), length) == 0)
        return std::nullopt;
    return text;
}
