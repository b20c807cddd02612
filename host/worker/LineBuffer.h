#pragma once

// Puts the blocks that come out of a pipe together to lines.

#include <optional>
#include <string>
#include <string_view>

class CLineBuffer {
public:
    /// What a line may have without its break; a longer one is passed over.
    static constexpr std::size_t MaxLine = 1 << 20;

    void Append(std::string_view block) { m_bytes += block; }

    /// The next whole line. What has no break yet stays for later.
    std::optional<std::string> Next() {
        for (;;) {
            const std::size_t end = m_bytes.find('\n', m_searched);
            if (end == std::string::npos) {
                m_searched = m_bytes.size();
                if (m_bytes.size() > MaxLine)
                    Drop(m_bytes.size(), true);
                return std::nullopt;
            }
            std::string line = m_bytes.substr(0, end);
            const bool whole = !m_dropping && line.size() <= MaxLine;
            Drop(end + 1, false);
            if (whole)
                return line;
        }
    }

private:
    void Drop(std::size_t count, bool dropping) {
        m_bytes.erase(0, count);
        m_searched = 0;
        m_dropping = dropping;
    }

    std::string m_bytes;
    std::size_t m_searched = 0; ///< up to here there is no line break
    bool m_dropping = false;    ///< inside a line that is too long
};
