#pragma once

#include "common/Bytes.h"

#include <string>

/// The bytes of a file; throws CSignerError, also for files of 2 GiB or more.
CBytes ReadFileBytes(const std::wstring& path);
