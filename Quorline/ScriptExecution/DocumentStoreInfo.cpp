#include "ScriptExecution/DocumentStoreInfo.h"

#include "InternalDocumentStore.h"
#include "ScriptExecution/StateChangeInstance.h"

CDocumentStoreInfo::CDocumentStoreInfo()
    : m_stateChangeInstance(std::make_shared<CStateChangeInstance>()),
      m_store(std::make_shared<CInternalDocumentStore>()) {
    m_stateChangeInstance->Init();
    m_stateChangeInstance->SetUTCTimestamp({});
}

CDocumentStoreInfo::CDocumentStoreInfo(CStateChangeInstance* stateChangeInstance, CInternalDocumentStore* store)
    : m_stateChangeInstance(std::shared_ptr<void>(), stateChangeInstance), m_store(std::shared_ptr<void>(), store) {}
