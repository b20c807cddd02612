#pragma once

// The culture of the process, and the formatter for texts that end up on disk. Initialised once, by the thread that
// loads the library, before anything else; afterwards any thread may read and format.

#include "IntlHelper/LocaleTag.h"
#include "IntlHelper/format/StringFormatter.h"

#include <windows.h>

#include <log4cxx/level.h>
#include <log4cxx/logger.h>

#include <memory>
#include <string>
#include <vector>

class CCultureHelper {
public:
    CCultureHelper(const CCultureHelper&) = delete;
    CCultureHelper& operator=(const CCultureHelper&) = delete;

    /// Makes `culture` the locale of the process; null takes the machine's default. A culture that the runtime refuses
    /// is logged and the next best taken. The culture must outlive the helper. A second call changes nothing.
    static void InitInstance(HMODULE module, const CLocaleTag* culture);

    /// Throws CMorvaneException before InitInstance.
    static CCultureHelper& GetInstance();

    /// Formats into result and returns it; throws CIntlHelperException on a bad format.
    std::wstring& Format(std::wstring& result, std::wstring format, ...);

    const CLocaleTag* GetCulture() const noexcept { return m_culture; }
    HMODULE GetModule() const noexcept { return m_module; }

private:
    friend struct CCultureHelperPeer; // the tests' way to a helper that is not initialised yet

    CCultureHelper() = default;
    void Init(HMODULE module, const CLocaleTag* culture);
    static void SetProcessLocale(const CLocaleTag& culture);
    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    static CCultureHelper m_instance;

    bool m_initialised = false;
    CStringFormatter m_formatter;
    std::vector<std::unique_ptr<CLocaleTag>> m_ownedItems;
    const CLocaleTag* m_culture = nullptr;
    HMODULE m_module = nullptr;
};
