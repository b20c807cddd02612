#include "base/StackLimit.h"

#include <windows.h>

#include <malloc.h>

#include <cstddef>

namespace {
/// Left for the system to notice the overflow and to take the frames away.
constexpr ULONG Reserve = 64 * 1024;
/// What a call into the library takes at most, logging and a signature's verification included, many times over.
constexpr std::ptrdiff_t CallSize = std::ptrdiff_t{256} * 1024;
constexpr SIZE_T PageSize = 4096;

/// The lowest address of the calling thread's stack; null when the system does not say.
char* StackBottom() noexcept {
    MEMORY_BASIC_INFORMATION stack{};
    const char here = 0;
    return VirtualQuery(&here, &stack, sizeof(stack)) != 0 ? static_cast<char*>(stack.AllocationBase) : nullptr;
}

/// A system that commits a thread's whole stack at once has its guard at the very end, where there is no room left to
/// take anything away: a guard page of our own stands before the reserve. Elsewhere that page is not committed yet, and
/// the system's guard is above it.
class CEarlyGuard {
public:
    CEarlyGuard() {
        char* const bottom = StackBottom();
        if (bottom && VirtualProtect(bottom + Reserve, PageSize, PAGE_READWRITE | PAGE_GUARD, &m_protection))
            m_page = bottom + Reserve;
    }
    ~CEarlyGuard() {
        if (m_page)
            VirtualProtect(m_page, PageSize, m_protection, &m_protection);
    }
    CEarlyGuard(const CEarlyGuard&) = delete;
    CEarlyGuard& operator=(const CEarlyGuard&) = delete;

private:
    char* m_page = nullptr;
    DWORD m_protection = 0;
};
} // namespace

bool HasStackForCall() noexcept {
    const char here = 0;
    const char* const bottom = StackBottom();
    return !bottom || &here - bottom > CallSize;
}

// The compiler has no structured exceptions: the frame that a call is taken back to is made by hand, and the system's
// own handler reads from the table behind it what the frame guards, who decides, and where it goes on.

extern "C" {
/// 1 when the call returned, 0 when it ran out of stack.
int QuorlineCallWithinStack(void (*function)(void*), void* argument);

long QuorlineIsStackOverflow(EXCEPTION_POINTERS* pointers, void*) noexcept {
    return pointers->ExceptionRecord->ExceptionCode == STATUS_STACK_OVERFLOW ? EXCEPTION_EXECUTE_HANDLER
                                                                             : EXCEPTION_CONTINUE_SEARCH;
}
}

// rcx: the function, rdx: its argument.
asm(R"(
    .text
    .p2align 4
    .globl QuorlineCallWithinStack
    .def QuorlineCallWithinStack; .scl 2; .type 32; .endef
    .seh_proc QuorlineCallWithinStack
QuorlineCallWithinStack:
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    movq %rcx, %rax
    movq %rdx, %rcx
.Lguarded_begin:
    call *%rax
    nop
.Lguarded_end:
    movl $1, %eax
    addq $40, %rsp
    ret
.Lguarded_failed:
    xorl %eax, %eax
    addq $40, %rsp
    ret
    .seh_handler __C_specific_handler, @except
    .seh_handlerdata
    .long 1
    .rva .Lguarded_begin, .Lguarded_end, QuorlineIsStackOverflow, .Lguarded_failed
    .text
    .seh_endproc
)");

bool RunWithinStack(void (*function)(void*), void* argument) {
    ULONG reserve = Reserve;
    SetThreadStackGuarantee(&reserve);
    const CEarlyGuard guard;
    if (QuorlineCallWithinStack(function, argument) != 0)
        return true;
    _resetstkoflw();
    return false;
}
