#include "ScriptExecution/WritableStore.h"

#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLWriter.h"
#include "ScriptExecution/InfoFileFields.h"
#include "ScriptExecution/StateChangeInstance.h"

#include <algorithm>

namespace {
/// Whether the writer puts a character into the file as it is.
constexpr bool IsWrittenWhole(wchar_t c) noexcept {
    return c != L'&' && c != L'<' && c != L'>' && c != L'%' && !IsUnwritable(c);
}
} // namespace

std::wstring MakeWritable(const std::wstring& value) {
    constexpr wchar_t ReplacementCharacter = 0xFFFD;
    std::wstring result;
    for (const wchar_t c : value) {
        if (c == L'&')
            result += L"&amp;";
        else if (c == L'<')
            result += L"&lt;";
        else if (c == L'>')
            result += L"&gt;";
        else if (c == L'%')
            result += L"%%";
        else
            result += IsUnwritable(c) ? ReplacementCharacter : c;
    }
    return result;
}

std::unique_ptr<CInternalDocumentStore> WritableCopy(const CInternalDocumentStore& store) {
    auto copy = std::make_unique<CInternalDocumentStore>(store);
    std::wstring value;
    for (const auto& record : *copy->GetSavedDocumentList())
        for (const CInfoFileField& field : GetInfoFileFields()) {
            // A save makes a copy for each process, and nearly every value in it is as it should be.
            field.read(*record, value);
            if (!std::ranges::all_of(value, &IsWrittenWhole))
                field.set(*record, MakeWritable(value));
        }
    return copy;
}

void RewriteInfoFile(const std::wstring& path, const CDocumentStoreInfo& info) {
    CStateChangeInstance* change = info.GetStateChangeInstance();
    if (change != nullptr && change->GetUTCTimestamp().dwLowDateTime == 0 &&
        change->GetUTCTimestamp().dwHighDateTime == 0)
        change = nullptr; // the file had none
    // A forced shutdown is written with a name that does not read back; a time without a type can be nothing else,
    // because only the two kinds of shutdown are ever written.
    if (change != nullptr && change->GetStateChangeType() != Shutdown)
        change->SetStateChangeType(ForceShutdown);
    const auto writable = WritableCopy(*info.GetInternalDocumentStore());
    CDocumentStoreInfo record(change, writable.get());
    CDocumentStoreXMLWriter(path).WriteDocumentStore(record);
}
