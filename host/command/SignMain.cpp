// quorline-sign.exe: the signing commands alone, for machines where nothing else of the system is wanted.

#include "Commands.h"

#include <log4cxx/logger.h>

int wmain(int count, wchar_t** values) {
    // What the log would say is printed anyway.
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    CCommandLine line("quorline-sign", "Signs scripts and tells whether this machine accepts them.", LibraryLog::None);
    AddSigningCommands(line);
    return line.Run(count, values);
}
