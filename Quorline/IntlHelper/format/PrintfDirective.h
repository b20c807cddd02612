#pragma once

// One directive of a printf format, "%-8.3I64x": its parts, and what a value looks like printed by it, with Microsoft's
// meaning:
//
//     CPrintfDirective(L"-8.3x|").PrintInteger(10) gives "00a     "
//
// Directives come from scripts, window titles and file names, and no runtime's print call can be handed every width,
// precision and flag that they may hold. So digits, signs and padding are made here; only the digits of a floating
// value are the runtime's. Whatever a directive asks for, it prints at most LongestPrint characters.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class CPrintfDirective {
public:
    static constexpr std::size_t LongestPrint = 4095;

    /// Reads the directive at the beginning of `text`, from behind its '%'.
    explicit CPrintfDirective(std::wstring_view text);

    /// Characters of the text that belong to the directive.
    std::size_t GetLength() const noexcept { return m_length; }
    /// The conversion's letter, whether there is such a conversion or not; 0 when the text ends before it.
    wchar_t GetConversion() const noexcept { return m_conversion; }
    /// What the conversion prints; a conversion that one runtime knows and another does not is Other.
    enum class Kind { Integer, Float, Pointer, Character, String, Other };
    Kind GetKind() const noexcept;
    /// The size prefixes as written, "" or "h", "I64", "ll"; they live as long as the text.
    std::wstring_view GetSize() const noexcept { return m_size; }
    /// Whether a '*' takes the width or the precision from an argument. It is printed as zero.
    bool TakesFields() const noexcept { return m_takesFields; }
    std::optional<std::size_t> GetPrecision() const noexcept { return m_precision; }

    /// d, i, u, o, x, X, of a value that was widened to 64 bits; d and i take the bits for a signed number.
    std::wstring PrintInteger(std::uint64_t bits) const;
    /// e, E, f, g, G, a, A, with the current locale's decimal point.
    std::wstring PrintFloat(double value) const;
    std::wstring PrintPointer(const void* value) const;
    /// Cut at the precision.
    std::wstring PrintString(std::wstring_view text) const;
    /// Like a string of one character, which no precision cuts.
    std::wstring PrintCharacter(wchar_t character) const;

private:
    std::size_t ReadField(std::wstring_view text);
    std::wstring_view ReadSize(std::wstring_view text);
    std::wstring SignOf(bool isNegative) const;
    std::wstring PrintField(std::wstring_view prefix, std::size_t zeros, std::wstring_view body, bool fillsZeros) const;

    bool m_left = false;      ///< '-'
    bool m_plus = false;      ///< '+'
    bool m_blank = false;     ///< ' '
    bool m_zeros = false;     ///< '0'
    bool m_alternate = false; ///< '#'
    bool m_takesFields = false;
    std::size_t m_width = 0;
    std::optional<std::size_t> m_precision;
    std::wstring_view m_size;
    wchar_t m_conversion = 0;
    std::size_t m_length = 0;
};
