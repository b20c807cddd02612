#pragma once

// The content that a script's signature covers: which language the script is in, and which digest its text has. The
// digest is over the text without its block and without a byte-order mark, as UTF-16LE.

#include "cms/ScriptText.h"
#include "crypto/Digest.h"

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
