#include "InternalRestoreScriptArgs.h"

#include "TalvinorRestoreScriptArgs.h"
#include "logging/Logging.h"

HRESULT CInternalRestoreScriptArgs::CreateRestoreArgsCOMObject(ITalvinorRestoreScriptArgs** ppArgs) {
    Log(log4cxx::Level::getDebug(), L"Creating restore args COM object");
    return CTalvinorRestoreScriptArgs::CreateInstance(ppArgs);
}

log4cxx::LoggerPtr CInternalRestoreScriptArgs::SDGetLogger() {
    return GetClassLogger(L"Quorline.InternalRestoreScriptArgs");
}

void CInternalRestoreScriptArgs::Log(log4cxx::LevelPtr level, std::wstring format, ...) {
    va_list args;
    va_start(args, format);
    LogToLoggerV(SDGetLogger(), level, format, args);
    va_end(args);
}
