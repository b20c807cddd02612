#include "Console.h"

#include "base/LineText.h"

#include <windows.h>

#include <cstdio>

std::string ToUtf8(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, result.data(), needed, nullptr, nullptr);
    return result;
}

std::wstring FromUtf8(std::string_view text) {
    const int size = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), needed);
    return result;
}

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
