#include "ScratchFolder.h"

#include "ExitCode.h"
#include "SystemText.h"
#include "base/FolderRemoval.h"

#include <filesystem>

namespace {
constexpr const wchar_t* MarkName = L"quorline-try";
} // namespace

CScratchFolder::CScratchFolder() {
    wchar_t temp[MAX_PATH + 1] = L"";
    GetTempPathW(static_cast<DWORD>(std::size(temp)), temp);
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    m_path = std::wstring(temp) + L"quorline-try-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
             std::to_wstring(counter.QuadPart);
    if (!CreateDirectoryW(m_path.c_str(), nullptr))
        throw CCommandError(ExitCode::Failed,
                            L"the folder '" + m_path + L"' could not be made: " + DescribeCode(GetLastError()));
}

CScratchFolder::~CScratchFolder() {
    // What an application still holds open stays for the user's own hand.
    if (!m_kept)
        RemoveFolder(m_path);
}

void CScratchMark::Put(const std::wstring& storeDirectory) {
    if (!m_file)
        m_file.Reset(CreateFileW((storeDirectory + L"\\" + MarkName).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                 0, nullptr));
}

bool IsScratch(const std::vector<CListedFile>& files) {
    return Holds(files, MarkName);
}

void RemoveScratchStores(const std::wstring& storesDirectory) {
    std::error_code ignored;
    const auto isUnused = [](const std::filesystem::path& folder) {
        return static_cast<bool>(CUniqueHandle(
            CreateFileW((folder / MarkName).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
    };
    for (const auto& entry : std::filesystem::directory_iterator(storesDirectory, ignored))
        if (entry.is_directory(ignored) && isUnused(entry.path()))
            RemoveFolder(entry.path().wstring()); // what is still held open goes with a later trial
}
