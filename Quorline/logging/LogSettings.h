#pragma once

// What the log configuration is told: the component that it runs as, and what the installation says of its log. The
// defaults stand where the installation says nothing.

#include <string>

struct CLogComponent {
    std::wstring name;        ///< "TalvinorSession"
    std::wstring valuePrefix; ///< what its values in the registry begin with
};

struct CLogFileSettings {
    std::wstring path; ///< empty when there is to be no log file
    unsigned long maxBytes = 1048576;
    unsigned long maxFiles = 5; ///< counts the current file too
};

struct CLogSettings {
    unsigned long level = 2; ///< as LevelFromNumber takes it
    CLogFileSettings file;
    std::wstring propertiesFile; ///< empty when there is none
};

/// Reads a component's settings. May throw; what was read before that counts.
using LogSettingsReader = void (*)(const CLogComponent& component, CLogSettings& settings);
