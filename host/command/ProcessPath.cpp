#include "ProcessPath.h"

#include "base/UniqueHandle.h"

std::wstring PathOfProcess(unsigned long processId) {
    const CUniqueHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    std::wstring path(32768, L'\0');
    DWORD length = static_cast<DWORD>(path.size());
    path.resize(process && QueryFullProcessImageNameW(process.Get(), 0, path.data(), &length) ? length : 0);
    return path;
}
