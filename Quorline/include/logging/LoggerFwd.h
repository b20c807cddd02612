#pragma once

// The names of log4cxx that stand in the declarations of a class that logs, for headers that a host includes: it then
// needs log4cxx's own headers only if it logs there itself.

#include <memory>

namespace log4cxx {
class Level;
class Logger;
using LevelPtr = std::shared_ptr<Level>;
using LoggerPtr = std::shared_ptr<Logger>;
} // namespace log4cxx
