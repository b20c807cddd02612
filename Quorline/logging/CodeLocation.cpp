#include "logging/CodeLocation.h"

std::string CCodeLocation::Text() const {
    std::string text(file);
    text.append("; line ").append(std::to_string(line)).append("; ").append(function);
    return text;
}
