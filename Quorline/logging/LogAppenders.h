#pragma once

// The appenders that the log configuration puts into log4cxx. Host and library share log4cxx, and it may stay when the
// library goes: whatever it holds from here is made inside it, so that no code of the library's is left behind (a
// shared pointer runs its maker's code at its end), and is taken out again in the end.
//
// Appenders are exchanged while other threads log, and no line is lost: a thread that has still met the old appender
// writes to it, and it closes when the last such thread has done so.

#include <log4cxx/appender.h>
#include <log4cxx/helpers/optionconverter.h>
#include <log4cxx/logger.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

class CLineLayout;

log4cxx::LogString ToLogString(const std::wstring& text);

/// An object of log4cxx's, made by its class name as a properties file has it made. Throws std::runtime_error.
template <class T> std::shared_ptr<T> MakeLog4cxxObject(const char* className) {
    auto object = std::dynamic_pointer_cast<T>(log4cxx::helpers::OptionConverter::instantiateByClassName(
        className, T::getStaticClass(), log4cxx::helpers::ObjectPtr()));
    if (!object)
        throw std::runtime_error(std::string("log4cxx cannot make a ") + className);
    return object;
}

/// Not thread-safe itself: the log configuration has a lock.
class CLogAppenders {
public:
    CLogAppenders() = default;
    CLogAppenders(const CLogAppenders&) = delete;
    CLogAppenders& operator=(const CLogAppenders&) = delete;

    /// Has an appender that writes lines show control characters; one that does not is left alone. Before it is put in.
    /// `logFile` as for CLineLayout.
    static std::shared_ptr<CLineLayout> ShowControlsIn(const log4cxx::AppenderPtr& appender,
                                                       const std::wstring& logFile = {});

    /// Adds it to the logger's appenders, or puts it in place of the one of its name.
    void Put(const log4cxx::LoggerPtr& logger, const log4cxx::AppenderPtr& appender);

    /// Gives the logger these appenders and no others.
    void Replace(const log4cxx::LoggerPtr& logger, const log4cxx::AppenderList& appenders);

    /// Takes every one out that is there yet, and closes it.
    void RemoveAll() noexcept;

private:
    struct CEntry {
        log4cxx::LoggerPtr logger;
        std::weak_ptr<log4cxx::Appender> appender;
    };
    std::vector<CEntry> m_entries;
};
