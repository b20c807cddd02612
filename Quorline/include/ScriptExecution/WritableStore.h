#pragma once

// Info files whose values come back whole. The writer puts a value in unescaped and as the format text of a print; what
// is written from a copy of the store with escaped values reads back as it was:
//
//     CDocumentStoreXMLWriter::WriteDocumentStore(WritableCopy(store).get(), change);

#include "base/Export.h"

#include <memory>
#include <string>

class CDocumentStoreInfo;
class CInternalDocumentStore;

/// No XML file can hold it, in whatever form.
constexpr bool IsUnwritable(wchar_t c) noexcept {
    return (c < 0x20 && c != L'\t' && c != L'\r' && c != L'\n') || c == 0xFFFE || c == 0xFFFF;
}

/// A value such that the writer puts it into the file whole and the reader gives it back, but for characters that XML
/// cannot hold, which come back as U+FFFD.
QUORLINE_API std::wstring MakeWritable(const std::wstring& value);

/// A copy of a store for the writer: the same store, with values that it writes whole.
QUORLINE_API std::unique_ptr<CInternalDocumentStore> WritableCopy(const CInternalDocumentStore& store);

/// Writes what was read from an info file, and changed since, to that file again: with whole values, and with a state
/// change section if the file had one. Throws what the writer throws, and leaves the old file then.
QUORLINE_API void RewriteInfoFile(const std::wstring& path, const CDocumentStoreInfo& info);
