#pragma once

// A store together with the state change that produced it.

#include "base/Export.h"

#include <memory>

class CInternalDocumentStore;
class CStateChangeInstance;

/// What the file that describes a store is called, in the store's directory.
inline constexpr wchar_t InfoFileStem[] = L"info";
inline constexpr wchar_t InfoFileExtension[] = L".xml";
inline constexpr wchar_t InfoFile[] = L"info.xml";

class QUORLINE_API CDocumentStoreInfo {
public:
    /// Creates and owns both objects; the form that an info file is read into. The time of the state change is zero,
    /// so that a store without a StateChange section never counts as the last one saved.
    CDocumentStoreInfo();

    /// Refers to both; either may be null, and neither is deleted.
    CDocumentStoreInfo(CStateChangeInstance* stateChangeInstance, CInternalDocumentStore* store);

    CStateChangeInstance* GetStateChangeInstance() const { return m_stateChangeInstance.get(); }
    CInternalDocumentStore* GetInternalDocumentStore() const { return m_store.get(); }

private:
    // Copies of an owning info share its objects; those of a referring one hold pointers without an owner.
    std::shared_ptr<CStateChangeInstance> m_stateChangeInstance;
    std::shared_ptr<CInternalDocumentStore> m_store;
};
