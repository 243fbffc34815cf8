#pragma once

#include <array>
#include <cstdint>

/// Moves `frames` frames between the host's samples at *cursor, which need no alignment, and `stereo`, which
/// is frames * 2 interleaved floats. Its name says in which direction. Advances *cursor by the bytes of those
/// frames; 0 frames do nothing. No byte outside the frames is touched. channels: of the host's frames; only
/// the routines for other counts than 1 and 2 look at it.
using FmtRoutine = void (*)(
    std::uint8_t** cursor, std::uint32_t frames, float* stereo, std::uint32_t channels);

struct FmtRoutinePair {
    FmtRoutine toFloat;
    FmtRoutine fromFloat;
};

/// The routines of one host format, one pair for each way in which channels are mapped.
struct FmtKernels {
    std::uint32_t formatTag;
    std::uint32_t bitsPerSample;
    FmtRoutinePair mono;
    FmtRoutinePair stereo;
    FmtRoutinePair other; ///< the first two channels of frames of any width

    const FmtRoutinePair& For(std::uint32_t channels) const {
        return channels == 1 ? mono : channels == 2 ? stereo : other;
    }
};

/// One table for each instruction set, in a source file of its own that alone is compiled for that set.
/// The results are the same to the bit.
using FmtKernelTable = std::array<FmtKernels, 5>;

extern const FmtKernelTable kFmtKernelsSse2;
