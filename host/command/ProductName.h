#pragma once

#include <string>

/// " (Quorline script signer, Quorline)": what a program's file says that it is and of which product, for an end of a
/// text; empty where it says nothing.
std::wstring ProductOf(const std::wstring& path);
