#pragma once

// RSA keys for signing that the system keeps for the user, in containers with names.

#include "common/CryptHandles.h"

#include <string>

/// A new key in a container of this name, which must not exist yet. Throws CSignerError.
CUniqueProvider CreateRsaKey(const std::wstring& container, DWORD bits = 2048);
void DeleteRsaKey(const std::wstring& container) noexcept;

/// Tells the system in which container the certificate's key is, so that it is found again from a store. Throws
/// CSignerError.
void BindKey(PCCERT_CONTEXT certificate, const std::wstring& container);
