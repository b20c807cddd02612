#include "certificates/MachineStores.h"

#include "certificates/CertificateStore.h"

#include <string_view>

// Exported by every Windows and by Wine; declared for drivers alone.
extern "C" NTSYSAPI LONG NTAPI NtQueryEvent(HANDLE event, int kind, void* information, ULONG size, ULONG* returned);

namespace {
/// Whether the event is set, or cannot be asked. Not by a wait that ends at once: systems let other threads run first
/// when they end one, which on a busy machine takes longer than opening the stores.
bool IsSet(HANDLE event) noexcept {
    struct {
        int type;
        LONG state;
    } information{};
    constexpr int basic = 0;
    return NtQueryEvent(event, basic, &information, sizeof information, nullptr) != 0 || information.state != 0;
}

/// Where the machine's stores are on record: its own, those of the domain, and those that policies bring.
constexpr std::wstring_view Records[] = {L"Software\\Microsoft\\SystemCertificates",
                                         L"Software\\Microsoft\\EnterpriseCertificates",
                                         L"Software\\Policies\\Microsoft\\SystemCertificates"};

/// The key, or the one nearest above it while it is not there: what is made below that is noticed as well.
CUniqueRegKey OpenNearest(std::wstring_view path) {
    CUniqueRegKey key;
    for (;;) {
        const LSTATUS opened = RegOpenKeyExW(HKEY_LOCAL_MACHINE, std::wstring(path).c_str(), 0, KEY_NOTIFY, key.Put());
        if (opened != ERROR_FILE_NOT_FOUND || path.empty())
            return opened == ERROR_SUCCESS ? std::move(key) : CUniqueRegKey();
        const auto end = path.rfind(L'\\');
        path = path.substr(0, end == std::wstring_view::npos ? 0 : end);
    }
}
} // namespace

CMachineStores& CMachineStores::Instance() {
    static CMachineStores stores;
    return stores;
}

CUniqueStore CMachineStores::Open(const wchar_t* name) {
    const std::lock_guard lock(m_mutex);
    return OpenOne(name, MayKeep());
}

std::pair<CUniqueStore, CUniqueStore> CMachineStores::Open(const wchar_t* first, const wchar_t* second) {
    const std::lock_guard lock(m_mutex);
    const bool keep = MayKeep();
    return {OpenOne(first, keep), OpenOne(second, keep)};
}

/// Lets go of the stores that have changed. Whether what is opened now may be kept.
bool CMachineStores::MayKeep() {
    if (IsUnchanged())
        return true;
    m_stores.clear();
    // Before a store is opened: what changes afterwards is noticed, what changed before is seen.
    return Watch();
}

CUniqueStore CMachineStores::OpenOne(const wchar_t* name, bool keep) {
    if (!keep)
        return OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, name);
    const auto [kept, isNew] = m_stores.try_emplace(name);
    if (isNew)
        kept->second = OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, name);
    return kept->second ? CUniqueStore(CertDuplicateStore(kept->second.Get())) : CUniqueStore();
}

bool CMachineStores::IsUnchanged() const {
    return m_changed && !IsSet(m_changed.Get());
}

/// False when the system will not tell of every change; nothing is kept open then.
bool CMachineStores::Watch() {
    m_keys.clear();
    m_changed = CUniqueHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    for (const std::wstring_view record : Records) {
        CUniqueRegKey key = m_changed ? OpenNearest(record) : CUniqueRegKey();
        if (!key || RegNotifyChangeKeyValue(key.Get(), TRUE, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET,
                                            m_changed.Get(), TRUE) != ERROR_SUCCESS) {
            m_keys.clear();
            m_changed.Reset();
            return false;
        }
        m_keys.push_back(std::move(key));
    }
    return true;
}
