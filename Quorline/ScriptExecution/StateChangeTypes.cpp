#include "ScriptExecution/StateChangeTypes.h"

#include "base/Text.h"

#include <cwchar>

_STATE_CHANGE_TYPE StateChangeTypeFromText(const std::wstring& text) {
    const std::wstring name(Trim(text, L" \t\r\n"));
    for (const auto& entry : StateChangeNames)
        if (name.size() == std::wcslen(entry.name) && SameText(name, entry.name))
            return entry.type;
    return {};
}

const wchar_t* StateChangeTypeToText(_STATE_CHANGE_TYPE type) noexcept {
    switch (type) {
    case Shutdown:
        return L"Shutdown";
    case ForceShutdown:
        // kept: not the name that is read, so that it reads back as no type.
        return L"ForcedShutdown";
    default:
        return nullptr;
    }
}
