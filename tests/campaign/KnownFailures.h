#pragma once

// How each function fails that the library and its servers import.

#include <string>
#include <vector>

/// What a function's failure may lead to because it is meant to, beyond a result, a veto or a line of the log.
enum class Tolerated { Nothing, Silence, Growth };

/// How a function fails: what is called in its place, with its arguments. Null for one that is left out.
struct CKnownFailure {
    const char* function;
    void* failing;
    Tolerated tolerated = Tolerated::Nothing;
    const char* reason = nullptr; ///< why it is left out, or why more is tolerated
};

const std::vector<CKnownFailure>& KnownFailures();

/// Of those that are not in the list: whether there is nothing to make fail.
bool CannotFail(const std::string& function);

/// What a function of the list may lead to.
Tolerated ToleratedOf(const std::string& function);
