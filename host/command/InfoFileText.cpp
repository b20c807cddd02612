#include "InfoFileText.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {
struct CAccessor {
    void (CInternalSavedDocument::*get)(std::wstring&) const;
    void (CInternalSavedDocument::*set)(const std::wstring&);
};

const std::array<CAccessor, 7> Texts{{
    {&CInternalSavedDocument::GetDocName, &CInternalSavedDocument::SetDocName},
    {&CInternalSavedDocument::GetDocOriginalPath, &CInternalSavedDocument::SetDocOriginalPath},
    {&CInternalSavedDocument::GetDocTempPath, &CInternalSavedDocument::SetDocTempPath},
    {&CInternalSavedDocument::GetAppExeImageName, &CInternalSavedDocument::SetAppExeImageName},
    {&CInternalSavedDocument::GetAppPath, &CInternalSavedDocument::SetAppPath},
    {&CInternalSavedDocument::GetRestoreScriptName, &CInternalSavedDocument::SetRestoreScriptName},
    {&CInternalSavedDocument::GetSaveScriptName, &CInternalSavedDocument::SetSaveScriptName},
}};

/// Name of the element that a line opens, empty when it opens none. The lines' ends are cut off.
std::string_view OpenedElement(std::string_view line) {
    const std::size_t begin = line.find_first_not_of('\t');
    if (begin == std::string_view::npos || line[begin] != '<' || line.back() != '>')
        return {};
    const std::string_view name = line.substr(begin + 1, line.size() - begin - 2);
    return name.find_first_of("</?&> \t") == std::string_view::npos ? name : std::string_view();
}

std::string_view WithoutEnd(std::string_view line) {
    return !line.empty() && line.back() == '\r' ? line.substr(0, line.size() - 1) : line;
}

std::string Escape(std::string_view value) {
    std::string result;
    for (const char c : value) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else
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

std::string MendValue(std::string_view element, std::string_view line) {
    return element == "Rec" && IsTornMark(line) ? std::string(RecoveredValue(TEMP_DOCUMENT_NOT_RECOVERED))
                                                : Escape(line);
}
} // namespace

std::string MendInfoText(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    std::string result;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        // A value stands between its opening line and its closing tag, which begins the line after it.
        const std::string_view element = i > 0 ? OpenedElement(WithoutEnd(lines[i - 1])) : std::string_view();
        const bool isValue =
            !element.empty() && i + 1 < lines.size() && WithoutEnd(lines[i + 1]) == "</" + std::string(element) + ">";
        result += isValue ? MendValue(element, lines[i]) : std::string(lines[i]);
        if (i + 1 < lines.size())
            result += '\n';
    }
    return result;
}

std::wstring MakeWritable(const std::wstring& value) {
    std::wstring result;
    for (const wchar_t c : value) {
        if (c == L'&')
            result += L"&amp;";
        else if (c == L'<')
            result += L"&lt;";
        else if (c == L'%')
            result += L"%%";
        else
            result += c;
    }
    return result;
}

std::unique_ptr<CInternalDocumentStore> WritableCopy(const CInternalDocumentStore& store) {
    auto copy = std::make_unique<CInternalDocumentStore>(store);
    for (const auto& record : *copy->GetSavedDocumentList())
        for (const auto& text : Texts) {
            std::wstring value;
            (record.get()->*text.get)(value);
            (record.get()->*text.set)(MakeWritable(value));
        }
    return copy;
}
