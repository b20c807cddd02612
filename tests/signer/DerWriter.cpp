#include "DerWriter.h"

#include <cstdio>

CBytes DerTime(const FILETIME& time) {
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    char text[32];
    const int length = snprintf(text, sizeof text, "%04u%02u%02u%02u%02u%02uZ", parts.wYear, parts.wMonth, parts.wDay,
                                parts.wHour, parts.wMinute, parts.wSecond);
    const bool utcTime = parts.wYear >= 1950 && parts.wYear < 2050;
    const char* const start = utcTime ? text + 2 : text;
    return DerElement(
        utcTime ? DerTag::UtcTime : DerTag::GeneralizedTime,
        {CBytesView(reinterpret_cast<const BYTE*>(start), static_cast<std::size_t>(text + length - start))});
}
