#include "IntlHelper/CultureHelper.h"

#include "IntlHelper/WindowsLocaleTag.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"
#include "logging/TraceScope.h"

#include <clocale>
#include <cwchar>
#include <utility>

namespace {
constexpr const wchar_t* LastResort = L"English_United States.1252";

bool TrySetLocale(const std::wstring& name) {
    return _wsetlocale(LC_ALL, name.c_str()) != nullptr;
}
} // namespace

CCultureHelper CCultureHelper::m_instance;

QUORLINE_CLASS_LOG(CCultureHelper, L"CCultureHelper")

void CCultureHelper::InitInstance(HMODULE module, const CLocaleTag* culture) {
    m_instance.Init(module, culture);
}

CCultureHelper& CCultureHelper::GetInstance() {
    if (!m_instance.m_initialised)
        // kept: the doubled word.
        SanityCheckFailed(QUORLINE_HERE,
                          L"CCultureHelper::InitInstance needs to be called before before calling GetInstance");
    return m_instance;
}

void CCultureHelper::Init(HMODULE module, const CLocaleTag* culture) {
    const CTraceScope trace(L"CCultureHelper::Init");
    if (m_initialised)
        return;
    m_ownedItems.clear();
    m_module = module ? module : GetModuleHandleW(nullptr);

    const CLocaleTag* machineDefault = CWindowsLocaleTag::GetMachineDefault();
    if (!machineDefault) {
        Log(log4cxx::Level::getWarn(), L"Could not get default machine locale; defaulting to English (US)");
        machineDefault = CWindowsLocaleTag::GetEnglish();
    }
    m_culture = culture ? culture : machineDefault;
    SetProcessLocale(*m_culture);
    m_initialised = true;
}

void CCultureHelper::SetProcessLocale(const CLocaleTag& culture) {
    if (TrySetLocale(culture.GetLocaleName()))
        return;
    if (const CLocaleTag* machineDefault = CWindowsLocaleTag::GetMachineDefault()) {
        const wchar_t* name = machineDefault->GetLocaleName().c_str();
        if (&culture == machineDefault)
            Log(log4cxx::Level::getWarn(), L"_tsetlocale() failed for default locale '{0:%s}'", name);
        Log(log4cxx::Level::getWarn(), L"_tsetlocale() failed; using locale '{0:%s}' for date and number formatting",
            name);
        if (TrySetLocale(name))
            return;
    } else {
        Log(log4cxx::Level::getDebug(), L"_tsetlocale() failed for default locale because it is NULL");
    }
    Log(log4cxx::Level::getWarn(), L"_tsetlocale() failed; using locale '{0:%s}' for date and number formatting",
        LastResort);
    if (!TrySetLocale(LastResort))
        Log(log4cxx::Level::getError(),
            L"_tsetlocale() failed; default program locale will be used for date and number formatting");
}

std::wstring& CCultureHelper::Format(std::wstring& result, std::wstring format, ...) {
    va_list args;
    va_start(args, format);
    // An exception may pass by va_end, which does nothing on this platform.
    result = m_formatter.FormatV(std::move(format), args);
    va_end(args);
    return result;
}
