// Patterns of applications: an input is a pattern and a value, parted by a zero.

#include "FuzzInput.h"
#include "ScriptExecution/WildcardPattern.h"

namespace {
/// The same question, asked run by run.
bool IsMatch(std::wstring_view pattern, std::wstring_view value) {
    const std::size_t star = pattern.find(L'*');
    if (star == std::wstring_view::npos)
        return pattern == value;
    if (!value.starts_with(pattern.substr(0, star)))
        return false;
    value.remove_prefix(star);
    pattern.remove_prefix(star);
    while (!pattern.empty()) {
        pattern.remove_prefix(1);
        const std::wstring_view run = pattern.substr(0, pattern.find(L'*'));
        pattern.remove_prefix(run.size());
        // Several stars are one, and the last of them takes all that is left.
        if (run.empty() && pattern.empty())
            return true;
        const std::size_t found = value.find(run);
        if (found == std::wstring_view::npos)
            return false;
        value.remove_prefix(found + run.size());
    }
    return value.empty();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring input = CFuzzInput(data, size).TakeText();
    const std::wstring_view pattern = std::wstring_view(input).substr(0, input.find(L'\0'));
    const std::wstring_view value = std::wstring_view(input).substr(std::min(input.size(), pattern.size() + 1));
    FuzzRequire(MatchesPattern(pattern, value) == IsMatch(pattern, value), "both walks agree");
    FuzzRequire(MatchesPattern(L"*", value), "a star matches everything");
    if (value.find(L'*') == std::wstring_view::npos)
        FuzzRequire(MatchesPattern(value, value), "a text matches itself");
    return 0;
}
