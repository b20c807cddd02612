#pragma once

// Where in a JSON text its values stand, and which keys stand there twice: what a parsed document no longer tells.

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class CJsonLines {
public:
    /// Of a text that is not JSON only what comes before its first fault is known.
    explicit CJsonLines(std::string_view text);

    /// The line, counted from 1, in which the key or the element of this path stands, such as
    /// "/applications/0/saveScript"; that of what encloses it when it is not there itself.
    std::size_t LineOf(std::string path) const;

    /// The keys that an object has already, each with its path and its line.
    const std::vector<std::pair<std::string, std::size_t>>& Duplicates() const { return m_duplicates; }

private:
    class CReader;

    std::map<std::string, std::size_t> m_lines;
    std::vector<std::pair<std::string, std::size_t>> m_duplicates;
};
