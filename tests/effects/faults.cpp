#include "tests/effects/faults.h"

#include <immintrin.h>
#include <cstdlib>
#include <cstring>
#include <utility>

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

DWORD WINAPI FaultOnThread(void*) {
    *g_nowhere = 1;
    return 0;
}

void OverwriteHeap() {
    PROCESS_HEAP_ENTRY entry{};
    while (::HeapWalk(::GetProcessHeap(), &entry))
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
            std::memset(entry.lpData, 0xEE, entry.cbData);
}

const std::pair<Fault, Code> kFaults[] = {
    {Fault::ReadViolation, [] { g_zero = *g_nowhere; }},
    {Fault::WriteViolation, [] { *g_nowhere = 1; }},
    {Fault::ExecuteViolation, [] { g_noCode(); }},
    {Fault::IntegerDivide,
        [] {
            asm volatile("xorl %%ecx, %%ecx\n\txorl %%edx, %%edx\n\tmovl $7, %%eax\n\tidivl %%ecx" ::
                             : "eax", "ecx", "edx");
        }},
    {Fault::IllegalInstruction, [] { asm volatile("ud2"); }},
    {Fault::Breakpoint, [] { asm volatile("int3"); }},
    {Fault::FloatDivide,
        [] {
            const std::uint16_t unmasked = 0x0240;
            asm volatile("fldcw %0\n\tfld1\n\tfldz\n\tfdivrp\n\tfwait" : : "m"(unmasked));
        }},
    {Fault::ForeignThrow, [] { ::RaiseException(0xE06D7363, EXCEPTION_NONCONTINUABLE, 0, nullptr); }},
    {Fault::StackOverflow, [] { g_zero = Descend(0); }},
    {Fault::CallBack, [] { Shared().plan.callback(Shared().plan.callbackArgument); }},
    {Fault::Exit, [] { ::ExitProcess(7); }},
    {Fault::Terminate, [] { ::TerminateProcess(::GetCurrentProcess(), 7); }},
    {Fault::Abort, [] { std::abort(); }},
    {Fault::LoseStack, [] { asm volatile("movl $16, %esp\n\tpushl %eax"); }},
    {Fault::DestroyHeap, OverwriteHeap},
    {Fault::OtherThread,
        [] {
            ::WaitForSingleObject(::CreateThread(nullptr, 0, FaultOnThread, nullptr, 0, nullptr), INFINITE);
        }},
    {Fault::Hang, [] { ::Sleep(INFINITE); }},
};

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
    for (const auto& [fault, code] : kFaults)
        if (fault == state.plan.fault)
            code();
    return S_OK;
}

void After(Place place, void* out, IUnknown* given) {
    const TestEffectPlan& plan = Shared().plan;
    if (place != plan.place || Shared().record.calls[static_cast<std::size_t>(place)] < plan.nth)
        return;
    if (plan.fault == Fault::Patch && out != nullptr)
        std::memcpy(static_cast<char*>(out) + plan.patchOffset, &plan.patchValue, sizeof plan.patchValue);
    else if (plan.fault == Fault::Keep && given != nullptr)
        given->AddRef();
    else if (plan.fault == Fault::Overdrop && given != nullptr)
        given->Release();
}
