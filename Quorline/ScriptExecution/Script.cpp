#include "ScriptExecution/Script.h"

#include "base/PathHelper.h"
#include "base/Text.h"
#include "base/UniqueHandle.h"
#include "base/Utf8.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <exception>
#include <limits>
#include <utility>

CScript::CScript() = default;

CScript::CScript(const CScript& other) : m_text(other.m_text), m_name(other.m_name), m_language(other.m_language) {}

CScript& CScript::operator=(const CScript& other) {
    InitFrom(other);
    return *this;
}

CScript::~CScript() = default;

void CScript::InitFrom(const CScript& other) {
    m_name = other.m_name;
    m_text = other.m_text;
    m_language = other.m_language;
}

bool CScript::ShouldRun(void*) {
    return true;
}

bool CScript::operator==(const CScript& other) const {
    // kept: letter case makes no difference in the text either.
    return SameText(m_name, other.m_name) && SameText(m_text, other.m_text) && m_language == other.m_language;
}

bool CScript::operator!=(const CScript& other) const {
    return !(*this == other);
}

bool CScript::LoadTextFromDirectory(const std::wstring& directory) {
    return LoadTextFromFile(JoinPath(directory, m_name));
}

bool CScript::LoadTextFromFile(const std::wstring& path) try {
    int opened = -1;
    if (_wsopen_s(&opened, path.c_str(), _O_RDONLY | _O_BINARY, _SH_DENYWR, _S_IREAD) != 0) {
        Log(log4cxx::Level::getError(), L"Could not load script text from file '{0:%s}'", path.c_str());
        return false;
    }
    CUniqueDescriptor file(opened);
    struct _stat64i32 status = {};
    const bool known = _fstat64i32(file.Get(), &status) == 0;
    // kept: the descriptor stays open when the status of an open file cannot be had.
    if (!known)
        static_cast<void>(file.Detach());
    // The status truncates the size of some files that are too large for it instead of failing.
    if (!known || status.st_size < 0 || _filelengthi64(file.Get()) > std::numeric_limits<int>::max()) {
        Log(log4cxx::Level::getError(), L"Could not load script text from file '{0:%s}' -- bad file size",
            path.c_str());
        return false;
    }
    // The buffer starts as zeros, so a short read leaves terminated text.
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    _read(file.Get(), bytes.data(), static_cast<unsigned>(bytes.size()));

    SetLastError(ERROR_SUCCESS);
    auto text = DecodeUtf8(bytes.c_str(), BadUtf8::Replace);
    if (!text) {
        if (const DWORD error = GetLastError(); error != ERROR_SUCCESS)
            LogWin32Error(QUORLINE_HERE, error, L"Could not load script text from file '{0:%s}' -- improper encoding",
                          path.c_str());
        return false;
    }
    m_text = std::move(*text);
    return true;
} catch (const std::exception&) {
    // Only memory can fail here, for the path of a log line or for a file of up to 2 GB.
    try {
        Log(log4cxx::Level::getError(), L"Could not load script text from file '{0:%s}'", path.c_str());
    } catch (...) {
    }
    return false;
}

QUORLINE_CLASS_LOG(CScript, L"ScriptExecution.Script")
