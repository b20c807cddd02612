#pragma once

#include "common/Bytes.h"

#include <string>

/// One line without breaks. Throws CSignerError.
std::wstring EncodeBase64(CBytesView bytes);
