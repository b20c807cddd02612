#pragma once

// The content that a script's signature covers: which digest the script's text has. The digest is over the text without
// its block and without a byte-order mark, as UTF-16LE.

#include "Digest.h"
#include "ScriptText.h"

struct CIndirectData {
    const CDigestAlgorithm* algorithm;
    CBytes digest;
};

CBytes ComputeScriptDigest(const CDigestAlgorithm& algorithm, std::wstring_view text);

/// The whole SEQUENCE.
CBytes FormatIndirectData(ScriptKind kind, const CIndirectData& data);

/// Throws CRefusal.
CIndirectData ParseIndirectData(CBytesView bytes);
