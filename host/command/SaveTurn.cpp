#include "SaveTurn.h"

#include "InternalDocumentStore.h"

#include <sddl.h>

#include <memory>
#include <vector>

namespace {
/// Empty when the process's user cannot be told.
std::wstring UserSid() {
    CUniqueHandle token;
    DWORD size = 0;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put()))
        return {};
    GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size);
    std::vector<BYTE> user(size);
    wchar_t* text = nullptr;
    if (!GetTokenInformation(token.Get(), TokenUser, user.data(), size, &size) ||
        !ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, &text))
        return {};
    const CUniqueLocalMemory<wchar_t> owner(text);
    return text;
}

/// In every session and at every level of rights it is the same user's documents folder.
CUniqueHandle OpenUsersMutex() {
    const std::wstring user = UserSid();
    SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
    void* descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW((L"D:(A;;GA;;;" + user + L")(A;;GA;;;SY)").c_str(),
                                                         SDDL_REVISION_1, &descriptor, nullptr);
    const CUniqueLocalMemory<void> owner(descriptor);
    attributes.lpSecurityDescriptor = descriptor;
    return CUniqueHandle(CreateMutexExW(&attributes, (L"Global\\Quorline.Save." + user).c_str(), 0, SYNCHRONIZE));
}

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}
} // namespace

CSaveTurn::CSaveTurn(const std::function<void()>& onWaiting) : m_mutex(OpenUsersMutex()) {
    // Without the mutex, which somebody else may have made unusable, the save goes on: documents come first, and a
    // directory that is there already is avoided all the same. One whose owner was killed counts as free.
    if (!m_mutex || WaitForSingleObject(m_mutex.Get(), 0) != WAIT_TIMEOUT)
        return;
    if (onWaiting)
        onWaiting();
    WaitForSingleObject(m_mutex.Get(), INFINITE);
}

CSaveTurn::~CSaveTurn() {
    if (m_mutex)
        ReleaseMutex(m_mutex.Get());
}

void TakeFreshDirectory(CInternalDocumentStore& store) {
    std::wstring directory;
    CGuid guid;
    store.GetGuid(guid);
    for (store.GetStorageDirectory(directory, false); Exists(directory); store.GetStorageDirectory(directory, false)) {
        SYSTEMTIME now{};
        GetLocalTime(&now);
        Sleep(1000u - now.wMilliseconds);
        store.SetGuid(guid); // the same one again: it makes the store take the directory of the current second
    }
}
