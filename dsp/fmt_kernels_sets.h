#pragma once

#include "dsp/fmt_kernels.h"

#include <array>

extern const std::array<FmtKernels, 5> kFmtKernelsAvx2;
extern const std::array<FmtKernels, 1> kFmtKernelsSsse3; ///< 24 bit: the one format that gains from it
extern const std::array<FmtKernels, 5> kFmtKernelsSse2;

/// Puts the upper halves of all vector registers into their initial state. The routines end with VZEROUPPER,
/// but a 32-bit process has only half of the registers that the processor keeps: some processors (seen on Zen
/// 5) then go on running all SSE code, an effect's or a host's, at less than a third of its speed until the
/// system next switches threads. About 90 ns there.
void LeaveAvx2();
