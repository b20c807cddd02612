#pragma once

// What a directory holds, asked for once: of thousands of stores each question is a call that the system has to look
// through the directory for, the more so for a file that is not there.

#include <string>
#include <vector>

struct CListedFile {
    std::wstring name;
    bool isDirectory;
};

/// In directory-search order, without the directory itself and its parent; empty for one that cannot be read.
std::vector<CListedFile> ListDirectory(const std::wstring& directory);

/// Whether something of this name is there.
bool Holds(const std::vector<CListedFile>& files, const wchar_t* name);
