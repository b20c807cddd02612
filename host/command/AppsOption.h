#pragma once

// The option by which commands are told of the applications file.

#include "AppsFile.h"
#include "CommandLine.h"

inline CLI::Option* AddAppsOption(CLI::App& command, std::wstring& appsFile) {
    return AddText(command, "--apps", appsFile,
                   "JSON file that lists the protected applications (%ProgramData%\\Quorline\\applications.json)");
}
