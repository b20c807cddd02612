#include "ScriptExecution/InfoFileFields.h"

#include "base/Exceptions.h"
#include "base/Text.h"
#include "InternalSavedDocument.h"

namespace {
using enum InfoFileElement;

template <auto Getter> std::wstring Get(const CInternalSavedDocument& document) {
    std::wstring text;
    (document.*Getter)(text);
    return text;
}

template <auto Getter> void Read(const CInternalSavedDocument& document, std::wstring& text) {
    (document.*Getter)(text);
}

template <auto Setter> void Set(CInternalSavedDocument& document, const std::wstring& text) {
    (document.*Setter)(text);
}

constexpr std::wstring_view RecoveredText = L"True";
constexpr std::wstring_view NotRecoveredText = L"False";

std::wstring GetRecovered(const CInternalSavedDocument& document) {
    return std::wstring(document.GetStatus() == TEMP_DOCUMENT_RECOVERED ? RecoveredText : NotRecoveredText);
}

void ReadRecovered(const CInternalSavedDocument& document, std::wstring& text) {
    text = GetRecovered(document);
}

void SetRecovered(CInternalSavedDocument& document, const std::wstring& text) {
    // First as it is written: without regard to case, the runtime asks the locale about each letter of every record.
    if (text == RecoveredText || text == NotRecoveredText)
        document.SetStatus(text == RecoveredText ? TEMP_DOCUMENT_RECOVERED : TEMP_DOCUMENT_NOT_RECOVERED);
    else if (SameText(text, L"true"))
        document.SetStatus(TEMP_DOCUMENT_RECOVERED);
    else if (SameText(text, L"false"))
        document.SetStatus(TEMP_DOCUMENT_NOT_RECOVERED);
    else
        throw CXmlParseException(text);
}

template <auto Getter, auto Setter> constexpr CInfoFileField TextField(InfoFileElement element) {
    return {element, &Get<Getter>, &Read<Getter>, &Set<Setter>};
}

using CRecord = CInternalSavedDocument;
constexpr CInfoFileField Fields[] = {
    TextField<&CRecord::GetDocName, &CRecord::SetDocName>(Name),
    TextField<&CRecord::GetDocOriginalPath, &CRecord::SetDocOriginalPath>(OrigPath),
    TextField<&CRecord::GetDocTempPath, &CRecord::SetDocTempPath>(TempPath),
    TextField<&CRecord::GetAppExeImageName, &CRecord::SetAppExeImageName>(AppName),
    TextField<&CRecord::GetAppPath, &CRecord::SetAppPath>(AppPath),
    {Rec, &GetRecovered, &ReadRecovered, &SetRecovered},
    TextField<&CRecord::GetRestoreScriptName, &CRecord::SetRestoreScriptName>(RestoreScript),
    TextField<&CRecord::GetSaveScriptName, &CRecord::SetSaveScriptName>(SaveScript),
};
} // namespace

std::span<const CInfoFileField> GetInfoFileFields() noexcept {
    return Fields;
}
