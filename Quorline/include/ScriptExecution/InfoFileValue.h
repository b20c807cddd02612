#pragma once

// How a value is printed into the info file.

#include "base/Export.h"

#include <string>

/// The text that a wide formatted print gives for this value as its format, with a zero or null for every argument:
/// "100%d" gives "1000", "%s" gives "(null)", "%%" gives "%". Nothing is read or written through an argument, "%n"
/// prints nothing, and an unknown conversion prints its own character. What a conversion prints is cut at 4,095
/// characters, and what all of them print at 65,536.
QUORLINE_API std::wstring FormatInfoFileValue(const std::wstring& value);
