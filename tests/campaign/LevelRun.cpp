#include "LevelRun.h"

#include "InternalDocumentStore.h"
#include "ProcessUse.h"
#include "ScriptExecution/DocumentStoreHistory.h"

#include <tlhelp32.h>

#include "base/UniqueHandle.h"

#include <array>
#include <cstdio>
#include <filesystem>

namespace {
/// Threads of this process.
std::size_t Threads() {
    const CUniqueHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    std::size_t count = 0;
    for (BOOL more = Thread32First(snapshot.Get(), &entry); more; more = Thread32Next(snapshot.Get(), &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    return count;
}

/// Counted by hand: the system below answers 0 where it is asked for them.
std::size_t PrivateBytes() {
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const char* at = nullptr; VirtualQuery(at, &region, sizeof(region)) != 0;
         at = static_cast<const char*>(region.BaseAddress) + region.RegionSize)
        bytes += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? region.RegionSize : 0;
    return bytes;
}

/// Objects, factories and locks: a server that may go holds none.
std::size_t ServersInUse() {
    std::size_t count = 0;
    for (const wchar_t* name : {L"Quorline.dll", L"QuorlineHost.dll", L"QuorlineSigner.dll"}) {
        const HMODULE module = GetModuleHandleW(name);
        const auto canUnload = reinterpret_cast<HRESULT(WINAPI*)()>(
            reinterpret_cast<void*>(module ? GetProcAddress(module, "DllCanUnloadNow") : nullptr));
        count += canUnload && canUnload() != S_OK ? 1 : 0;
    }
    return count;
}

struct CRow {
    const char* what;
    std::size_t tolerated; ///< growth from start to end
    std::array<std::size_t, 3> values;
};
} // namespace

bool RunLevel(CCampaignHost& host, CRunnersKept& kept, unsigned rounds) {
    constexpr unsigned WarmUp = 10;
    std::size_t changes = 0; // references to changes that were kept
    // A lock that two threads happen to meet at keeps a handle; a heap that is handed back in another order, some
    // pages.
    std::array<CRow, 8> table{{{"handles", 4, {}},
                               {"threads", 0, {}},
                               {"GDI objects", 0, {}},
                               {"USER objects", 0, {}},
                               {"heap bytes", 4096 + 8 * std::size_t{rounds} + HeapGrain(), {}},
                               {"private bytes", (std::size_t{4} << 20) + 256 * std::size_t{rounds}, {}},
                               {"COM servers in use", 0, {}},
                               {"references to changes", 0, {}}}};
    const auto measure = [&](std::size_t moment) {
        kept.Close();
        const std::array<std::size_t, 8> now{HandlesInUse(),
                                             Threads(),
                                             GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS),
                                             GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS),
                                             HeapBytesInUse(),
                                             PrivateBytes(),
                                             ServersInUse(),
                                             changes};
        for (std::size_t i = 0; i < now.size(); ++i)
            table[i].values[moment] = now[i];
    };

    std::wstring base;
    CInternalDocumentStore::GetBaseDirectory(base);
    std::size_t saved = 0;
    std::size_t restored = 0;
    for (unsigned round = 0; round < WarmUp + rounds; ++round) {
        if (round == WarmUp)
            measure(0);
        if (round == WarmUp + rounds / 2)
            measure(1);
        const CSaved save = host.Save();
        const CRestored restore = host.Restore();
        changes += save.changes;
        saved += save.Complete() ? save.documents : 0;
        restored += restore.recovered;
        if (!save.Complete() || restore.failed != 0 || restore.recovered != save.documents) {
            std::printf("round %u failed: %ls %ls\n", round, save.trouble.c_str(), restore.trouble.c_str());
            return false;
        }
        kept.Close();
        std::filesystem::remove_all(base);
        CDocumentStoreHistory::GetInstance().Refresh(); // it holds what it read last
    }
    measure(2);

    bool level = true;
    std::printf("%-24s %12s %12s %12s\n", "", "start", "middle", "end");
    for (const CRow& row : table) {
        const bool grew = row.values[2] > row.values[0] + row.tolerated;
        level = level && !grew;
        std::printf("%-24s %12zu %12zu %12zu%s\n", row.what, row.values[0], row.values[1], row.values[2],
                    grew ? "  GREW" : "");
    }
    std::printf("%u rounds, %zu documents saved, %zu restored\n", rounds, saved, restored);
    return level;
}
