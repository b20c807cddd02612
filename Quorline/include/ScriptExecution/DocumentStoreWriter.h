#pragma once

// What can write down a store and its state change.

#include "base/Export.h"

class CDocumentStoreInfo;

class QUORLINE_API CDocumentStoreWriter {
public:
    virtual ~CDocumentStoreWriter() = default;
    virtual void WriteDocumentStore(CDocumentStoreInfo& info) = 0;
};
