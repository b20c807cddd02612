#pragma once

// The log file that the real programs of this user write.

#include "ChildProgram.h"

#include <shlobj.h>

inline std::string ReadLogFile() {
    wchar_t folder[MAX_PATH];
    SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
    return ReadBytes(std::wstring(folder) + L"\\Morvane\\Talvinor\\Logs\\TalvinorSession.log");
}
