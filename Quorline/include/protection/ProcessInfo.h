#pragma once

#include <string>

/// A running process as the enumerator saw it.
class CProcessInfo {
public:
    bool m_network = false;        ///< the executable lies on a network path
    std::wstring m_imageName;      ///< upper-cased file name with extension, without drive and directory
    unsigned long m_processId = 0; ///< 0 when the process could not be examined
};
