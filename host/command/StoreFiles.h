#pragma once

// What lies in the stores beside what their records tell.

#include "SavedCopy.h"
#include "StoreCatalog.h"

/// Full paths of what lies in a store and is named by no record: a script wrote it by itself, or the record is lost.
std::vector<std::wstring> FindUnrecorded(const CStoreEntry& store);

/// Appends the directories among the stores that hold something but no info file, as entries that cannot be read:
/// nothing says that they ever were stores. Nothing is asked about the stores that were read already.
void AddStoresWithoutRecord(std::vector<CStoreEntry>& stores);

/// Says, of each store whose record cannot be read, that and what to do about it.
void PrintUnreadable(const std::vector<CStoreEntry>& stores);

/// Whether a document's saved copy is there to be restored.
CSavedCopyAnswer ExamineCopyOf(const CSavedCopies& copies, const CStoreEntry& store,
                               const CInternalSavedDocument& document);

/// "2026-11-21 20:45:00 UTC", the time of the change: as recorded, or as the directory is named after it. Empty where
/// neither tells.
std::wstring TimeOf(const CStoreEntry& store);

/// "shutdown" or "force-shutdown"; empty where the record names no state: only shutdowns are recorded.
std::wstring StateOf(const CStoreEntry& store);
