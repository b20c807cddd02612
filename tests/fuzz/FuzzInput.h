#pragma once

// What the fuzzers of the parsers share. Each of them is one file that defines
//
//     extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
//
// and is built twice: natively, with sanitizers, for the fuzzer that looks for new inputs, and as a Windows program
// that replays the inputs of the corpus.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// Ends the process when a parser broke its word.
inline void FuzzRequire(bool holds, const char* promise) {
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::fflush(stderr);
    std::abort();
}

/// Takes an input apart; what is missing at its end is zero or empty.
class CFuzzInput {
public:
    CFuzzInput(const std::uint8_t* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    std::uint8_t TakeByte() {
        if (m_rest.empty())
            return 0;
        const auto byte = static_cast<std::uint8_t>(m_rest.front());
        m_rest.remove_prefix(1);
        return byte;
    }

    /// The rest as text: bytes below 0x7F are characters, so that inputs can be read and written by hand, 0x7F is
    /// followed by a UTF-16 code unit, high byte first, and larger ones begin such a unit themselves.
    std::wstring TakeText() {
        std::wstring text;
        while (!m_rest.empty()) {
            unsigned c = TakeByte();
            if (c == 0x7F)
                c = TakeByte();
            else if (c < 0x7F) {
                text += static_cast<wchar_t>(c);
                continue;
            }
            c = c << 8 | TakeByte();
            text += static_cast<wchar_t>(c);
        }
        return text;
    }

private:
    std::string_view m_rest;
};
