#include "StoreFileName.h"

#include "base/PathHelper.h"
#include "Common/RpcHelper.h"
#include "base/Text.h"
#include "base/UniqueHandle.h"
#include "base/Utf8.h"
#include "logging/Logging.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {
constexpr std::size_t LongestName = 255;      // characters, or bytes where the disk keeps names as UTF-8
constexpr std::size_t NeverTooLong = 255 / 3; // a character takes three bytes at most

bool IsControl(wchar_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

std::wstring CodePoint(wchar_t c) {
    wchar_t text[8];
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"U+%04X", static_cast<unsigned>(c));
    return text;
}

std::wstring NameSentence(std::wstring name, const std::wstring& reason) {
    constexpr std::size_t shown = 100;
    std::ranges::replace_if(name, &IsControl, L' ');
    if (name.size() > shown)
        name = name.substr(0, shown) + L"...";
    return L"The document name \"" + name + L"\" cannot be a file name: " + reason + L".";
}

std::wstring ContainsSentence(const std::wstring& name, wchar_t c) {
    return NameSentence(name, IsControl(c) ? L"it contains the control character " + CodePoint(c)
                                           : std::wstring(L"it contains \"") + c + L"\"");
}

/// Half a surrogate pair, which is no character of any encoding; 0 when there is none.
wchar_t LoneSurrogate(std::wstring_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (IS_HIGH_SURROGATE(name[i]) && i + 1 < name.size() && IS_LOW_SURROGATE(name[i + 1]))
            ++i;
        else if (IS_HIGH_SURROGATE(name[i]) || IS_LOW_SURROGATE(name[i]))
            return name[i];
    }
    return 0;
}

/// The name without extensions, when it means a device wherever it stands.
std::wstring_view DeviceName(std::wstring_view fileName) {
    const std::wstring_view base = TrimEnd(fileName.substr(0, fileName.find(L'.')), L" ");
    for (const std::wstring_view device : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"})
        if (SameName(base, device))
            return base;
    if (base.size() == 4 && base[3] >= L'1' && base[3] <= L'9')
        for (const std::wstring_view port : {L"COM", L"LPT"})
            if (SameName(base, std::wstring(port) + base[3]))
                return base;
    return {};
}

bool IsTooLong(std::wstring_view name) {
    return name.size() > LongestName || ToUtf8(name).size() > LongestName;
}

std::wstring_view LastPart(std::wstring_view path) {
    return path.substr(path.rfind(L'\\') + 1);
}

/// A disk that keeps names as UTF-8 may cut what is too long for it, and then means another file.
bool IsCut(HANDLE file, std::wstring_view fullPath) {
    if (LastPart(fullPath).size() <= NeverTooLong)
        return false;
    std::wstring opened(GetFinalPathNameByHandleW(file, nullptr, 0, 0), L'\0');
    opened.resize(std::min<std::size_t>(
        GetFinalPathNameByHandleW(file, opened.data(), static_cast<DWORD>(opened.size()), 0), opened.size()));
    return !opened.empty() && !SameName(LastPart(opened), LastPart(fullPath));
}

enum class Presence { There, Missing, Unknown };

Presence FindName(const std::wstring& fullPath) {
    WIN32_FIND_DATAW entry{};
    if (const CUniqueFindHandle search(FindFirstFileW(fullPath.c_str(), &entry)); search) {
        const auto name = LastPart(fullPath);
        return SameName(name, entry.cFileName) || SameName(name, entry.cAlternateFileName) ? Presence::There
                                                                                           : Presence::Missing;
    }
    const DWORD error = GetLastError();
    return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION ? Presence::Unknown : Presence::Missing;
}

/// Nobody's name, as long as this one and with its end.
std::wstring NameLike(std::wstring_view name) {
    std::wstring unique = CGuid().ToString();
    const std::size_t end = name.size() > unique.size() ? unique.size() : std::min(name.rfind(L'.'), name.size());
    return unique.append(name.substr(end));
}

/// Whether a file can be made under a name that nobody has.
bool TakesFile(const std::wstring& directory, const std::wstring& name) {
    const std::wstring path = JoinPath(directory, name);
    return static_cast<bool>(CUniqueHandle(
        CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr)));
}
} // namespace

std::wstring DescribeForbiddenName(const std::wstring& fileName) {
    const auto found =
        std::ranges::find_if(fileName, [](wchar_t c) { return c == L'\\' || c == L'/' || c == L':' || IsControl(c); });
    return found == fileName.end() ? std::wstring() : ContainsSentence(fileName, *found);
}

std::wstring DescribeRefusedName(const std::wstring& fileName, DWORD error) {
    if (const auto at = fileName.find_first_of(L"*?<>|\""); at != std::wstring::npos)
        return ContainsSentence(fileName, fileName[at]);
    if (const auto device = DeviceName(fileName); !device.empty())
        return NameSentence(fileName, L"the system keeps \"" + std::wstring(device) + L"\" for a device");
    if (const wchar_t half = LoneSurrogate(fileName); half != 0)
        return NameSentence(fileName, L"it contains half a character, " + CodePoint(half));
    if (error == ERROR_FILENAME_EXCED_RANGE)
        return NameSentence(fileName, L"it is too long");
    return L"No file can be made in the document store: " + GetSystemErrorText(error) + L" (" + std::to_wstring(error) +
           L")";
}

NameProbe ProbeName(const std::wstring& directory, const std::wstring& path, const std::wstring& fullPath,
                    DWORD& error) {
    CUniqueHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_NEW, 0, nullptr));
    if (file) {
        const bool cut = IsCut(file.Get(), fullPath);
        file.Reset();
        if (!DeleteFileW(path.c_str())) {
            error = GetLastError();
            return NameProbe::Hopeless;
        }
        error = cut ? ERROR_FILENAME_EXCED_RANGE : ERROR_SUCCESS;
        return cut ? NameProbe::Refused : NameProbe::Free;
    }

    error = GetLastError();
    const std::wstring_view name = LastPart(fullPath);
    const bool device = fullPath.starts_with(L"\\\\.\\");
    const bool exists = error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS;
    if (exists && !device && name.size() <= NeverTooLong)
        return NameProbe::Taken;
    const Presence presence = device || error == ERROR_INVALID_NAME ? Presence::Missing : FindName(fullPath);
    if (presence == Presence::There)
        return NameProbe::Taken;
    if (presence == Presence::Unknown) {
        // Where its like is taken, something must be there. A name that can never be made must not count as taken: the
        // counter would find no end.
        if (TakesFile(directory, NameLike(name)))
            return NameProbe::Taken;
        if (!TakesFile(directory, CGuid().ToString()))
            return NameProbe::Hopeless;
    }
    // Systems tell of this in several ways, even as a file that exists: one of the name that was cut.
    const bool tells =
        exists || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME;
    if (tells && !device && IsTooLong(name))
        error = ERROR_FILENAME_EXCED_RANGE;
    return NameProbe::Refused;
}
