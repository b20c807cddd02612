#include "ScriptExecution/InfoFileElements.h"

#include <iterator>

namespace {
using enum InfoFileElement;

/// Which element may stand in which, and whether it holds text. What one element may hold stands together.
struct Rule {
    InfoFileElement parent;
    InfoFileElement child;
    bool text;
};

constexpr Rule Rules[] = {
    {Document, DocStore, false},
    {DocStore, StoreGuid, true},
    {DocStore, Docs, false},
    {DocStore, StateChange, false},
    {StateChange, Type, true},
    {StateChange, When, true},
    {StateChange, StateChangeGuid, true},
    {Docs, Doc, false},
    {Doc, Name, true},
    {Doc, OrigPath, true},
    {Doc, TempPath, true},
    {Doc, AppName, true},
    {Doc, AppPath, true},
    {Doc, Rec, true},
    {Doc, SaveScript, true},
    {Doc, RestoreScript, true},
};

InfoFileElement ElementOf(const CExpatParseState<16>& state) {
    return static_cast<InfoFileElement>(state.element);
}

// All are looked up several times for each element of files that may hold thousands.
constexpr std::size_t ElementCount = static_cast<std::size_t>(Document) + 1;

constexpr auto TextElements = [] {
    std::array<bool, ElementCount> elements{};
    for (const Rule& rule : Rules)
        elements[static_cast<std::size_t>(rule.child)] = rule.text;
    return elements;
}();

constexpr auto ElementNames = [] {
    std::array<std::wstring_view, ElementCount> names;
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] = InfoFileName(static_cast<InfoFileElement>(i));
    return names;
}();

/// Where the rules of a parent begin.
constexpr auto FirstRules = [] {
    std::array<const Rule*, ElementCount> first{};
    first.fill(std::end(Rules));
    for (std::size_t i = std::size(Rules); i-- > 0;)
        first[static_cast<std::size_t>(Rules[i].parent)] = &Rules[i];
    return first;
}();

bool HoldsText(InfoFileElement element) {
    return TextElements[static_cast<std::size_t>(element)];
}

} // namespace

CInfoFileElements::CInfoFileElements() {
    constexpr std::size_t deepest = 5;
    m_states.reserve(deepest);
    m_states.push_back({static_cast<std::size_t>(Document)});
}

std::optional<InfoFileElement> CInfoFileElements::Begin(std::wstring_view name) {
    if (m_ignoredDepth == 0) {
        auto& parent = m_states.back();
        for (const Rule* rule = FirstRules[parent.element]; rule != std::end(Rules); ++rule) {
            if (rule->parent != ElementOf(parent))
                break;
            const auto child = static_cast<std::size_t>(rule->child);
            if (ElementNames[child] != name)
                continue;
            if (parent.seen[child]++ > 0 && rule->child != Doc)
                break;
            m_states.push_back({child});
            m_text.clear();
            m_collects = rule->text;
            return rule->child;
        }
    }
    ++m_ignoredDepth;
    m_collects = false;
    return std::nullopt;
}

std::optional<CInfoFileElement> CInfoFileElements::End() {
    if (m_ignoredDepth > 0) {
        --m_ignoredDepth;
        m_collects = m_ignoredDepth == 0 && HoldsText(ElementOf(m_states.back()));
        return std::nullopt;
    }
    const InfoFileElement element = ElementOf(m_states.back());
    m_states.pop_back();
    m_collects = HoldsText(ElementOf(m_states.back()));
    // In place: a text of its own for each element would cost more than reading it. What holds none keeps none.
    m_text.resize(HoldsText(element) ? TrimEnd(m_text, InfoFileBlanks).size() : 0);
    return CInfoFileElement{element, m_text};
}

std::optional<std::array<unsigned short, 6>> ReadInfoFileTime(std::wstring_view text) {
    static constexpr std::wstring_view Pattern = L"dddd-dd-ddTdd:dd:dd";
    std::array<unsigned short, 6> numbers{};
    std::size_t number = 0;
    if (text.size() != Pattern.size())
        return std::nullopt;
    for (std::size_t i = 0; i < Pattern.size(); ++i) {
        const bool digit = text[i] >= L'0' && text[i] <= L'9';
        if (Pattern[i] == L'd' ? !digit : text[i] != Pattern[i])
            return std::nullopt;
        if (digit)
            numbers[number] = static_cast<unsigned short>(numbers[number] * 10 + (text[i] - L'0'));
        else
            ++number;
    }
    return numbers;
}
