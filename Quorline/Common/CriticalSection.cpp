#include "Common/CriticalSection.h"

#include "logging/Checks.h"

CCriticalSection::CCriticalSection() {
    if (!InitializeCriticalSectionEx(&m_section, 0, 0))
        CheckHResult(QUORLINE_HERE, HResultFromCode(static_cast<long>(GetLastError())),
                     L"InitializeCriticalSectionEx failed");
}
