#pragma once

// What this machine knows of the system's components.

#include <string>
#include <vector>

struct CComponent {
    const wchar_t* what;  ///< "the scripting library"
    std::wstring server;  ///< the path that the machine has for it; empty when there is none
    std::wstring problem; ///< "is not registered"; empty when it is there
};

/// The library, the session server with its proxies, and the signer. COM must be initialised.
std::vector<CComponent> FindComponents();
