#pragma once

// The two members of a class that logs, which it declares as Logging.h shows:
//
//     QUORLINE_CLASS_LOG(CScript, L"ScriptExecution.Script")

#include "logging/Logging.h"

// A macro, because variable arguments can only be taken up by the function that they were given to.
#define QUORLINE_CLASS_LOG(Class, loggerName)                                                                          \
    log4cxx::LoggerPtr Class::SDGetLogger() {                                                                          \
        return GetClassLogger(loggerName);                                                                             \
    }                                                                                                                  \
    void Class::Log(log4cxx::LevelPtr level, std::wstring format, ...) {                                               \
        va_list args;                                                                                                  \
        va_start(args, format);                                                                                        \
        LogToLoggerV(SDGetLogger(), level, format, args);                                                              \
        va_end(args);                                                                                                  \
    }
