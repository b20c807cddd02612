#include "InternalRestoreScriptArgs.h"

#include "TalvinorRestoreScriptArgs.h"
#include "logging/ClassLog.h"

HRESULT CInternalRestoreScriptArgs::CreateRestoreArgsCOMObject(ITalvinorRestoreScriptArgs** ppArgs) {
    Log(log4cxx::Level::getDebug(), L"Creating restore args COM object");
    return CTalvinorRestoreScriptArgs::CreateInstance(ppArgs);
}

QUORLINE_CLASS_LOG(CInternalRestoreScriptArgs, L"Quorline.InternalRestoreScriptArgs")
