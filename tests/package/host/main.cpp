// The smallest host that is of use: lists the documents of this user that are still to be recovered.

#include "InternalDocumentStore.h"
#include "InternalSavedDocument.h"
#include "ScriptExecution/DocumentStoreHistory.h"
#include "base/Exceptions.h"

#include <cstdio>

int main() {
    try {
        int count = 0;
        for (const auto& info : CDocumentStoreHistory::GetInstance().GetSavedDocumentInfos())
            for (const auto& document : *info->GetInternalDocumentStore()->GetSavedDocumentList())
                if (std::wstring path; document->GetStatus() != TEMP_DOCUMENT_RECOVERED) {
                    document->GetDocTempPath(path);
                    std::printf("%d: %ls\n", ++count, path.c_str());
                }
        std::printf("%d documents still to be recovered\n", count);
    } catch (const CMorvaneException&) {
        return 1; // the log says which store cannot be read
    }
}
