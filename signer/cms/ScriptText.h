#pragma once

// A script as text and as a file. Files are UTF-8 with or without a byte-order mark, or UTF-16LE with one. A mark stays
// in the text as U+FEFF, just as the library loads it; it is not part of what is signed, so that a JScript verifies
// alike however it is stored. A VBScript must have none.

#include "common/Bytes.h"

#include <string>
#include <string_view>

enum class ScriptKind { VBScript, JScript };

/// From an extension or a path, whatever its case: ".vbs" or ".js". Throws CSignerError (E_INVALIDARG) for any other.
ScriptKind ScriptKindOf(std::wstring_view name);

/// Whether a byte-order mark is in front. JScript passes over one; VBScript then runs nothing of the text.
bool HasMark(std::wstring_view text) noexcept;
std::wstring_view WithoutMark(std::wstring_view text) noexcept;

/// Why the library would not read a script's bytes as they are meant; empty for UTF-8 without a mark. It reads each
/// script as UTF-8, and hands a mark on to the engine.
std::wstring FindEncodingTrouble(CBytesView bytes);

class CScriptFile {
public:
    /// Throws CSignerError: the file cannot be read or is in another encoding.
    explicit CScriptFile(const std::wstring& path);

    const std::wstring& Text() const noexcept { return m_text; }
    /// The file's bytes for the first characters of its text, followed by more text in the file's encoding.
    CBytes Replace(std::size_t keptCharacters, std::wstring_view more) const;

private:
    CBytes Encode(std::wstring_view text) const;

    CBytes m_bytes;
    std::wstring m_text;
    bool m_utf16;
};
