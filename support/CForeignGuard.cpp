#include "support/CForeignGuard.h"

#include "support/module.h"

#include <malloc.h>

namespace {

using Handler = EXCEPTION_DISPOSITION(__cdecl*)(EXCEPTION_RECORD*, void*, CONTEXT*, void*);

// A registration record as 32-bit Windows chains them on fs:[0], with what our handler needs behind it.
struct FaultFrame {
    DWORD next;
    Handler handler;
    void* resume[5]; // __builtin_setjmp
    ForeignFault fault;
};

// Raised to tell a debugger something, and meant to go on: not faults.
bool IsNotice(DWORD code) {
    constexpr DWORD kPrint = 0x40010006;
    constexpr DWORD kWidePrint = 0x4001000A;
    constexpr DWORD kThreadName = 0x406D1388;
    return code == kPrint || code == kWidePrint || code == kThreadName || code == DBG_CONTROL_C ||
           code == DBG_CONTROL_BREAK;
}

EXCEPTION_DISPOSITION __cdecl OnException(EXCEPTION_RECORD* exception, void* establisher, CONTEXT*, void*) {
    constexpr DWORD kUnwinding = 0x02;
    constexpr DWORD kExitUnwind = 0x04;
    if ((exception->ExceptionFlags & (kUnwinding | kExitUnwind)) != 0 || IsNotice(exception->ExceptionCode))
        return ExceptionContinueSearch;
    // In memory, and volatile: RtlUnwind gives the callee-saved registers back with other contents.
    FaultFrame* volatile frame = static_cast<FaultFrame*>(establisher);
    frame->fault = {exception->ExceptionCode, exception->ExceptionAddress};
    ::RtlUnwind(frame, nullptr, exception, nullptr);
    asm volatile("" ::: "ebx", "esi", "edi", "memory");
    __builtin_longjmp(frame->resume, 1);
}

// A body that the compiler could inline would let it drop the frame around it.
using Body = void (*)(void*);

// The frame that a fault returns to. Apart from RunGuarded so that what must survive the jump lies in its
// caller; all its own values are volatile for the same reason.
__attribute__((noinline)) bool RunFramed(
    Body bodyArgument, void* contextArgument, FaultFrame* frameArgument) {
    Body volatile body = bodyArgument;
    void* volatile context = contextArgument;
    FaultFrame* volatile frame = frameArgument;
    bool volatile returned = false;
    frame->next = __readfsdword(0);
    frame->handler = OnException;
    if (__builtin_setjmp(frame->resume) == 0) {
        __writefsdword(0, reinterpret_cast<DWORD>(frame));
        asm volatile("" ::: "memory");
        body(context);
        asm volatile("cld" ::: "memory"); // some code of the x87's age comes back without it
        returned = true;
    }
    __writefsdword(0, frame->next);
    return returned;
}

// Is there a guard page below the part of this thread's stack that is in use?
bool HasStackGuard() {
    MEMORY_BASIC_INFORMATION pages{};
    const auto* const here = reinterpret_cast<const BYTE*>(&pages);
    ::VirtualQuery(here, &pages, sizeof pages);
    const auto* at = static_cast<const BYTE*>(pages.AllocationBase);
    while (at < here && ::VirtualQuery(at, &pages, sizeof pages) != 0) {
        if ((pages.Protect & PAGE_GUARD) != 0)
            return true;
        at += pages.RegionSize;
    }
    return false;
}

} // namespace

bool RunCaught(Body body, void* context, ForeignFault* fault) noexcept {
    FaultFrame frame;
    if (RunFramed(body, context, &frame))
        return true;
    asm volatile("cld");
    CFloatModes::SetDefault();
    if (frame.fault.code == EXCEPTION_STACK_OVERFLOW)
        ::_resetstkoflw();
    if (fault != nullptr)
        *fault = frame.fault;
    return false;
}

bool RunGuarded(Body body, void* context, ForeignFault* fault) noexcept {
    const CKeptModes modes;
    return RunCaught(body, context, fault);
}

// Only where the page is really gone: where the run-time guards the page in use, other threads that look at
// this thread's data there would fault.
void RestoreStackGuard() noexcept {
    if (!HasStackGuard())
        ::_resetstkoflw();
}

void CForeignGuard::Condemn(const ForeignFault& fault) noexcept {
    if (!m_faultTaken.exchange(true)) // of two threads' faults the first
        m_fault = fault;
    m_faulted.store(true, std::memory_order_release);
    PinModule();
}
