#pragma once

// QUORLINE_API marks what the DLL exports. QUORLINE_BUILD is set while the library itself is compiled, QUORLINE_STATIC
// by programs that link the library's objects; everybody else imports from Quorline.dll.
#if defined(QUORLINE_BUILD)
#define QUORLINE_API __declspec(dllexport)
#elif defined(QUORLINE_STATIC)
#define QUORLINE_API
#else
#define QUORLINE_API __declspec(dllimport)
#endif
