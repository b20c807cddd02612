#include "JsonLines.h"

#include <nlohmann/json.hpp>

namespace {
/// Counts the lines that the parser has read, from 1.
class CCountingIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CCountingIterator(const char* at, std::size_t& line) : m_at(at), m_line(&line) {}

    reference operator*() const { return *m_at; }
    CCountingIterator& operator++() {
        if (*m_at++ == '\n')
            ++*m_line;
        return *this;
    }
    CCountingIterator operator++(int) {
        const CCountingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CCountingIterator& other) const { return m_at == other.m_at; }
    bool operator!=(const CCountingIterator& other) const { return m_at != other.m_at; }

private:
    const char* m_at;
    std::size_t* m_line;
};
} // namespace

/// Follows the parser. Every value takes the place that its key or its position in a list has made for it.
class CJsonLines::CReader : public nlohmann::json_sax<nlohmann::json> {
public:
    CReader(CJsonLines& lines, const std::size_t& line) : m_lines(lines), m_line(line) {}

    bool null() override { return Value(); }
    bool boolean(bool) override { return Value(); }
    bool number_integer(number_integer_t) override { return Value(); }
    bool number_unsigned(number_unsigned_t) override { return Value(); }
    bool number_float(number_float_t, const string_t&) override { return Value(); }
    bool string(string_t&) override { return Value(); }
    bool binary(binary_t&) override { return Value(); }
    bool start_object(std::size_t) override { return Start(false); }
    bool end_object() override { return End(); }
    bool start_array(std::size_t) override { return Start(true); }
    bool end_array() override { return End(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

    bool key(string_t& name) override {
        m_path = m_open.back().path + "/" + name;
        if (!m_lines.m_lines.emplace(m_path, m_line).second)
            m_lines.m_duplicates.emplace_back(m_path, m_line);
        return true;
    }

private:
    struct COpen {
        std::string path;
        bool isList;
        std::size_t count = 0;
    };

    bool Value() {
        if (!m_open.empty() && m_open.back().isList) {
            m_path = m_open.back().path + "/" + std::to_string(m_open.back().count++);
            m_lines.m_lines.emplace(m_path, m_line);
        }
        return true;
    }
    bool Start(bool isList) {
        Value();
        m_open.push_back({m_path, isList});
        return true;
    }
    bool End() {
        m_open.pop_back();
        return true;
    }

    CJsonLines& m_lines;
    const std::size_t& m_line;
    std::vector<COpen> m_open;
    std::string m_path;
};

CJsonLines::CJsonLines(std::string_view text) {
    std::size_t line = 1;
    CReader reader(*this, line);
    nlohmann::json::sax_parse(CCountingIterator(text.data(), line), CCountingIterator(text.data() + text.size(), line),
                              &reader);
}

std::size_t CJsonLines::LineOf(std::string path) const {
    while (!path.empty()) {
        if (const auto found = m_lines.find(path); found != m_lines.end())
            return found->second;
        path.erase(path.rfind('/'));
    }
    return 1;
}
