#pragma once

// One insert of a message: what its specification reads from an argument, and how the argument is printed.

#include <cstdint>
#include <string>
#include <string_view>

/// Prints an argument, which is one slot of an argument list, by `specification`; at most 4095 characters. `number` is
/// the insert's, for messages. Throws CIntlHelperException when the specification is none, or its string argument
/// cannot be read.
std::wstring FormatInsert(std::wstring_view specification, int number, std::uint64_t slot);
