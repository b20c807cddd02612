// UTF-8 as the command reads it; what is malformed becomes U+FFFD.

#include "base/Utf8.h"
#include "Utf8.h"

std::wstring FromUtf8(std::string_view text) {
    return WidenUtf8(text);
}
