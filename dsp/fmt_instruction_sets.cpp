#include "dsp/fmt_kernels.h"
#include "dsp/fmt_kernels_sets.h"

#include <array>

namespace {

// These ask the system, too, whether it keeps the wide registers.
bool HasAvx2() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

bool HasSsse3() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("ssse3") != 0;
}

bool HasSse2() {
    return true; // what the module is compiled for
}

constexpr std::array<FmtInstructionSet, 3> kSets{{{"AVX2", HasAvx2, LeaveAvx2, kFmtKernelsAvx2},
    {"SSSE3", HasSsse3, nullptr, kFmtKernelsSsse3}, {"SSE2", HasSse2, nullptr, kFmtKernelsSse2}}};

} // namespace

const FmtKernels* FmtInstructionSet::Find(std::uint32_t formatTag, std::uint32_t bitsPerSample) const {
    for (const FmtKernels& candidate : kernels)
        if (candidate.formatTag == formatTag && candidate.bitsPerSample == bitsPerSample)
            return &candidate;
    return nullptr;
}

std::span<const FmtInstructionSet> FmtInstructionSets() {
    return kSets;
}

const FmtInstructionSet* FindFmtInstructionSet(std::uint32_t formatTag, std::uint32_t bitsPerSample) {
    for (const FmtInstructionSet& set : kSets)
        if (set.isUsable() && set.Find(formatTag, bitsPerSample) != nullptr)
            return &set;
    return nullptr;
}
