#include "Console.h"

#include "base/LineText.h"

#include <cstdio>

namespace {
CConsoleSettings& Settings() {
    static CConsoleSettings settings{"quorline", true};
    return settings;
}

void Write(std::FILE* stream, std::string_view text) {
    const std::string line = std::string(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
}
} // namespace

void SetConsole(CConsoleSettings settings) {
    Settings() = std::move(settings);
}

bool PrintsLines() {
    return Settings().lines;
}

void PrintLine(std::wstring_view text) {
    if (Settings().lines)
        Write(stdout, ToUtf8(ShowControls(text)));
}

void PrintError(std::wstring_view text) {
    Write(stderr, Settings().program + ": " + ToUtf8(ShowControls(text)));
}

void PrintData(std::string_view utf8) {
    Write(stdout, utf8);
}
