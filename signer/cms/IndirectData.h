#pragma once

// The content that a script's signature covers: which language the script is in, and which digest its text has. The
// digest is over the text without its block and without a byte-order mark, as UTF-16LE.

#include "cms/ScriptText.h"
#include "crypto/Digest.h"

#include <string_view>

/// What the signed data says that its content is.
inline constexpr std::string_view IndirectDataOid = "1.3.6.1.4.1.311.2.1.4";

struct CIndirectData {
    const CDigestAlgorithm* algorithm;
    CBytes digest;
};

CBytes ComputeScriptDigest(const CDigestAlgorithm& algorithm, std::wstring_view text);

/// The whole SEQUENCE.
CBytes FormatIndirectData(ScriptKind kind, const CIndirectData& data);

/// Throws CRefusal, also when the content names another kind of script: a text that is harmless in one language may be
/// anything in the other.
CIndirectData ParseIndirectData(ScriptKind kind, CBytesView bytes);
