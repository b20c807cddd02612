#pragma once

// Makes the nth call of one function that some modules import fail, on whatever thread it comes:
//
//     CImportFaults faults({GetModuleHandleW(L"Quorline.dll")});
//     faults.Arm("CreateEventW", 2);
//     ... the second CreateEventW fails ...
//     faults.Disarm();
//     faults.WasReached();
//
// Calls are counted while it is armed, each function's for itself. One at a time in a process.

#include "ImportHook.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

struct CKnownFailure;

class CImportFaults {
public:
    explicit CImportFaults(const std::vector<HMODULE>& modules);
    ~CImportFaults();
    CImportFaults(const CImportFaults&) = delete;
    CImportFaults& operator=(const CImportFaults&) = delete;

    /// With call 0 nothing fails and all calls are counted.
    void Arm(const std::string& function, unsigned call);
    void Disarm();

    /// Whether the call that was to fail came.
    bool WasReached() const;

    /// How often a function was called since the last time that it was armed.
    unsigned CallsOf(const std::string& function) const;

    /// The functions that can be made to fail, and those imported ones of which nobody has said whether they can. A
    /// function is one, whichever of the modules call it.
    const std::vector<std::string>& Functions() const { return m_functions; }
    const std::vector<std::string>& Unknown() const { return m_unknown; }

private:
    struct CFunction {
        std::string name;
        void* failing = nullptr;
        std::atomic<unsigned> calls{0};
    };
    /// One module's import of a function.
    struct CSlot {
        CFunction* function;
        void* original = nullptr;
        std::unique_ptr<CImportHook> hook;
    };

    friend void* FaultTarget(unsigned slot) noexcept;

    void Hook(HMODULE module, const CKnownFailure& failure);
    CFunction& FunctionOf(const CKnownFailure& failure);
    CFunction* Find(const std::string& name) const;
    void* TargetOf(CSlot& slot) noexcept;

    std::vector<std::unique_ptr<CFunction>> m_known;
    std::vector<std::unique_ptr<CSlot>> m_slots;
    std::vector<std::string> m_functions;
    std::vector<std::string> m_unknown;
    BYTE* m_code = nullptr;
    std::size_t m_codeUsed = 0;
    std::atomic<CFunction*> m_chosen{nullptr};
    std::atomic<unsigned> m_chosenCall{0};
    std::atomic<bool> m_armed{false};
    std::atomic<bool> m_reached{false};
};
