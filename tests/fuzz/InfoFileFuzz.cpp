// The elements of an info file: an input is a file, which expat takes apart.

#include "FuzzInput.h"
#include "ScriptExecution/InfoFileElements.h"

#include <expat.h>

#include <memory>
#include <type_traits>
#include <vector>

namespace {
[[maybe_unused]] std::wstring Widen(std::wstring_view text) {
    return std::wstring(text);
}

/// expat hands out whole characters, and nothing but well-formed UTF-8.
[[maybe_unused]] std::wstring Widen(std::string_view text) {
    std::wstring wide;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<std::uint8_t>(text[i++]);
        const int more = lead < 0xC0 ? 0 : (lead < 0xE0 ? 1 : (lead < 0xF0 ? 2 : 3));
        std::uint32_t c = more == 0 ? lead : lead & (0x3Fu >> more);
        for (int k = 0; k < more && i < text.size(); ++k)
            c = c << 6 | (static_cast<std::uint8_t>(text[i++]) & 0x3F);
        if (c >= 0x10000)
            wide.append(1, static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
        wide += static_cast<wchar_t>(c >= 0x10000 ? 0xDC00 + (c & 0x3FF) : c);
    }
    return wide;
}

class CFile {
public:
    void Begin(std::wstring_view name) {
        const bool wasOutside = m_elements.IsOutsideRoot();
        const auto element = m_elements.Begin(name);
        Require(m_open.empty() || m_open.back() || !element, "nothing in an ignored element is taken");
        Require(!wasOutside || !element || element == InfoFileElement::DocStore, "the root is a DocStore");
        Require(!element || !m_elements.IsOutsideRoot(), "an element that is taken is in the root or the root");
        m_open.push_back(element);
    }

    void End() {
        const auto ended = m_elements.End();
        Require(ended.has_value() == m_open.back().has_value(), "what was taken ends, what was ignored does not");
        if (ended) {
            constexpr std::wstring_view Blanks = L" \r\t\n";
            Require(ended->element == m_open.back(), "the innermost element ends first");
            Require(ended->text.empty() || (Blanks.find(ended->text.front()) == std::wstring_view::npos &&
                                            Blanks.find(ended->text.back()) == std::wstring_view::npos),
                    "no white space is left around a text");
            if (ended->element == InfoFileElement::When)
                CheckTime(ended->text);
        }
        m_open.pop_back();
    }

    void AddText(std::wstring_view text) { m_elements.AddText(text); }

private:
    static void CheckTime(std::wstring_view text) {
        const auto fields = ReadInfoFileTime(text);
        Require(!fields || (text.size() == 19 && (*fields)[0] <= 9999 && (*fields)[5] <= 99), "a time has its form");
    }

    CInfoFileElements m_elements;
    std::vector<std::optional<InfoFileElement>> m_open;
};

void XMLCALL BeginElement(void* file, const XML_Char* name, const XML_Char**) {
    static_cast<CFile*>(file)->Begin(Widen(name));
}
void XMLCALL EndElement(void* file, const XML_Char*) {
    static_cast<CFile*>(file)->End();
}
void XMLCALL CharacterData(void* file, const XML_Char* text, int length) {
    static_cast<CFile*>(file)->AddText(Widen({text, static_cast<std::size_t>(length)}));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CFile file;
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate(nullptr), &XML_ParserFree);
    XML_SetUserData(parser.get(), &file);
    XML_SetElementHandler(parser.get(), &BeginElement, &EndElement);
    XML_SetCharacterDataHandler(parser.get(), &CharacterData);
    XML_Parse(parser.get(), reinterpret_cast<const char*>(data), static_cast<int>(size), XML_TRUE);
    return 0;
}
