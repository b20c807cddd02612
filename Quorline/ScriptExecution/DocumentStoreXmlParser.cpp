#include "ScriptExecution/DocumentStoreXmlParser.h"

#include "Common/RpcHelper.h"
#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/InfoFileFields.h"
#include "ScriptExecution/StateChangeInstance.h"

namespace {
using enum InfoFileElement;

/// "2024-03-07T17:05:09"; anything else throws CXmlParseException with the text.
FILETIME ParseTimestamp(const std::wstring& text) {
    const auto numbers = ReadInfoFileTime(text);
    if (!numbers)
        throw CXmlParseException(text);
    SYSTEMTIME time{};
    time.wYear = (*numbers)[0];
    time.wMonth = (*numbers)[1];
    time.wDay = (*numbers)[2];
    time.wHour = (*numbers)[3];
    time.wMinute = (*numbers)[4];
    time.wSecond = (*numbers)[5];
    FILETIME result{};
    if (!SystemTimeToFileTime(&time, &result))
        throw CXmlParseException(text);
    return result;
}

} // namespace

CDocumentStoreXmlParser::CDocumentStoreXmlParser(CDocumentStoreInfo& info) : m_info(info) {}

void CDocumentStoreXmlParser::HandleStartElement(std::wstring_view name) {
    const auto element = m_elements.Begin(name);
    WantCharacterData(m_elements.CollectsText());
    if (element == Doc)
        m_document = std::make_unique<CInternalSavedDocument>();
    else if (!element && m_elements.IsOutsideRoot())
        SanityCheckFailed(QUORLINE_HERE, L"Invalid root element");
}

void CDocumentStoreXmlParser::HandleEndElement() {
    const auto ended = m_elements.End();
    WantCharacterData(m_elements.CollectsText());
    if (ended)
        Apply(ended->element, ended->text);
}

void CDocumentStoreXmlParser::HandleCharacterData(std::wstring_view text) {
    m_elements.AddText(text);
}

void CDocumentStoreXmlParser::Apply(InfoFileElement element, const std::wstring& text) {
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
    default:
        for (const CInfoFileField& field : GetInfoFileFields())
            if (field.element == element)
                field.set(*m_document, text);
    }
}
