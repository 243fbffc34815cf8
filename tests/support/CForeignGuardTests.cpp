#include "support/CForeignGuard.h"

#include "support/CFloatModes.h"

#include <doctest/doctest.h>
#include <initializer_list>
#include <utility>

namespace {

// The first of the thread's exception frames.
DWORD Frames() {
    DWORD value = 0;
    asm volatile("movl %%fs:0, %0" : "=r"(value));
    return value;
}

EXCEPTION_DISPOSITION __cdecl GoOn(EXCEPTION_RECORD* exception, void*, CONTEXT* context, void*) {
    if (exception->ExceptionCode == static_cast<DWORD>(EXCEPTION_ILLEGAL_INSTRUCTION))
        context->Eip += 2; // past the ud2
    return ExceptionContinueExecution;
}

// Runs `body` inside a frame of foreign code that handles every exception by going on.
template <typename Body>
void Handled(Body body) {
    struct {
        DWORD next;
        decltype(&GoOn) handler;
    } volatile frame{Frames(), GoOn};
    __writefsdword(0, reinterpret_cast<DWORD>(&frame));
    body();
    __writefsdword(0, frame.next);
}

void Illegal() {
    asm volatile("ud2");
}

void Overflow() {
    void (*volatile again)() = Overflow;
    again();
    again();
}

// None returns, so none says what it overwrites.
constexpr std::pair<DWORD, void (*)()> kFaults[] = {
    {0xC0000005, [] { asm volatile("movl 16, %eax"); }},
    {0xC0000005, [] { asm volatile("movl %eax, 16"); }},
    {0xC0000005, [] { asm volatile("movl $16, %eax; calll *%eax"); }},
    {0xC0000094, [] { asm volatile("xorl %ecx, %ecx; divl %ecx"); }},
    {0xC000001D, Illegal},
    {0x80000003, [] { asm volatile("int3"); }},
    {0xC000008E, [] { asm volatile("pushl $0x27B; fldcw (%esp); fld1; fldz; fdivrp; fwait"); }},
    {0xC00002B5,
        [] {
            asm volatile("pushl $0x1D80; ldmxcsr (%esp); xorps %xmm0, %xmm0;"
                         "movl $1, %eax; cvtsi2ss %eax, %xmm1; divss %xmm0, %xmm1");
        }},
    {0xE06D7363, [] { ::RaiseException(0xE06D7363, 1, 0, nullptr); }},
    {0x0EEDFADE, [] { ::RaiseException(0x0EEDFADE, 1, 0, nullptr); }},
    {0xC00000FD, Overflow},
    {0xC00000FD, Overflow},
    {0xC00000FD, Overflow},
    {0xC000001D, [] { asm volatile("fninit; fld1; fld1; fld1; fld1; fld1; fld1; fld1; fld1; ud2"); }},
};

constexpr std::uint16_t kHostControl = 0x0F7F;
constexpr std::uint32_t kHostMxcsr = 0x7F80;

/// Runs `body` in a host with unusual modes, which must come back, as must its exception frames. Returns the
/// fault's code, 0 for none.
DWORD RunInHost(void (*body)()) {
    std::uint16_t environment[14] = {}; // control at 0, tags at 4
    ForeignFault fault;
    const DWORD frames = Frames();
    asm volatile("fldcw %0" : : "m"(kHostControl));
    _mm_setcsr(kHostMxcsr);
    const bool returned = RunGuarded([&] { body(); }, &fault);
    const std::uint32_t mxcsr = _mm_getcsr();
    asm volatile("fnstenv %0" : "=m"(environment));
    CFloatModes::SetDefault();
    CHECK((environment[0] == kHostControl && environment[4] == 0xFFFF && mxcsr == kHostMxcsr));
    CHECK((Frames() == frames && returned == (fault.code == 0)));
    return fault.code;
}

// Calls `function` with esp % 16 == residue at the call. False when it destroys a register that it must keep.
__attribute__((noinline)) bool CallAt(unsigned residue, void (*function)()) {
    unsigned shift = (16 - residue) % 16, esi = 1, edi = 2;
    asm volatile("movl %%esp, %%ebx; andl $-16, %%esp; subl %%ecx, %%esp; calll *%%eax; movl %%ebx, %%esp"
                 : "+a"(function), "+c"(shift), "+S"(esi), "+D"(edi)::"ebx", "edx", "memory", "cc");
    return esi == 1 && edi == 2;
}

} // namespace

TEST_CASE("every kind of fault ends the call with its code, and the caller's modes and frames are back") {
    for (const auto& [code, body] : kFaults)
        CHECK(RunInHost(body) == code);
}

TEST_CASE("the modes that a returning body changed are put back, with an exception pending too") {
    CHECK(RunInHost([] {
        asm volatile("fld1; fldz; fdivrp; fstp %st(0); pushl $0x40; fldcw (%esp); ldmxcsr (%esp); popl %eax");
    }) == 0);
}

TEST_CASE("faults are caught at any stack alignment, and callers' registers survive") {
    static int caught = 0;
    for (const unsigned residue : {0u, 4u, 8u, 12u}) {
        CAPTURE(residue);
        caught = 0;
        CHECK(CallAt(residue, [] {
            auto smash = [] {
                alignas(16) volatile float block[4] = {};
                asm volatile("movaps %0, %%xmm0" : : "m"(block) : "xmm0"); // faults when misaligned
                caught += 1;
                asm volatile("movl $3, %ebx; movl $3, %esi; movl $3, %edi; movl $3, %ebp; ud2");
            };
            caught += RunGuarded(smash) ? 0 : 10;
        }));
        CHECK(caught == 11);
    }
}

TEST_CASE("an inner guard takes its own fault, the outer one those after it") {
    int passed = 0;
    ForeignFault inner;
    ForeignFault outer;
    CHECK_FALSE(RunGuarded(
        [&] {
            RunGuarded([] { Illegal(); }, &inner);
            RunGuarded([&] { ++passed; });
            ::RaiseException(0x1234, 0, 0, nullptr);
            ++passed;
        },
        &outer));
    CHECK((inner.code == 0xC000001D && outer.code == 0x1234 && passed == 1));
}

TEST_CASE("what foreign code handles itself, and notices to a debugger, are no faults") {
    int passed = 0;
    CHECK(RunGuarded([&] { Handled([&] { Illegal(), ++passed; }); }));
    CHECK(RunGuarded([&] { ::OutputDebugStringA("nothing"), ++passed; }));
    for (const DWORD code : {0x40010006u, 0x4001000Au, 0x406D1388u})
        Handled([&] { CHECK(RunGuarded([&] { ::RaiseException(code, 0, 0, nullptr), ++passed; })); });
    CHECK(passed == 5);
}
