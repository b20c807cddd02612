#pragma once

// The kinds of power state change and their text names in the info file. The kinds are single bits, so that a mask can
// say to which changes a script applies.

#include "base/Export.h"

#include <string>

// 0 is no type (what an unknown name reads as).
enum _STATE_CHANGE_TYPE : unsigned int {
    Standby = 1,
    StandbyResume = 2,
    Hibernate = 4,
    HibernateResume = 8,
    Shutdown = 16,
    ShutdownResume = 32,
    ForceShutdown = 256
};

struct CStateChangeName {
    const wchar_t* name;
    _STATE_CHANGE_TYPE type;
};
/// What the kinds are called where somebody writes them down for this system to read.
inline constexpr CStateChangeName StateChangeNames[] = {
    {L"Standby", Standby},
    {L"StandbyResume", StandbyResume},
    {L"Hibernate", Hibernate},
    {L"HibernateResume", HibernateResume},
    {L"Shutdown", Shutdown},
    {L"ShutdownResume", ShutdownResume},
    {L"ForceShutdown", ForceShutdown},
};

/// What an unknown processor power state maps to.
inline constexpr auto InvalidStateChangeType = static_cast<_STATE_CHANGE_TYPE>(0xFFFFFFFFU);

/// The host's processor power state; only these values have a meaning here.
enum _ECPU_STATE : unsigned int { ECPU_STANDBY = 1, ECPU_HIBERNATE = 2, ECPU_SHUTDOWN = 3 };

// The host's own codes: who started a change and with which options. Carried, never interpreted.
enum _STATE_CHANGE_INVOKER : unsigned int {};
enum _STATE_CHANGE_FLAGS : unsigned int {};

/// The type of a name, without regard to case and to blanks, tabs and line ends around it; 0 for an unknown name.
QUORLINE_API _STATE_CHANGE_TYPE StateChangeTypeFromText(const std::wstring& text);

/// The name under which a type is written, nullptr when it cannot be written. Only Shutdown and ForceShutdown can.
QUORLINE_API const wchar_t* StateChangeTypeToText(_STATE_CHANGE_TYPE type) noexcept;
