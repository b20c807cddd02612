#include "NearestName.h"

#include <algorithm>

namespace {
std::size_t CountChanges(std::string_view from, std::string_view to) {
    std::vector<std::size_t> beforeLast;
    std::vector<std::size_t> last(to.size() + 1);
    for (std::size_t j = 0; j <= to.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::vector<std::size_t> current(to.size() + 1);
        current[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t exchanged = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            current[j] = std::min({last[j] + 1, current[j - 1] + 1, exchanged});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
                current[j] = std::min(current[j], beforeLast[j - 2] + 1);
        }
        beforeLast = std::move(last);
        last = std::move(current);
    }
    return last.back();
}

/// The only name that begins so; empty when none or more than one does, or when hardly anything was typed.
std::string FindLongerName(std::string_view typed, const std::vector<std::string>& names) {
    constexpr std::size_t Least = 3; // characters
    const auto begins = [&](const std::string& name) { return name.starts_with(typed); };
    const bool only = typed.size() >= Least && std::ranges::count_if(names, begins) == 1;
    return only ? *std::ranges::find_if(names, begins) : "";
}
} // namespace

std::string FindNearestName(std::string_view typed, const std::vector<std::string>& names) {
    std::string nearest;
    std::size_t fewest = std::max<std::size_t>(2, typed.size() / 3) + 1;
    for (const std::string& name : names) {
        // As many changes as the name has characters would make it of anything.
        const std::size_t changes = CountChanges(typed, name);
        if (changes < fewest && changes < name.size()) {
            fewest = changes;
            nearest = name;
        }
    }
    return nearest.empty() ? FindLongerName(typed, names) : nearest;
}
