#include "SavedCopy.h"

#include "base/PathHelper.h"
#include "base/Text.h"
#include "base/UniqueHandle.h"
#include "SystemText.h"

#include <algorithm>

namespace {
using Kind = CSavedCopyAnswer::Kind;

CSavedCopyAnswer Refuse(std::wstring reason) {
    return {Kind::Refused, std::move(reason)};
}

bool IsForbiddenInName(wchar_t c) {
    return c == L'"' || c == L':' || c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

/// The object itself where the path ends in a link. Nothing is opened for reading: a copy may be in use.
CUniqueHandle OpenItself(const std::wstring& path) {
    return CUniqueHandle(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

/// Of what a handle stands for, with every link on the way resolved; empty where the file system does not tell.
std::wstring FinalPath(HANDLE object) {
    // The longest path has 32,768 characters; most have few, and a history asks for thousands of them.
    for (const DWORD room : {DWORD{MAX_PATH}, DWORD{32768}}) {
        std::wstring path(room, L'\0');
        const DWORD length = GetFinalPathNameByHandleW(object, path.data(), room, FILE_NAME_OPENED | VOLUME_NAME_DOS);
        if (length < room) {
            path.resize(length);
            return path;
        }
    }
    return {};
}

/// Reparse points of other kinds, such as those of files that a cloud service holds, are no links.
bool IsLink(HANDLE object) {
    FILE_ATTRIBUTE_TAG_INFO info{};
    return GetFileInformationByHandleEx(object, FileAttributeTagInfo, &info, sizeof info) &&
           (info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsReparseTagNameSurrogate(info.ReparseTag);
}

/// Whether what was opened under this name in the directory with this final path lies elsewhere, as far as the file
/// system tells.
bool LiesElsewhere(const std::wstring& path, const std::wstring& parent, const std::wstring& name) {
    return !path.empty() && !parent.empty() && !SameName(path, parent + L"\\" + name);
}

bool IsOrdinaryFile(HANDLE file) {
    // Of the file alone: who asks for all that is known of it asks for its volume as well, which may take longer.
    FILE_BASIC_INFO info{};
    return GetFileType(file) == FILE_TYPE_DISK &&
           GetFileInformationByHandleEx(file, FileBasicInfo, &info, sizeof info) &&
           (info.FileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
}
} // namespace

CSavedCopies::CSavedCopies(const std::wstring& storesDirectory)
    : m_finalPath(FinalPath(OpenItself(storesDirectory).Get())) {}

CSavedCopyAnswer CSavedCopies::Examine(const std::wstring& storeDirectory, const std::wstring& path) const {
    const std::wstring name = path.substr(path.find_last_of(L"\\/") + 1);
    if (name.empty())
        return Refuse(L"the record names no file");
    if (std::any_of(name.begin(), name.end(), IsForbiddenInName))
        return Refuse(L"its name holds a quotation mark, a colon or a control character");
    if (!SameName(FullPath(path), storeDirectory + L"\\" + name))
        return Refuse(L"it does not lie in the directory of its store");

    const std::wstring storeName = storeDirectory.substr(storeDirectory.find_last_of(L'\\') + 1);
    const CUniqueHandle file = OpenItself(path);
    const DWORD error = file ? ERROR_SUCCESS : GetLastError();
    const std::wstring filePath = file ? FinalPath(file.Get()) : std::wstring();
    // A copy that lies where its path says has no link on its way; of any other the store says what is wrong.
    if (m_finalPath.empty() || !SameName(filePath, m_finalPath + L"\\" + storeName + L"\\" + name)) {
        const CUniqueHandle store = OpenItself(storeDirectory);
        const std::wstring storePath = store ? FinalPath(store.Get()) : std::wstring();
        if (!store || IsLink(store.Get()) || LiesElsewhere(storePath, m_finalPath, storeName))
            return Refuse(L"the directory of its store is a link");
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
            return {Kind::Missing, L"the saved copy is gone"};
        if (!file)
            return Refuse(L"it cannot be looked at: " + DescribeCode(error));
        if (LiesElsewhere(filePath, storePath, name))
            return Refuse(L"it is no ordinary file");
    }
    return IsLink(file.Get()) || !IsOrdinaryFile(file.Get()) ? Refuse(L"it is no ordinary file")
                                                             : CSavedCopyAnswer{Kind::Usable, {}};
}

CSavedCopyAnswer ExamineSavedCopy(const std::wstring& storeDirectory, const std::wstring& path) {
    return CSavedCopies(storeDirectory.substr(0, storeDirectory.find_last_of(L'\\'))).Examine(storeDirectory, path);
}
