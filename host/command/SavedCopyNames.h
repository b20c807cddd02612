#pragma once

// Finds the saved copies of a save that was ended before its record was complete. Until then the library writes the
// values as the format texts of a print: "100% sure.txt" stands there with something else for "% s". Which file was
// meant can be told from what the directory holds.

#include "DirectoryListing.h"
#include "InternalSavedDocument.h"

#include <string>
#include <vector>

/// Gives each of a store's records that names no file of the store's directory the path of the file whose name reads
/// like that in a record. Of several, and of several records that name one file, each gets one.
void FindSavedCopies(const std::wstring& directory, const std::vector<CListedFile>& files,
                     const std::vector<CInternalSavedDocument*>& records);
