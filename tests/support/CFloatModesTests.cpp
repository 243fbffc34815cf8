#include "support/CFloatModes.h"

#include <doctest/doctest.h>
#include <initializer_list>

namespace {

struct Modes {
    std::uint16_t control = 0, unused = 0, status = 0, unused2 = 0, tags = 0, unused3[9] = {};
    std::uint32_t mxcsr = 0;
};

// Storing the x87 environment masks all exceptions, so it is loaded again.
Modes Now() {
    Modes modes;
    asm volatile("fnstenv %0; fldenv %0" : "+m"(modes));
    modes.mxcsr = _mm_getcsr();
    return modes;
}

} // namespace

TEST_CASE("a scope runs with the default modes and gives the caller's back, pending exceptions included") {
    constexpr std::uint32_t kHosts[][2] = {{0x0F7F, 0xFFC0}, {0x0040, 0x0000}, {0x037B, 0x1F84}}; // x87, SSE
    for (const auto& [control, mxcsr] : kHosts) {
        CAPTURE(control);
        CFloatModes::SetDefault();
        asm volatile("fld1; fldz; fdivrp; fstp %%st(0); fldcw %0" : : "m"(control)); // divides by 0
        _mm_setcsr(mxcsr);
        const Modes before = Now();
        Modes inside;
        {
            const CFloatModes scope;
            inside = Now();
            // What effects leave behind: MMX registers in use, other modes.
            asm volatile("pxor %%mm0, %%mm0; fldcw %0" : : "m"(control) : "mm0");
            _mm_setcsr(0x0040);
        }
        const Modes after = Now();
        CFloatModes::SetDefault();
        CHECK((inside.control == 0x027F && inside.status == 0 && inside.tags == 0xFFFF &&
               inside.mxcsr == 0x1F80));
        CHECK((after.control == control && after.status == before.status && (before.status & 4) != 0));
        CHECK((after.tags == 0xFFFF && after.mxcsr == mxcsr));
    }
}
