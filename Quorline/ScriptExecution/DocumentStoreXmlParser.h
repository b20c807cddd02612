#pragma once

// Fills the records of an info from its file: what expat finds drives the table of elements, and the text of each sets
// what it stands for.

#include "Common/ExpatParseState.h"
#include "InternalSavedDocument.h"
#include "ScriptExecution/InfoFileElements.h"

#include <memory>
#include <string>
#include <string_view>

class CDocumentStoreInfo;

class CDocumentStoreXmlParser : public CExpatParser<16> {
public:
    /// Fills the info's objects; both must be there and outlive the parser.
    explicit CDocumentStoreXmlParser(CDocumentStoreInfo& info);

    using CExpatParser<16>::ParseFile; // an open one too

protected:
    void HandleStartElement(std::wstring_view name) override;
    void HandleEndElement() override;
    void HandleCharacterData(std::wstring_view text) override;

private:
    void Apply(InfoFileElement element, const std::wstring& text);

    CDocumentStoreInfo& m_info;
    CInfoFileElements m_elements;
    std::unique_ptr<CInternalSavedDocument> m_document;
};
