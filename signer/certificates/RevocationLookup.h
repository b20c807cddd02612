#pragma once

// Asks whether a certificate or one above it was revoked. The lists may be on servers that take a connection and then
// say nothing for minutes, in spite of the time limit that the system is given; so a thread asks that may be left alone
// with its question. It holds on to everything it uses, the module with its code included.

#include "certificates/ChainBuilder.h"

#include <optional>

/// The chain's trust errors; nothing when the answer did not come in time. As long as one about a certificate is still
/// awaited, no other question about it is asked. Throws CRefusal, and CSignerError when no thread can be made.
std::optional<DWORD> AskRevocationLists(PCCERT_CONTEXT certificate, const CChainDemand& demand);
