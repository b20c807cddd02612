#include "ScriptExecution/DocumentStoreXMLReader.h"

#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXmlParser.h"

namespace {
void RequireObjects(const CCodeLocation& location, const CDocumentStoreInfo& info) {
    if (!info.GetInternalDocumentStore() || !info.GetStateChangeInstance())
        SanityCheckFailed(location, L"Info without objects passed to ReadDocumentStore");
}
} // namespace

void CDocumentStoreXMLReader::ReadDocumentStore(CDocumentStoreInfo& info) {
    RequireObjects(QUORLINE_HERE, info);
    CDocumentStoreXmlParser(info).ParseFile(m_path);
}

void CDocumentStoreXMLReader::ReadDocumentStoreFromStream(std::FILE* file, CDocumentStoreInfo& info) {
    RequireObjects(QUORLINE_HERE, info);
    CDocumentStoreXmlParser(info).ParseFile(file);
}

void CDocumentStoreXMLReader::ReadDocumentStoreFromMemory(std::string_view bytes, CDocumentStoreInfo& info) {
    RequireObjects(QUORLINE_HERE, info);
    CDocumentStoreXmlParser(info).Parse(bytes, true);
}
