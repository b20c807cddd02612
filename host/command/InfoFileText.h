#pragma once

// The info file's text as the library writes it: a value stands alone on its line, unescaped, and "%" in it is taken
// as a conversion. This keeps values whole in both directions.

#include "InternalSavedDocument.h"

#include <string>
#include <string_view>
#include <vector>

/// Copies an info file with the values' "&" and "<" escaped. False when it cannot be read or written.
bool WriteMendedInfoFile(const std::wstring& source, const std::wstring& target);

/// The text of an info file with the values' "&" and "<" escaped; bytes in UTF-8.
std::string MendInfoText(std::string_view text);

/// A value such that the writer puts it into the file whole and the reader gives it back.
std::wstring MakeWritable(const std::wstring& value);

/// Makes the values of records writable for as long as it lives, and gives them their own back.
class CWritableRecords {
public:
    explicit CWritableRecords(std::vector<CInternalSavedDocument*> records);
    ~CWritableRecords();

    CWritableRecords(const CWritableRecords&) = delete;
    CWritableRecords& operator=(const CWritableRecords&) = delete;

private:
    struct CValues {
        CInternalSavedDocument* record;
        std::vector<std::wstring> texts;
    };
    std::vector<CValues> m_values;
};
