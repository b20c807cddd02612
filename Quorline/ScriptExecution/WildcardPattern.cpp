#include "ScriptExecution/WildcardPattern.h"

#include <algorithm>

bool MatchesPattern(std::wstring_view pattern, std::wstring_view value) noexcept {
    std::size_t at = 0;  // in the pattern
    std::size_t pos = 0; // in the value
    const auto skipStars = [&] { at = std::min(pattern.find_first_not_of(L'*', at), pattern.size()); };

    while (at < pattern.size() && pos < value.size()) {
        if (pattern[at] == L'*') {
            skipStars();
            if (at == pattern.size())
                pos = value.size();
            else {
                const std::wstring_view run = pattern.substr(at, pattern.find(L'*', at) - at);
                const std::size_t found = value.find(run, pos);
                // kept: the first occurrence is final, nothing is tried again further on.
                if (found == std::wstring_view::npos)
                    return false;
                pos = found + run.size();
                at += run.size();
            }
        } else if (pattern[at] == value[pos]) {
            ++at;
            ++pos;
        } else
            return false;
    }
    skipStars();
    return at == pattern.size() && pos == value.size();
}
