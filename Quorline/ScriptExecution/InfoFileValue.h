#pragma once

// How a value is printed into the info file.

#include <string>

/// The text that a wide formatted print gives for this value as its format, with a zero or null for every argument:
/// "100%d" gives "1000", "%s" gives "(null)", "%%" gives "%". Nothing is read or written through an argument, "%n"
/// prints nothing, widths and precisions are cut (to 512, an integer's precision to 20), and an unknown conversion
/// prints its own character.
std::wstring FormatInfoFileValue(const std::wstring& value);
