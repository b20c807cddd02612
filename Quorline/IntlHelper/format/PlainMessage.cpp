#include "IntlHelper/format/PlainMessage.h"

#include "IntlHelper/format/GuardedString.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace {
constexpr std::size_t LongestText = 2000; // characters; longer ones are rare, and pay for the containers gladly
constexpr std::size_t MostInserts = 10;   // numbers of one digit

enum class Kind { String, Signed, Unsigned, LowerHex, UpperHex };

/// The kind of a specification that is nothing but a directive without flags and fields.
std::optional<Kind> KindOf(std::wstring_view specification) {
    if (!specification.starts_with(L'%'))
        return std::nullopt;
    specification.remove_prefix(1);
    if (specification.size() == 2 && specification.front() == L'l' && specification.back() != L's')
        specification.remove_prefix(1); // a long has the size of an int
    if (specification.size() != 1)
        return std::nullopt;
    switch (specification.front()) {
    case L's':
        return Kind::String;
    case L'd':
    case L'i':
        return Kind::Signed;
    case L'u':
        return Kind::Unsigned;
    case L'x':
        return Kind::LowerHex;
    case L'X':
        return Kind::UpperHex;
    default:
        return std::nullopt;
    }
}

/// Where the next insert begins, and what it says.
struct CInsert {
    std::size_t begin; ///< of its brace
    std::size_t end;   ///< behind the other one
    unsigned number;
    Kind kind;
};

/// Only a brace that begins an insert of one digit is plain.
std::optional<CInsert> ReadInsert(std::wstring_view format, std::size_t begin) {
    const std::size_t end = format.find(L'}', begin);
    if (end == std::wstring_view::npos || end < begin + 5 || format[begin + 2] != L':' || format[begin + 1] < L'0' ||
        format[begin + 1] > L'9')
        return std::nullopt;
    const auto kind = KindOf(format.substr(begin + 3, end - begin - 3));
    if (!kind)
        return std::nullopt;
    return CInsert{begin, end + 1, static_cast<unsigned>(format[begin + 1] - L'0'), *kind};
}

/// The text that is being made.
class CLine {
public:
    bool Append(std::wstring_view text) {
        if (text.size() > LongestText - m_length)
            return false;
        std::copy(text.begin(), text.end(), m_text.data() + m_length);
        m_length += text.size();
        return true;
    }

    bool AppendString(std::uint64_t slot) {
        const auto* text = reinterpret_cast<const wchar_t*>(static_cast<std::uintptr_t>(slot));
        // One character more than there is room for tells of a text that is too long.
        const std::ptrdiff_t length = text ? GuardedLength(text, LongestText - m_length + 1) : -1;
        return length >= 0 && Append({text, static_cast<std::size_t>(length)});
    }

    bool AppendNumber(Kind kind, std::uint64_t slot) {
        std::array<wchar_t, 12> digits; // of 32 bits in base 10, with a sign
        wchar_t* begin = digits.data() + digits.size();
        auto value = static_cast<std::uint32_t>(slot);
        const bool isNegative = kind == Kind::Signed && static_cast<std::int32_t>(value) < 0;
        if (isNegative)
            value = 0 - value;
        const wchar_t* const names = kind == Kind::UpperHex ? L"0123456789ABCDEF" : L"0123456789abcdef";
        const std::uint32_t base = kind == Kind::LowerHex || kind == Kind::UpperHex ? 16 : 10;
        do
            *--begin = names[value % base];
        while ((value /= base) != 0);
        if (isNegative)
            *--begin = L'-';
        return Append({begin, static_cast<std::size_t>(digits.data() + digits.size() - begin)});
    }

    std::wstring Get() const { return std::wstring(m_text.data(), m_length); }

private:
    std::array<wchar_t, LongestText> m_text;
    std::size_t m_length = 0;
};
} // namespace

std::optional<std::wstring> PrintPlainMessage(std::wstring_view format, va_list args) {
    std::array<CInsert, MostInserts> inserts;
    std::size_t count = 0;
    unsigned seen = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] == L'\\')
            return std::nullopt;
        if (format[i] != L'{')
            continue;
        const auto insert = ReadInsert(format, i);
        if (!insert || (seen & 1U << insert->number) != 0)
            return std::nullopt;
        seen |= 1U << insert->number;
        inserts[count++] = *insert;
        i = insert->end - 1;
    }
    // Nobody passed an argument for a number that is left out, nor for one behind it.
    if (seen != (1U << count) - 1)
        return std::nullopt;

    // On this platform an argument list is the address of its first slot.
    const auto* const slots = reinterpret_cast<const std::uint64_t*>(args);
    CLine line;
    std::size_t position = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const CInsert& insert = inserts[i];
        if (!line.Append(format.substr(position, insert.begin - position)) ||
            !(insert.kind == Kind::String ? line.AppendString(slots[insert.number])
                                          : line.AppendNumber(insert.kind, slots[insert.number])))
            return std::nullopt;
        position = insert.end;
    }
    if (!line.Append(format.substr(position)))
        return std::nullopt;
    return line.Get();
}
