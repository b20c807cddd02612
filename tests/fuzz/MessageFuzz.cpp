// The message formatter: its scanner of inserts and what each insert prints. An input begins with the number of
// arguments and a byte for each, which says what it is; the rest is the format.

#include "FuzzInput.h"
#include "IntlHelper/format/StringFormatter.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <limits>
#include <stdexcept>
#include <vector>

namespace {
constexpr std::size_t LongestPrint = 4095;
constexpr std::wstring_view Mark = L"***formatting error***";

/// An argument list of exactly these slots, on the heap, where reading past the last one is noticed.
class CArguments {
public:
    explicit CArguments(std::vector<std::uint64_t> slots) : m_slots(std::move(slots)) {}

    template <class Action> auto Use(Action action) {
        va_list list;
#ifdef _WIN32
        list = reinterpret_cast<va_list>(m_slots.data());
#else
        // As if the registers were used up.
        list->gp_offset = 48;
        list->fp_offset = 176;
        list->reg_save_area = nullptr;
        list->overflow_arg_area = m_slots.data();
#endif
        return action(list);
    }

private:
    std::vector<std::uint64_t> m_slots;
};

/// Whatever the conversion, the slot may be read: a text of either width, none, or a number that is no address. Numbers
/// are for formats without strings only.
std::uint64_t SlotOf(std::uint8_t kind, bool mayBeNumber) {
    static const std::wstring shortText(3, L'\u7478'); // bytes other than zero
    static const std::wstring longText(5000, L'\u7478');
    constexpr std::uint64_t Numbers[] = {1,
                                         ~std::uint64_t{0},
                                         std::uint64_t{1} << 63,
                                         0x7FFFFFFF,
                                         0x80000000,
                                         0x8000,
                                         std::bit_cast<std::uint64_t>(std::numeric_limits<double>::infinity()),
                                         std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN()),
                                         std::bit_cast<std::uint64_t>(1e308),
                                         std::bit_cast<std::uint64_t>(-5e-324)};
    if (kind % 4 == 0)
        return 0;
    if (mayBeNumber)
        return Numbers[kind % std::size(Numbers)];
    return reinterpret_cast<std::uintptr_t>((kind % 2 ? shortText : longText).c_str());
}

void TryFormat(CFuzzInput input) {
    std::vector<std::uint8_t> kinds(input.TakeByte() % 24);
    for (auto& kind : kinds)
        kind = input.TakeByte();
    const std::wstring format = input.TakeText();
    // No format reads more arguments than it has inserts.
    const auto inserts = static_cast<std::size_t>(std::ranges::count(format, L'{'));
    const bool hasStrings = format.find_first_of(L"sS") != std::wstring::npos;
    std::vector<std::uint64_t> slots(inserts);
    for (std::size_t i = 0; i < inserts; ++i)
        slots[i] = SlotOf(i < kinds.size() ? kinds[i] : 0, !hasStrings);

    CArguments arguments(std::move(slots));
    std::wstring text = format + std::wstring(Mark);
    try {
        text = arguments.Use([&](va_list list) { return GlobalFormatter().FormatV(format, list); });
        FuzzRequire(text.size() <= format.size() * (format.size() + 1) + LongestPrint * inserts,
                    "an insert prints at most 4095 characters");
    } catch (const CIntlHelperException& refusal) {
        FuzzRequire(refusal.GetErrorCode() == 8, "a bad format is refused with code 8");
    } catch (const std::length_error&) {
        // Too long.
    }
    FuzzRequire(arguments.Use([&](va_list list) { return GlobalFormatter().FormatVNoThrow(format, list); }) == text,
                "a refused format is marked, any other comes out the same twice");
}

void TryEscapes(CFuzzInput input) {
    const std::wstring text = input.TakeText();
    std::wstring escaped;
    for (const wchar_t c : text)
        escaped.append(1, L'\\').append(1, c);
    FuzzRequire(GlobalFormatter().Format(escaped) == text, "what is escaped comes out as it is");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    TryFormat({data, size});
    TryEscapes({data, size});
    return 0;
}
