#pragma once

#include <string>

/// A visible top-level window as the enumerator saw it.
class CWindowInfo {
public:
    bool m_network = false;        ///< that of the window's process
    std::wstring m_title;          ///< upper-cased, at most 511 characters
    std::wstring m_className;      ///< upper-cased
    unsigned long m_processId = 0; ///< of the thread that created the window
};
