#pragma once

// The library as a COM module: its lock count, its classes and their registration.

#include "Quorline.h"
#include "resource.h"

#include <atlbase.h>

class CQuorlineModule : public ATL::CAtlDllModuleT<CQuorlineModule> {
public:
    DECLARE_LIBID(LIBID_QuorlineLib)
    DECLARE_REGISTRY_APPID_RESOURCEID(IDR_QUORLINE, "{3185B4F4-004F-4A32-8CE7-19EF71C719B3}")
};

extern CQuorlineModule _AtlModule;
