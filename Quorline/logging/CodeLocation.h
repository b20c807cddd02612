#pragma once

// The place of a check. QUORLINE_HERE captures file, line and the qualified function name at the call site:
//
//     CheckWin32Error(QUORLINE_HERE, GetLastError(), L"CreateEvent");

#include <string>
#include <string_view>

struct CCodeLocation {
    std::string_view file; ///< relative to the library's folder; the text outlives the location
    int line = 0;
    std::string_view function; ///< qualified, "CScriptRunner::RunScript"

    /// "file; line N; function"
    std::string Text() const;
};

namespace logging_detail {
/// Cuts "void CScriptRunner::RunScript(CScript*)" down to "CScriptRunner::RunScript".
constexpr std::string_view QualifiedName(std::string_view signature) {
    // The parameter list opens at the first parenthesis outside template arguments; "operator()" does not log.
    std::size_t end = 0;
    for (int depth = 0; end < signature.size(); ++end) {
        const char c = signature[end];
        if (c == '<')
            ++depth;
        else if (c == '>' && depth > 0)
            --depth;
        else if (c == '(' && depth == 0)
            break;
    }
    std::size_t begin = end;
    for (int depth = 0; begin > 0; --begin) {
        const char c = signature[begin - 1];
        if (c == '>')
            ++depth;
        else if (c == '<' && depth > 0)
            --depth;
        else if (depth == 0 && (c == ' ' || c == '*' || c == '&'))
            break;
    }
    return signature.substr(begin, end - begin);
}
} // namespace logging_detail

// A macro, because only the call site knows its own file, line and function.
#define QUORLINE_HERE (CCodeLocation{__FILE__, __LINE__, logging_detail::QualifiedName(__PRETTY_FUNCTION__)})
