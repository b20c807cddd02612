#include "ScriptExecution/Script.h"

#include "base/PathHelper.h"
#include "logging/Checks.h"
#include "logging/Logging.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <cstdarg>
#include <cwchar>
#include <exception>
#include <limits>
#include <memory>
#include <utility>

namespace {

/// Closes a descriptor of the C runtime unless it was let go.
class CFileDescriptor {
public:
    explicit CFileDescriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
    CFileDescriptor(const CFileDescriptor&) = delete;
    CFileDescriptor& operator=(const CFileDescriptor&) = delete;
    ~CFileDescriptor() {
        if (m_descriptor != -1)
            _close(m_descriptor);
    }

    int Get() const noexcept { return m_descriptor; }
    int Detach() noexcept { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};

} // namespace

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
    return _wcsicmp(m_name.c_str(), other.m_name.c_str()) == 0 && _wcsicmp(m_text.c_str(), other.m_text.c_str()) == 0 &&
           m_language == other.m_language;
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
    CFileDescriptor file(opened);
    struct _stat64i32 status = {};
    const bool known = _fstat64i32(file.Get(), &status) == 0;
    if (!known)
        file.Detach(); // kept: the descriptor stays open when the status of an open file cannot be had
    // The status truncates the size of some files that are too large for it instead of failing.
    if (!known || status.st_size < 0 || _filelengthi64(file.Get()) > std::numeric_limits<int>::max()) {
        Log(log4cxx::Level::getError(), L"Could not load script text from file '{0:%s}' -- bad file size",
            path.c_str());
        return false;
    }
    const auto size = static_cast<unsigned>(status.st_size);
    // The buffer starts as zeros, so a short read leaves terminated text.
    const auto bytes = std::make_unique<char[]>(std::size_t{size} + 1);
    _read(file.Get(), bytes.get(), size);
    bytes[size] = '\0';

    SetLastError(ERROR_SUCCESS);
    const int length = MultiByteToWideChar(CP_UTF8, 0, bytes.get(), -1, nullptr, 0);
    if (length == 0) {
        if (const DWORD error = GetLastError(); error != ERROR_SUCCESS)
            LogWin32Error(QUORLINE_HERE, error, L"Could not load script text from file '{0:%s}' -- improper encoding",
                          path.c_str());
        return false;
    }
    const auto text = std::make_unique<wchar_t[]>(static_cast<std::size_t>(length) + 1);
    MultiByteToWideChar(CP_UTF8, 0, bytes.get(), -1, text.get(), length);
    m_text = text.get();
    return true;
} catch (const std::exception&) {
    // Only memory can fail here, for the path of a log line or for a file of up to 2 GB.
    try {
        Log(log4cxx::Level::getError(), L"Could not load script text from file '{0:%s}'", path.c_str());
    } catch (...) {
    }
    return false;
}

log4cxx::LoggerPtr CScript::SDGetLogger() {
    return GetClassLogger(L"ScriptExecution.Script");
}

void CScript::Log(log4cxx::LevelPtr level, std::wstring format, ...) {
    va_list args;
    va_start(args, format);
    LogToLoggerV(SDGetLogger(), level, format, args);
    va_end(args);
}
