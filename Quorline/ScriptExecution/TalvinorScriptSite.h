#pragma once

// Marks the library's own script sites among the objects that an engine calls back; it has no methods.

#include <unknwn.h>

MIDL_INTERFACE("F5B74E2C-584B-4DE1-A9C6-292892C3A465")
ITalvinorScriptSite : public IUnknown{};

#ifdef __CRT_UUID_DECL
__CRT_UUID_DECL(ITalvinorScriptSite, 0xF5B74E2C, 0x584B, 0x4DE1, 0xA9, 0xC6, 0x29, 0x28, 0x92, 0xC3, 0xA4, 0x65)
#endif
