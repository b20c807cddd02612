#pragma once

// Creates the arguments of restore scripts. Stateless.

#include "base/Export.h"
#include "logging/LoggerFwd.h"

#include <windows.h>

#include <string>

struct ITalvinorRestoreScriptArgs;

class QUORLINE_API CInternalRestoreScriptArgs {
public:
    /// A new object without documents, with one reference for the caller.
    static HRESULT CreateRestoreArgsCOMObject(ITalvinorRestoreScriptArgs** ppArgs);

private:
    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);
};
