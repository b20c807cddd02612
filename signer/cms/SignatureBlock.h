#pragma once

// The signature block at the end of a signed script: comment lines with one prefix per language, a begin line, the
// signature as base64, an end line.
//
//     '' SIG '' Begin signature block
//     '' SIG '' MIIFfAYJKoZIhvcNAQcCoIIFbTCCBWkCAQExDzANBglg...
//     '' SIG '' End signature block
//
// The line break in front of the block belongs to it, not to the text that is signed. Blocks are written with CR LF and
// read with either line break, as long as it is the same throughout: version control may have changed it.

#include "cms/ScriptText.h"

#include <optional>

/// What a signed text consists of. The view points into the text that was split.
struct CSignedText {
    std::wstring_view text;
    CBytes signature;
};

/// Nothing when no line begins as a block's lines do. Throws CRefusal for anything but one whole block at the very end.
std::optional<CSignedText> SplitSignedText(ScriptKind kind, std::wstring_view text);

/// The line break and the block, to be appended to the text.
std::wstring FormatSignatureBlock(ScriptKind kind, CBytesView signature);

/// Only the one spelling that EncodeBase64 writes, without line breaks, is read. Throws CRefusal.
CBytes DecodeBase64(std::wstring_view text);
