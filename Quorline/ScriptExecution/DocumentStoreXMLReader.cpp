#include "ScriptExecution/DocumentStoreXMLReader.h"

#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXmlParser.h"

void CDocumentStoreXMLReader::ReadDocumentStore(CDocumentStoreInfo& info) {
    if (!info.GetInternalDocumentStore() || !info.GetStateChangeInstance())
        SanityCheckFailed(QUORLINE_HERE, L"Info without objects passed to ReadDocumentStore");
    CDocumentStoreXmlParser(info).ParseFile(m_path);
}
