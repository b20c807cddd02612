#pragma once

// Replaces a function in one module's import table for a scope: to count calls, to fix the clock, or to have a call
// fail that never fails by itself.
//
//     CImportHook hook(GetModuleHandleW(nullptr), "GetLocalTime", &FixedLocalTime);

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>

/// Calls visit(name, slot) for each function that a module imports by name; the slot holds where calls go.
template <class Visit> void ForEachImport(HMODULE module, Visit visit) {
    auto* const base = reinterpret_cast<BYTE*>(module);
    const auto* dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* entry = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress); entry->Name;
         ++entry) {
        auto* name = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->OriginalFirstThunk);
        auto* slot = reinterpret_cast<void**>(base + entry->FirstThunk);
        for (; name->u1.AddressOfData; ++name, ++slot)
            if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
                visit(reinterpret_cast<const char*>(
                          reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData)->Name),
                      slot);
    }
}

class CImportHook {
public:
    template <class Function> CImportHook(HMODULE module, const char* function, Function* replacement) {
        ForEachImport(module, [&](const char* name, void** slot) {
            if (!m_slot && std::strcmp(name, function) == 0)
                m_slot = slot;
        });
        if (!m_slot)
            throw std::runtime_error(std::string("not imported: ") + function);
        m_original = *m_slot;
        Set(reinterpret_cast<void*>(replacement));
    }
    ~CImportHook() { Set(m_original); }

    CImportHook(const CImportHook&) = delete;
    CImportHook& operator=(const CImportHook&) = delete;

    /// Where calls went before.
    void* Original() const { return m_original; }

private:
    void Set(void* target) {
        DWORD protection = 0;
        VirtualProtect(m_slot, sizeof target, PAGE_READWRITE, &protection);
        *m_slot = target;
        VirtualProtect(m_slot, sizeof target, protection, &protection);
    }

    void** m_slot = nullptr;
    void* m_original = nullptr;
};
