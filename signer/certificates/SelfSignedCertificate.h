#pragma once

#include "common/CryptHandles.h"

#include <string>

/// A certificate for code signing that the key (AT_SIGNATURE) signs itself, from an hour ago, for machines whose clocks
/// differ a little, to a year from now. The subject is text, "CN=Name, O=Organisation". Throws CSignerError.
CUniqueCertificate BuildSelfSigned(const std::wstring& subject, HCRYPTPROV key);
