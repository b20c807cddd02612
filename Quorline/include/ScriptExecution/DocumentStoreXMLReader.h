#pragma once

// Reads a store's info file back, from the disk or from memory.
//
//     CDocumentStoreInfo info;
//     CDocumentStoreXMLReader(path).ReadDocumentStore(info);

#include "base/Export.h"

#include <cstdio>
#include <string>
#include <string_view>

class CDocumentStoreInfo;

class QUORLINE_API CDocumentStoreXMLReader {
public:
    explicit CDocumentStoreXMLReader(std::wstring path) : m_path(std::move(path)) {}

    /// Fills the info's state change and store, which must both be there; what the file does not mention stays as it
    /// is. Throws CXmlParseException for malformed text, CMorvaneException when the file cannot be opened or is no info
    /// file, COSException for a bad identifier. Records read before the failure stay in the store.
    void ReadDocumentStore(CDocumentStoreInfo& info);

    /// The same for an info file that is open, in binary mode; it stays open.
    static void ReadDocumentStoreFromStream(std::FILE* file, CDocumentStoreInfo& info);

    /// The same for an info file whose bytes are in memory.
    static void ReadDocumentStoreFromMemory(std::string_view bytes, CDocumentStoreInfo& info);

private:
    std::wstring m_path;
};
