#include "IntlHelper/format/GuardedString.h"

#include <windows.h>

// The compiler has no structured exceptions, and its own landing pads know nothing of a fault in the middle of a
// function. So the loops that read are assembler leaves: they keep nothing on the stack, and their handler only has to
// send the faulting context to the label that answers -1.

extern "C" {
std::ptrdiff_t QuorlineScanWide(const wchar_t* text, std::size_t limit) noexcept;
std::ptrdiff_t QuorlineScanNarrow(const char* text, std::size_t limit) noexcept;
extern const char QuorlineScanFailed[];

EXCEPTION_DISPOSITION QuorlineOnScanFault(EXCEPTION_RECORD* record, void*, CONTEXT* context, void*) noexcept {
    if (record->ExceptionCode != STATUS_ACCESS_VIOLATION || (record->ExceptionFlags & EXCEPTION_UNWINDING))
        return ExceptionContinueSearch;
    context->Rip = reinterpret_cast<DWORD64>(QuorlineScanFailed);
    return ExceptionContinueExecution;
}
}

// rcx: the text, rdx: the limit; rax counts.
asm(R"(
    .text
    .p2align 4
    .globl QuorlineScanWide
    .def QuorlineScanWide; .scl 2; .type 32; .endef
    .seh_proc QuorlineScanWide
QuorlineScanWide:
    .seh_handler QuorlineOnScanFault, @except
    .seh_endprologue
    xorl %eax, %eax
1:  cmpq %rdx, %rax
    je 2f
    cmpw $0, (%rcx,%rax,2)
    je 2f
    incq %rax
    jmp 1b
2:  ret
    .seh_endproc

    .p2align 4
    .globl QuorlineScanNarrow
    .def QuorlineScanNarrow; .scl 2; .type 32; .endef
    .seh_proc QuorlineScanNarrow
QuorlineScanNarrow:
    .seh_handler QuorlineOnScanFault, @except
    .seh_endprologue
    xorl %eax, %eax
1:  cmpq %rdx, %rax
    je 2f
    cmpb $0, (%rcx,%rax)
    je 2f
    incq %rax
    jmp 1b
2:  ret
    .seh_endproc

    .p2align 4
    .globl QuorlineScanFailed
    .def QuorlineScanFailed; .scl 2; .type 32; .endef
    .seh_proc QuorlineScanFailed
QuorlineScanFailed:
    .seh_endprologue
    movq $-1, %rax
    ret
    .seh_endproc
)");

std::ptrdiff_t GuardedLength(const wchar_t* text, std::size_t limit) noexcept {
    return QuorlineScanWide(text, limit);
}

std::ptrdiff_t GuardedLength(const char* text, std::size_t limit) noexcept {
    return QuorlineScanNarrow(text, limit);
}
