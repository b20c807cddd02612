#include "IntlHelper/format/StringFormatter.h"

#include "IntlHelper/format/InsertFormat.h"
#include "IntlHelper/format/PlainMessage.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <typeinfo>
#include <utility>

namespace {
constexpr long BadFormat = 8;

/// Counts what a message holds beyond its own format. A short text must not be able to take all memory, neither by the
/// widths of its inserts nor by digits that are copied over and over.
class CGrowth {
public:
    void Add(std::size_t characters) {
        m_characters += characters;
        if (m_characters > Longest)
            throw std::length_error("the message is too long");
    }

private:
    static constexpr std::size_t Longest = 16'777'216;

    std::size_t m_characters = 0;
};

/// Digits that make no int are the largest one.
int NumberOf(const std::wstring& digits) {
    std::int64_t number = 0;
    for (const wchar_t digit : digits)
        number = std::min<std::int64_t>(number * 10 + (digit - L'0'), std::numeric_limits<int>::max());
    return static_cast<int>(number);
}

constinit CStringFormatter g_formatter;

/// The three steps may be left out where nobody has replaced one.
std::optional<std::wstring> PrintPlainly(const CStringFormatter& formatter, std::wstring_view format, va_list args) {
    if (typeid(formatter) != typeid(CStringFormatter))
        return std::nullopt;
    return PrintPlainMessage(format, args);
}

/// Reads a format character by character: plain text, the character behind a backslash, an insert's number, its
/// specification. What is unfinished at the end is dropped.
class CFormatScanner {
public:
    CFormatScanner(std::list<std::wstring>& segments, std::list<int>& order, std::map<int, std::wstring>& inserts,
                   int& highest)
        : m_segments(segments), m_order(order), m_inserts(inserts), m_highest(highest) {}

    void Scan(const std::wstring& format) {
        for (const wchar_t c : format)
            (this->*m_state)(c);
        m_segments.push_back(std::move(m_text));
    }

private:
    void Plain(wchar_t c) {
        if (c == L'\\') {
            m_state = &CFormatScanner::Escape;
        } else if (c == L'{') {
            m_segments.push_back(std::exchange(m_text, {}));
            m_state = &CFormatScanner::Number;
        } else {
            m_text += c;
        }
    }

    void Escape(wchar_t c) {
        m_text += c;
        m_state = &CFormatScanner::Plain;
    }

    void Number(wchar_t c) {
        if (c >= L'0' && c <= L'9') {
            m_number += c;
        } else if (c == L':') {
            m_state = &CFormatScanner::Specification;
        } else {
            // No insert after all. kept: the digits stay in front of the next insert's number.
            m_growth.Add(m_number.size());
            m_text = std::move(m_segments.back());
            m_segments.pop_back();
            m_text.append(1, L'{').append(m_number).append(1, c);
            m_state = &CFormatScanner::Plain;
        }
    }

    void Specification(wchar_t c) {
        if (c != L'}') {
            m_specification += c;
            return;
        }
        if (m_number.empty())
            throw CIntlHelperException(L"Got empty text for insert number", BadFormat);
        const int number = NumberOf(m_number);
        m_highest = std::max(m_highest, number);
        if (!m_inserts.try_emplace(number, m_specification).second)
            throw CIntlHelperException(L"Argument indexes may not be repeated in the format string.", BadFormat);
        m_order.push_back(number);
        m_number.clear();
        m_specification.clear();
        m_state = &CFormatScanner::Plain;
    }

    std::list<std::wstring>& m_segments;
    std::list<int>& m_order;
    std::map<int, std::wstring>& m_inserts;
    int& m_highest;
    std::wstring m_text;
    std::wstring m_number;
    std::wstring m_specification;
    CGrowth m_growth;
    void (CFormatScanner::*m_state)(wchar_t) = &CFormatScanner::Plain;
};
} // namespace

CStringFormatter& GlobalFormatter() {
    return g_formatter;
}

std::wstring FormatMessageText(std::wstring_view format, va_list args) {
    if (auto plain = PrintPlainMessage(format, args))
        return *std::move(plain);
    return g_formatter.FormatVNoThrow(std::wstring(format), args);
}

std::wstring CStringFormatter::Format(std::wstring format, ...) {
    va_list args;
    va_start(args, format);
    // An exception may pass by va_end, which does nothing on this platform.
    std::wstring result = FormatV(std::move(format), args);
    va_end(args);
    return result;
}

std::wstring CStringFormatter::FormatNoThrow(std::wstring format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring result = FormatVNoThrow(std::move(format), args);
    va_end(args);
    return result;
}

std::wstring CStringFormatter::FormatV(std::wstring format, va_list args) {
    if (auto plain = PrintPlainly(*this, format, args))
        return *std::move(plain);
    ParseRecord record;
    ParseFormat(std::move(format), record);
    FormatInserts(args, record);
    return BuildResult(record);
}

std::wstring CStringFormatter::FormatVNoThrow(std::wstring format, va_list args) {
    try {
        if (auto plain = PrintPlainly(*this, format, args))
            return *std::move(plain);
        return FormatV(format, args);
    } catch (...) {
        return format + L"***formatting error***";
    }
}

void CStringFormatter::ParseFormat(std::wstring format, ParseRecord& record) {
    CFormatScanner(record.segments, record.order, record.inserts, record.highest).Scan(format);
}

void CStringFormatter::FormatInserts(va_list args, ParseRecord& record) {
    CGrowth growth;
    for (int number = 0; number <= record.highest; ++number) {
        const auto insert = record.inserts.find(number);
        // Without a specification nobody knows what the argument is.
        if (insert == record.inserts.end())
            throw CIntlHelperException(L"Invalid insert format", BadFormat);
        insert->second = FormatInsert(insert->second, number, va_arg(args, std::uint64_t));
        growth.Add(insert->second.size());
    }
}

std::wstring CStringFormatter::BuildResult(const ParseRecord& record) {
    std::wstring result;
    auto segment = record.segments.begin();
    for (const int number : record.order) {
        if (segment != record.segments.end())
            result += *segment++;
        if (const auto insert = record.inserts.find(number); insert != record.inserts.end())
            result += insert->second;
    }
    if (segment != record.segments.end())
        result += *segment;
    return result;
}
