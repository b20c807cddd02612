#pragma once

// What somebody may have meant who mistyped a name.

#include <string>
#include <string_view>
#include <vector>

/// The name that takes the fewest changes of a character (put in, left out, exchanged, or swapped with its neighbour)
/// to become what was typed, or else the only one that begins so; empty when none is near enough to be what was meant.
std::string FindNearestName(std::string_view typed, const std::vector<std::string>& names);
