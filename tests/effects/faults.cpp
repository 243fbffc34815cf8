#include "tests/effects/faults.h"

#include <immintrin.h>

namespace {

using Code = void (*)();

// Not for the optimiser to see through.
volatile int g_zero = 0;
volatile int* volatile g_nowhere = reinterpret_cast<volatile int*>(0x10);
Code volatile g_noCode = reinterpret_cast<Code>(0x10);
volatile int g_deepest = -1;

__attribute__((noinline)) int Descend(int depth) {
    volatile char page[4096];
    page[0] = static_cast<char>(depth);
    return depth == g_deepest ? 0 : Descend(depth + 1) + page[0];
}

void Break(Fault fault) {
    switch (fault) {
    case Fault::ReadViolation:
        g_zero = *g_nowhere;
        break;
    case Fault::WriteViolation:
        *g_nowhere = 1;
        break;
    case Fault::ExecuteViolation:
        g_noCode();
        break;
    case Fault::IntegerDivide:
        asm volatile("xorl %%ecx, %%ecx\n\txorl %%edx, %%edx\n\tmovl $7, %%eax\n\tidivl %%ecx" ::
                         : "eax", "ecx", "edx");
        break;
    case Fault::IllegalInstruction:
        asm volatile("ud2");
        break;
    case Fault::Breakpoint:
        asm volatile("int3");
        break;
    case Fault::FloatDivide: {
        const std::uint16_t unmasked = 0x0240;
        asm volatile("fldcw %0\n\tfld1\n\tfldz\n\tfdivrp\n\tfwait" : : "m"(unmasked));
        break;
    }
    case Fault::ForeignThrow:
        ::RaiseException(0xE06D7363, EXCEPTION_NONCONTINUABLE, 0, nullptr);
        break;
    case Fault::CallBack:
        Shared().plan.callback(Shared().plan.callbackArgument);
        break;
    case Fault::StackOverflow:
        g_zero = Descend(0);
        break;
    default:
        break;
    }
}

} // namespace

TestEffectState& Shared() {
    static TestEffectState state;
    return state;
}

HRESULT At(Place place) {
    TestEffectState& state = Shared();
    const int call = ++state.record.calls[static_cast<std::size_t>(place)];
    if (place != state.plan.place || call != state.plan.nth)
        return S_OK;
    if (state.plan.fault == Fault::Fail)
        return E_FAIL;
    Break(state.plan.fault);
    return S_OK;
}
