#pragma once

// The digits of a floating value, as the C runtime prints them.

#include <cstddef>
#include <optional>
#include <string>

constexpr std::size_t LongestFloatPrecision = 4095;

/// What the runtime's print call makes of a value by "%.<precision><conversion>" ("%#..." if `isAlternate`), with the
/// current locale's decimal point. `conversion` is one of eEfgGaA, `precision` at most LongestFloatPrecision.
std::wstring PrintFloatDigits(double value, std::optional<std::size_t> precision, bool isAlternate, wchar_t conversion);
