#pragma once

// Folders that go with all that is in them.

#include <string>

/// Removes a folder with everything in it, as far as that can be. A link is not followed: what it leads to stays. True
/// when nothing of the folder is left. Each thing that the system lists is tried once: the runtime's own function has
/// been seen to go round for ever where a file that was gone was listed again and again.
bool RemoveFolder(const std::wstring& path);
