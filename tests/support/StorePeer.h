#pragma once

// Puts a store into states that its constructors never leave.

#include "InternalDocumentStore.h"

struct CInternalDocumentStorePeer {
    static void ForgetGuid(CInternalDocumentStore& store) { store.m_guid.reset(); }
    static void Uninit(CInternalDocumentStore& store) { store.m_inited = false; }
    static std::wstring GuidString(const CInternalDocumentStore& store) { return store.GetGuidString(); }
};
