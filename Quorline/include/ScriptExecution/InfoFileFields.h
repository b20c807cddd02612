#pragma once

// What an info file says of each document, for everybody who writes, reads or shows it:
//
//     for (const CInfoFileField& field : GetInfoFileFields())
//         Show(InfoFileName(field.element), field.get(document));

#include "base/Export.h"
#include "ScriptExecution/InfoFileElement.h"

#include <span>
#include <string>

class CInternalSavedDocument;

struct CInfoFileField {
    InfoFileElement element;
    std::wstring (*get)(const CInternalSavedDocument& document);
    /// The same into a text that is there already, and its memory with it.
    void (*read)(const CInternalSavedDocument& document, std::wstring& text);
    /// Throws CXmlParseException for a text that the field cannot have, which only Rec can tell.
    void (*set)(CInternalSavedDocument& document, const std::wstring& text);
};

/// In the order in which the file holds them.
QUORLINE_API std::span<const CInfoFileField> GetInfoFileFields() noexcept;
