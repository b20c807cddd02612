#pragma once

// The members of a class that logs, which it declares as Logging.h shows:
//
//     QUORLINE_CLASS_LOG(CScript, L"ScriptExecution.Script")

#include "logging/Logging.h"

// A macro, because variable arguments can only be taken up by the function that they were given to.
#define QUORLINE_CLASS_LOG(Class, loggerName)                                                                          \
    namespace {                                                                                                        \
    constinit CClassLogger Class##Logger(loggerName);                                                                  \
    }                                                                                                                  \
    log4cxx::LoggerPtr Class::SDGetLogger() {                                                                          \
        return Class##Logger.Get();                                                                                    \
    }                                                                                                                  \
    void Class::Log(log4cxx::LevelPtr level, std::wstring format, ...) {                                               \
        va_list args;                                                                                                  \
        va_start(args, format);                                                                                        \
        LogToLoggerV(Class##Logger.Get(), level, format, args);                                                        \
        va_end(args);                                                                                                  \
    }                                                                                                                  \
    void Class::Log(log4cxx::LevelPtr level, const wchar_t* format, ...) {                                             \
        va_list args;                                                                                                  \
        va_start(args, format);                                                                                        \
        LogToLoggerV(Class##Logger.Get(), level, format, args);                                                        \
        va_end(args);                                                                                                  \
    }
