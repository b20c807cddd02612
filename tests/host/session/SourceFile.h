#pragma once

// The scripts and guides as they stand in the source tree.

#include <windows.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// A file of UTF-8 text; the path is relative to the top of the tree.
inline std::wstring ReadSource(const std::string& path) {
    std::ifstream file(std::string(QUORLINE_SOURCES) + "/" + path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    if (bytes.empty())
        throw std::runtime_error("cannot be read: " + path);
    std::wstring text(bytes.size(), L'\0');
    text.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                                             static_cast<int>(bytes.size()), text.data(),
                                                             static_cast<int>(text.size()))));
    return text;
}

/// The part from one text up to the end of the next other one.
inline std::wstring PartOf(const std::wstring& text, const std::wstring& begin, const std::wstring& end) {
    const std::size_t first = text.find(begin);
    const std::size_t last = first == std::wstring::npos ? first : text.find(end, first);
    if (last == std::wstring::npos)
        throw std::runtime_error("there is no such part");
    return text.substr(first, last + end.size() - first);
}
