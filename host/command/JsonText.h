#pragma once

// The JSON that commands answer with.

#include "Console.h"

#include <nlohmann/json.hpp>

/// Beyond ASCII as escapes: nothing in a name can then turn the text round on a terminal.
inline void PrintJson(const nlohmann::ordered_json& value) {
    PrintData(value.dump(2, ' ', true));
}
