// The elements of an info file: an input is a file, which expat takes apart.

#include "FuzzInput.h"
#include "ScriptExecution/InfoFileElements.h"
#include "Utf8.h"

#include <expat.h>

#include <memory>
#include <type_traits>
#include <vector>

namespace {
[[maybe_unused]] std::wstring Widen(std::wstring_view text) {
    return std::wstring(text);
}

[[maybe_unused]] std::wstring Widen(std::string_view text) {
    return WidenUtf8(text);
}

class CFile {
public:
    void Begin(std::wstring_view name) {
        const bool wasOutside = m_elements.IsOutsideRoot();
        const auto element = m_elements.Begin(name);
        FuzzRequire(m_open.empty() || m_open.back() || !element, "nothing in an ignored element is taken");
        FuzzRequire(!wasOutside || !element || element == InfoFileElement::DocStore, "the root is a DocStore");
        FuzzRequire(!element || !m_elements.IsOutsideRoot(), "an element that is taken is in the root or the root");
        m_open.push_back(element);
    }

    void End() {
        const auto ended = m_elements.End();
        FuzzRequire(ended.has_value() == m_open.back().has_value(), "what was taken ends, what was ignored does not");
        if (ended) {
            constexpr std::wstring_view Blanks = L" \r\t\n";
            FuzzRequire(ended->element == m_open.back(), "the innermost element ends first");
            FuzzRequire(ended->text.empty() || (Blanks.find(ended->text.front()) == std::wstring_view::npos &&
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
        FuzzRequire(!fields || (text.size() == 19 && (*fields)[0] <= 9999 && (*fields)[5] <= 99),
                    "a time has its form");
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
