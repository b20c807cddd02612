#pragma once

// The elements of an info file and their names. Knows neither what reads the file nor the records that are in it.

#include <cstddef>

enum class InfoFileElement : std::size_t {
    DocStore,
    StoreGuid,
    StateChange,
    When,
    Type,
    StateChangeGuid,
    Docs,
    Doc,
    Name,
    OrigPath,
    TempPath,
    AppName,
    AppPath,
    Rec,
    SaveScript,
    RestoreScript,
    Document // what stands around the root
};

/// As its tags have it.
constexpr const wchar_t* InfoFileName(InfoFileElement element) noexcept {
    constexpr const wchar_t* names[] = {L"DocStore", L"Guid", L"StateChange", L"When",          L"Type",     L"Guid",
                                        L"Docs",     L"Doc",  L"Name",        L"OrigPath",      L"TempPath", L"AppName",
                                        L"AppPath",  L"Rec",  L"SaveScript",  L"RestoreScript", L""};
    return names[static_cast<std::size_t>(element)];
}
