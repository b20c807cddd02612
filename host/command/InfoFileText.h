#pragma once

// The info file's text as the library writes it: a value stands alone on its line, unescaped, and "%" in it is taken
// as a conversion. This keeps values whole in both directions.

#include "InternalSavedDocument.h"

#include <string>
#include <string_view>

/// The text of an info file whose values are such that every reader takes them: markup escaped, what XML cannot hold
/// replaced by U+FFFD, and "False" where the overwriting of a recovered value was torn. Bytes in UTF-8. A text that is
/// no info file comes back as it is.
std::string MendInfoText(std::string_view text);

/// What stands in front of each document's recovered value, once for every document.
inline constexpr std::string_view RecoveredValueFrame = "\t\t\t\t<Rec>\r\n\t\t\t\t";
/// The value as it can be overwritten: both have one size, and a reader trims the tab.
constexpr std::string_view RecoveredValue(TEMP_DOCUMENT_STATUS status) noexcept {
    return status == TEMP_DOCUMENT_RECOVERED ? "True\t" : "False";
}

/// What the reader gives back of a value that the library wrote by itself, as it is.
std::wstring AsRecorded(const std::wstring& value);
