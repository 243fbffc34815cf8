// Hosts call with stacks aligned to 4 bytes and floating-point modes of their own.

#include "tests/effects/CTestEffects.h"
#include "tests/exports/CHost.h"

#include <doctest/doctest.h>
#include <immintrin.h>
#include <cstring>

namespace {

// What a call needs, for code that can't look at its own stack frame meanwhile.
struct Call {
    void* function;
    DWORD offset;
    DWORD count;
    DWORD words[8];
};

// cdecl, with esp % 16 equal to the offset at the call.
DWORD MakeCall(const Call& call) {
    DWORD result = 0;
    asm volatile("movl %%esp, %%edi\n\t"
                 "andl $-16, %%esp\n\t"
                 "subl $64, %%esp\n\t"
                 "addl 4(%%esi), %%esp\n\t"
                 "movl 8(%%esi), %%ecx\n\t"
                 "1: testl %%ecx, %%ecx\n\t"
                 "jz 2f\n\t"
                 "decl %%ecx\n\t"
                 "movl 12(%%esi,%%ecx,4), %%eax\n\t"
                 "movl %%eax, (%%esp,%%ecx,4)\n\t"
                 "jmp 1b\n\t"
                 "2: call *(%%esi)\n\t"
                 "movl %%edi, %%esp\n\t"
                 : "=&a"(result)
                 : "S"(&call)
                 : "ecx", "edx", "edi", "cc", "memory");
    return result;
}

template <typename Argument>
DWORD Word(Argument argument) {
    static_assert(sizeof argument == sizeof(DWORD));
    DWORD word = 0;
    std::memcpy(&word, &argument, sizeof word);
    return word;
}

template <typename Function, typename... Arguments>
DWORD CallAt(DWORD offset, Function function, Arguments... arguments) {
    return MakeCall({reinterpret_cast<void*>(function), offset, sizeof...(arguments), {Word(arguments)...}});
}

struct Modes {
    std::string name;
    std::uint16_t control;
    std::uint32_t mxcsr;
};

const Modes kModes[] = {{"as the C run-time has them", 0x037F, 0x1F80}, {"24-bit precision", 0x007F, 0x1F80},
    {"rounding up, flushing to zero", 0x0B7F, 0xDFC0}, {"rounding down, truncating", 0x077F, 0x7F80},
    {"everything unmasked", 0x0240, 0x0000}};

std::uint16_t ControlWord() {
    std::uint16_t control = 0;
    asm volatile("fnstcw %0" : "=m"(control));
    return control;
}

void SetModes(const Modes& modes) {
    asm volatile("fnclex\n\tfldcw %0" : : "m"(modes.control));
    _mm_setcsr(modes.mxcsr);
}

// A whole conversion called with the given stack and modes; the bytes that come out, and whether modes
// stayed.
std::vector<std::uint8_t> Convert(
    CModule& module, CHost& host, DWORD offset, const Modes& modes, bool* stayed) {
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 24, 2);
    std::vector<std::uint8_t> data(1500 * 6);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<std::uint8_t>(i * 31);
    const DSPConversionInfo info{{}, &format};
    const std::wstring settings =
        CHost::SettingsFor(L"T", CLSID_TestEffect, {0xCD, 0xCC, 0x4C, 0x3E}); // 0.2f
    DSPAudioBlock block = CHost::Block(format, data.data(), data.size(), true);
    DWORD results = 0;
    SetModes(modes);
    results += CallAt(offset, module.Get, host.instance, L"IsLive", nullptr);
    results += CallAt(offset, module.BeginConversion, host.instance, &info, settings.c_str());
    results += CallAt(offset, module.PassAudioBlock, host.instance, &block);
    results += CallAt(offset, module.EndConversion, host.instance, 0);
    results += CallAt(offset, module.AfterConversion, host.instance, 0);
    results += CallAt(offset, module.PassNonLive, host.instance, 1, 2, 3, 4);
    results += CallAt(offset, module.RemoveConfigBit, host.instance, 0) != 0 ? 1 : 0;
    CallAt(offset, module.ShowConfigBit, host.instance, nullptr, 0, 0, L"");
    results += CallAt(offset, module.Set, host.instance, L"k", L"v");
    *stayed = ControlWord() == modes.control && _mm_getcsr() == modes.mxcsr;
    SetModes(kModes[0]);
    CHECK(results == 7);
    return std::vector<std::uint8_t>(block.pData, block.pData + block.nBytes);
}

} // namespace

TEST_CASE("the same bytes come out whatever stack and modes the host calls with, and its modes stay") {
    CModule module;
    CTestEffects effects;
    effects.Plan().delay = 100;
    std::vector<std::uint8_t> expected;
    for (const Modes& modes : kModes)
        for (const DWORD offset : {0u, 4u, 8u, 12u}) {
            CAPTURE(modes.name);
            CAPTURE(offset);
            CHost host(module);
            bool stayed = false;
            const std::vector<std::uint8_t> out = Convert(module, host, offset, modes, &stayed);
            if (expected.empty())
                expected = out;
            CHECK(out == expected);
            CHECK(stayed);
            CHECK(host.errors.Take().empty());
        }
    CHECK(expected.size() == (1500 + 512) * 6);
    effects.Reset();
}
