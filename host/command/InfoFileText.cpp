#include "InfoFileText.h"

#include "ScriptExecution/InfoFileFields.h"
#include "ScriptExecution/InfoFileValue.h"
#include "ScriptExecution/WritableStore.h"
#include "base/Utf8.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {
constexpr wchar_t ReplacementCharacter = 0xFFFD;

/// The elements whose values come from scripts and window titles, and the one that is overwritten in place.
const std::vector<std::string>& ValueElements() {
    static const std::vector<std::string> elements = [] {
        std::vector<std::string> names;
        for (const CInfoFileField& field : GetInfoFileFields())
            names.push_back(ToUtf8(InfoFileName(field.element)));
        return names;
    }();
    return elements;
}

/// Which of them a line opens; their number when it opens none.
std::size_t OpenedElement(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of('\t'), line.size()));
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    if (!line.starts_with('<') || !line.ends_with('>'))
        return ValueElements().size();
    const auto found = std::ranges::find(ValueElements(), line.substr(1, line.size() - 2));
    return static_cast<std::size_t>(found - ValueElements().begin());
}

/// The line break before an element's closing tag, which begins a line and ends it.
std::size_t FindEnd(std::string_view text, std::size_t from, std::string_view element) {
    const std::string tag = "\n</" + std::string(element) + ">";
    for (std::size_t end = text.find(tag, from); end != std::string_view::npos; end = text.find(tag, end + 1))
        if (const std::size_t next = end + tag.size(); next == text.size() || text[next] == '\r' || text[next] == '\n')
            return end;
    return std::string_view::npos;
}

constexpr bool IsBlank(unsigned c) noexcept {
    return c == '\t' || c == '\r' || c == '\n';
}

std::string Escape(std::string_view value) {
    constexpr std::string_view Replacement = "\xEF\xBF\xBD";
    std::string result;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else if (c == '>')
            result += "&gt;";
        else if (static_cast<unsigned char>(c) < 0x20 && !IsBlank(static_cast<unsigned char>(c)))
            result += Replacement;
        else if (const auto character = value.substr(i, 3);
                 character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF") {
            result += Replacement;
            i += 2;
        } else
            result += c;
    }
    return result;
}

/// Some bytes of one recovered value and some of the other.
bool IsTornMark(std::string_view line) {
    const std::size_t begin = std::min(line.find_first_not_of('\t'), line.size());
    const std::string_view set = RecoveredValue(TEMP_DOCUMENT_RECOVERED);
    const std::string_view clear = RecoveredValue(TEMP_DOCUMENT_NOT_RECOVERED);
    const std::string_view value = line.substr(begin, clear.size());
    if (value.size() < clear.size() || value == set || value == clear)
        return false;
    for (std::size_t i = 0; i < value.size(); ++i)
        if (value[i] != set[i] && value[i] != clear[i])
            return false;
    return true;
}

std::string MendValue(std::string_view element, std::string_view value) {
    return element == "Rec" && IsTornMark(value) ? std::string(RecoveredValue(TEMP_DOCUMENT_NOT_RECOVERED))
                                                 : Escape(value);
}
} // namespace

std::string MendInfoText(std::string_view text) {
    std::string result;
    std::size_t copied = 0;
    std::vector<bool> hasNoEnd(ValueElements().size()); // asked for once, so that a hostile file costs no more
    for (std::size_t line = 0; line < text.size();) {
        const std::size_t next = std::min(text.find('\n', line), text.size() - 1) + 1;
        const std::size_t element = OpenedElement(text.substr(line, next - 1 - line));
        line = next;
        if (element == ValueElements().size() || hasNoEnd[element])
            continue;
        const std::size_t end = FindEnd(text, next, ValueElements()[element]);
        if (end == std::string_view::npos) {
            hasNoEnd[element] = true;
            continue;
        }
        result += text.substr(copied, next - copied);
        result += MendValue(ValueElements()[element], text.substr(next, end - next));
        copied = end;
        line = end + 1;
    }
    return result += text.substr(copied);
}

std::wstring AsRecorded(const std::wstring& value) {
    std::wstring result = FormatInfoFileValue(value);
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (IS_HIGH_SURROGATE(result[i]) && i + 1 < result.size() && IS_LOW_SURROGATE(result[i + 1]))
            ++i;
        else if (IsUnwritable(result[i]) || IS_HIGH_SURROGATE(result[i]) || IS_LOW_SURROGATE(result[i]))
            result[i] = ReplacementCharacter;
    }
    return result;
}
