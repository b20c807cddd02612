#pragma once

// An argument list of zeros for a format that came without arguments, from a script for example:
//
//     CZeroArguments zeros(text);
//     formatter.FormatVNoThrow(text, zeros.GetList());
//
// However many inserts the format holds, none of them reads what was never passed.

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

class CZeroArguments {
public:
    explicit CZeroArguments(std::wstring_view format)
        : m_slots(static_cast<std::size_t>(std::ranges::count(format, L'{')) + 1) {}

    /// Lives as long as this object.
    va_list GetList() noexcept {
        // On this platform an argument list is the address of its first slot.
        return reinterpret_cast<va_list>(m_slots.data());
    }

private:
    std::vector<std::uint64_t> m_slots;
};
