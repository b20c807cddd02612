#include "ScriptExecution/DocumentStoreXmlParser.h"

#include "Common/RpcHelper.h"
#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/StateChangeInstance.h"

#include <cwchar>

namespace {
enum Element : std::size_t {
    DocStore,
    StoreGuid,
    StateChange,
    When,
    Type,
    StateChangeGuid,
    Docs,
    Doc,
    Name,
    OrigPath,
    TempPath,
    AppName,
    AppPath,
    Rec,
    SaveScript,
    RestoreScript,
    Document // what stands around the root
};

struct Rule {
    Element parent;
    std::wstring_view name;
    Element child;
    bool text;
};

constexpr Rule rules[] = {
    {Document, L"DocStore", DocStore, false},
    {DocStore, L"Guid", StoreGuid, true},
    {DocStore, L"Docs", Docs, false},
    {DocStore, L"StateChange", StateChange, false},
    {StateChange, L"Type", Type, true},
    {StateChange, L"When", When, true},
    {StateChange, L"Guid", StateChangeGuid, true},
    {Docs, L"Doc", Doc, false},
    {Doc, L"Name", Name, true},
    {Doc, L"OrigPath", OrigPath, true},
    {Doc, L"TempPath", TempPath, true},
    {Doc, L"AppName", AppName, true},
    {Doc, L"AppPath", AppPath, true},
    {Doc, L"Rec", Rec, true},
    {Doc, L"SaveScript", SaveScript, true},
    {Doc, L"RestoreScript", RestoreScript, true},
};

bool CollectsText(std::size_t element) {
    for (const Rule& rule : rules)
        if (rule.child == element)
            return rule.text;
    return false;
}

std::wstring Trim(const std::wstring& text) {
    static constexpr wchar_t blanks[] = L" \r\t\n";
    const auto begin = text.find_first_not_of(blanks);
    return begin == std::wstring::npos ? std::wstring() : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// "2024-03-07T17:05:09"; anything else throws CXmlParseException with the text.
FILETIME ParseTimestamp(const std::wstring& text) {
    static constexpr std::wstring_view pattern = L"dddd-dd-ddTdd:dd:dd";
    WORD numbers[6] = {};
    std::size_t number = 0;
    if (text.size() != pattern.size())
        throw CXmlParseException(text);
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const bool digit = text[i] >= L'0' && text[i] <= L'9';
        if (pattern[i] == L'd' ? !digit : text[i] != pattern[i])
            throw CXmlParseException(text);
        if (digit)
            numbers[number] = static_cast<WORD>(numbers[number] * 10 + (text[i] - L'0'));
        else
            ++number;
    }
    SYSTEMTIME time{};
    time.wYear = numbers[0];
    time.wMonth = numbers[1];
    time.wDay = numbers[2];
    time.wHour = numbers[3];
    time.wMinute = numbers[4];
    time.wSecond = numbers[5];
    FILETIME result{};
    if (!SystemTimeToFileTime(&time, &result))
        throw CXmlParseException(text);
    return result;
}

TEMP_DOCUMENT_STATUS ParseRecovered(const std::wstring& text) {
    if (_wcsicmp(text.c_str(), L"true") == 0)
        return TEMP_DOCUMENT_RECOVERED;
    if (_wcsicmp(text.c_str(), L"false") == 0)
        return TEMP_DOCUMENT_NOT_RECOVERED;
    throw CXmlParseException(text);
}
} // namespace

CDocumentStoreXmlParser::CDocumentStoreXmlParser(CDocumentStoreInfo& info) : m_info(info) {
    m_states.push_back({Document});
}

void CDocumentStoreXmlParser::HandleStartElement(std::wstring_view name) {
    if (m_ignoredDepth > 0) {
        ++m_ignoredDepth;
        return;
    }
    auto& parent = m_states.back();
    for (const Rule& rule : rules) {
        if (rule.parent != parent.element || rule.name != name)
            continue;
        if (parent.seen[rule.child]++ > 0 && rule.child != Doc)
            break;
        m_states.push_back({rule.child});
        if (rule.text)
            m_text.clear();
        if (rule.child == Doc)
            m_document = std::make_unique<CInternalSavedDocument>();
        return;
    }
    if (parent.element == Document)
        SanityCheckFailed(QUORLINE_HERE, L"Invalid root element");
    m_ignoredDepth = 1;
}

void CDocumentStoreXmlParser::HandleEndElement() {
    if (m_ignoredDepth > 0) {
        --m_ignoredDepth;
        return;
    }
    const std::size_t element = m_states.back().element;
    m_states.pop_back();
    // Only here, for what collected it: trimmed at every element's end, a long text would cost its length each time.
    Apply(element, CollectsText(element) ? Trim(m_text) : std::wstring());
}

void CDocumentStoreXmlParser::HandleCharacterData(std::wstring_view text) {
    if (m_ignoredDepth == 0 && CollectsText(m_states.back().element))
        m_text += text;
}

void CDocumentStoreXmlParser::Apply(std::size_t element, const std::wstring& text) {
    CStateChangeInstance& stateChange = *m_info.GetStateChangeInstance();
    switch (element) {
    case StoreGuid:
        m_info.GetInternalDocumentStore()->SetGuid(CGuid(text));
        break;
    case When:
        stateChange.SetUTCTimestamp(ParseTimestamp(text));
        break;
    case Type:
        stateChange.SetStateChangeType(StateChangeTypeFromText(text));
        break;
    case StateChangeGuid:
        stateChange.SetId(CGuid(text).GetGuid());
        break;
    case Doc:
        m_info.GetInternalDocumentStore()->GetSavedDocumentList()->push_back(std::move(m_document));
        break;
    case AppName:
        m_document->SetAppExeImageName(text);
        break;
    case AppPath:
        m_document->SetAppPath(text);
        break;
    case Name:
        m_document->SetDocName(text);
        break;
    case TempPath:
        m_document->SetDocTempPath(text);
        break;
    case OrigPath:
        m_document->SetDocOriginalPath(text);
        break;
    case Rec:
        m_document->SetStatus(ParseRecovered(text));
        break;
    case SaveScript:
        m_document->SetSaveScriptName(text);
        break;
    case RestoreScript:
        m_document->SetRestoreScriptName(text);
        break;
    default:
        break;
    }
}
