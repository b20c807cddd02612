#include "ImportFaults.h"

#include "KnownFailures.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace {
CImportFaults* g_faults = nullptr;
constexpr std::size_t CodeSize = 64 * 1024;

template <class T> void Append(BYTE*& code, T value) {
    std::memcpy(code, &value, sizeof(value));
    code += sizeof(value);
}
} // namespace

// Asks where a call is to go and goes there, with every argument as it came. Each hooked function has a few bytes of
// code that bring its number here in eax.
extern "C" void FaultGate();
void* FaultTarget(unsigned slot) noexcept asm("FaultTarget");
asm(R"(
    .text
    .globl FaultGate
    .seh_proc FaultGate
FaultGate:
    subq $136, %rsp
    .seh_stackalloc 136
    .seh_endprologue
    movq %rcx, 32(%rsp)
    movq %rdx, 40(%rsp)
    movq %r8, 48(%rsp)
    movq %r9, 56(%rsp)
    movups %xmm0, 64(%rsp)
    movups %xmm1, 80(%rsp)
    movups %xmm2, 96(%rsp)
    movups %xmm3, 112(%rsp)
    movl %eax, %ecx
    call FaultTarget
    movq 32(%rsp), %rcx
    movq 40(%rsp), %rdx
    movq 48(%rsp), %r8
    movq 56(%rsp), %r9
    movups 64(%rsp), %xmm0
    movups 80(%rsp), %xmm1
    movups 96(%rsp), %xmm2
    movups 112(%rsp), %xmm3
    addq $136, %rsp
    jmp *%rax
    .seh_endproc
)");

void* FaultTarget(unsigned slot) noexcept {
    return g_faults->TargetOf(*g_faults->m_slots[slot]);
}

void* CImportFaults::TargetOf(CSlot& slot) noexcept {
    if (!m_armed)
        return slot.original;
    const unsigned call = ++slot.function->calls;
    if (m_chosen != slot.function || call != m_chosenCall)
        return slot.original;
    m_reached = true;
    return slot.function->failing;
}

CImportFaults::CImportFaults(const std::vector<HMODULE>& modules)
    : m_code(static_cast<BYTE*>(VirtualAlloc(nullptr, CodeSize, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE))) {
    if (g_faults || !m_code)
        throw std::runtime_error("the imports cannot be hooked");
    g_faults = this;
    for (const HMODULE module : modules) {
        std::vector<std::string> imported;
        ForEachImport(module, [&](const char* function, void**) { imported.emplace_back(function); });
        for (const std::string& function : imported) {
            const auto failure =
                std::ranges::find_if(KnownFailures(), [&](const auto& one) { return one.function == function; });
            if (failure != KnownFailures().end()) {
                if (failure->failing)
                    Hook(module, *failure);
            } else if (!CannotFail(function))
                m_unknown.push_back(function);
        }
    }
}

CImportFaults::~CImportFaults() {
    Disarm();
    // The code stays: a thread may be on its way through it.
    for (const auto& slot : m_slots)
        slot->hook.reset();
    g_faults = nullptr;
}

void CImportFaults::Hook(HMODULE module, const CKnownFailure& failure) {
    BYTE* const start = m_code + m_codeUsed;
    BYTE* code = start;
    Append<BYTE>(code, 0xB8); // mov eax, number
    Append(code, static_cast<std::uint32_t>(m_slots.size()));
    Append<std::uint16_t>(code, 0xBB49); // mov r11, gate
    Append(code, reinterpret_cast<std::uint64_t>(&FaultGate));
    Append<BYTE>(code, 0x41); // jmp r11
    Append<std::uint16_t>(code, 0xE3FF);
    m_codeUsed += static_cast<std::size_t>(code - start);
    if (m_codeUsed > CodeSize - 32)
        throw std::runtime_error("too many imports");
    CSlot& added = *m_slots.emplace_back(std::make_unique<CSlot>());
    added.function = &FunctionOf(failure);
    added.hook = std::make_unique<CImportHook>(module, failure.function, reinterpret_cast<void (*)()>(start));
    added.original = added.hook->Original();
}

CImportFaults::CFunction& CImportFaults::FunctionOf(const CKnownFailure& failure) {
    if (CFunction* const known = Find(failure.function))
        return *known;
    m_functions.emplace_back(failure.function);
    CFunction& added = *m_known.emplace_back(std::make_unique<CFunction>());
    added.name = failure.function;
    added.failing = failure.failing;
    return added;
}

CImportFaults::CFunction* CImportFaults::Find(const std::string& name) const {
    for (const auto& function : m_known)
        if (function->name == name)
            return function.get();
    return nullptr;
}

void CImportFaults::Arm(const std::string& function, unsigned call) {
    for (const auto& known : m_known)
        known->calls = 0;
    m_reached = false;
    m_chosenCall = call;
    m_chosen = Find(function);
    m_armed = true;
}

void CImportFaults::Disarm() {
    m_armed = false;
}

bool CImportFaults::WasReached() const {
    return m_reached;
}

unsigned CImportFaults::CallsOf(const std::string& function) const {
    return Find(function)->calls;
}
