#pragma once

// The state machine that an info file drives: which element may stand in which, and what its text sets. A second
// element of one kind under one parent is ignored, and so is every element that the table does not know, each with its
// whole subtree; only Doc repeats. Names are compared exactly.

#include "Common/ExpatParseState.h"
#include "InternalSavedDocument.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

class CDocumentStoreInfo;

class CDocumentStoreXmlParser : public CExpatParser<16> {
public:
    /// Fills the info's objects; both must be there and outlive the parser.
    explicit CDocumentStoreXmlParser(CDocumentStoreInfo& info);

protected:
    void HandleStartElement(std::wstring_view name) override;
    void HandleEndElement() override;
    void HandleCharacterData(std::wstring_view text) override;

private:
    void Apply(std::size_t element, const std::wstring& text);

    CDocumentStoreInfo& m_info;
    std::vector<CExpatParseState<16>> m_states;
    std::size_t m_ignoredDepth = 0; ///< open elements in the subtree that is being ignored
    std::wstring m_text;
    std::unique_ptr<CInternalSavedDocument> m_document;
};
