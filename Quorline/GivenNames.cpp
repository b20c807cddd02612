#include "GivenNames.h"

#include "base/Text.h"

#include <iterator>

bool CGivenNames::LessNoCase::operator()(const std::wstring& left, const std::wstring& right) const {
    return CompareNames(left, right) < 0;
}

void CGivenNames::Add(const std::wstring& name, unsigned counter) {
    Ranges& ranges = m_names[name];
    const auto next = ranges.upper_bound(counter);
    if (next != ranges.begin()) {
        const auto before = std::prev(next);
        if (before->second >= counter)
            return;
        if (before->second + 1 == counter) {
            before->second = counter;
            if (next != ranges.end() && next->first == counter + 1) {
                before->second = next->second;
                ranges.erase(next);
            }
            return;
        }
    }
    unsigned last = counter;
    if (next != ranges.end() && next->first == counter + 1) {
        last = next->second;
        ranges.erase(next);
    }
    ranges[counter] = last;
}

unsigned CGivenNames::FirstFree(const std::wstring& name, unsigned counter) const {
    const auto found = m_names.find(name);
    if (found == m_names.end())
        return counter;
    const auto next = found->second.upper_bound(counter);
    if (next == found->second.begin() || std::prev(next)->second < counter)
        return counter;
    return std::prev(next)->second + 1;
}
