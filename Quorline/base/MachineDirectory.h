#pragma once

// Directories that decide what the client runs: its data, settings and scripts. Where the installation puts them
// outside its own folder, they would have the rights of whatever folder they are in, which may let every user write.

#include <string>

/// True for a directory below the other, or the same; both as text, without regard to case. Nothing is below no folder.
bool IsDirectoryBelow(const std::wstring& path, const std::wstring& folder);

/// Makes one directory, the last of `path`, whose rights are its own: administrators and the system write, users read.
/// False when it is there already or cannot be made so: a user who is no administrator can only make one of his own,
/// and a file system may know no rights.
bool MakeMachineDirectory(const std::wstring& path) noexcept;
