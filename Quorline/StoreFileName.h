#pragma once

// Which file names a document may have in a store's directory, whether one of them is free, and what a script's author
// is told when none is.

#include <windows.h>

#include <string>

/// Why a document must not have this file name, as a sentence; empty when it may. A separator leads out of the
/// directory, a colon into a hidden stream of another file, and a control character can be neither seen nor recorded.
std::wstring DescribeForbiddenName(const std::wstring& fileName);

/// Why the system made no file of this name, as a sentence: what is wrong with the name, or else the system's own text.
std::wstring DescribeRefusedName(const std::wstring& fileName, DWORD error);

enum class NameProbe {
    Free,    ///< a file of this name can be made
    Taken,   ///< something of this name is there
    Refused, ///< nothing is there, and still no file can be made
    Hopeless ///< no other name would fare better
};

/// Makes a file of this path, which lies in the directory, and deletes it again. The full path is that of the same
/// file. Sets error when that fails.
NameProbe ProbeName(const std::wstring& directory, const std::wstring& path, const std::wstring& fullPath,
                    DWORD& error);
