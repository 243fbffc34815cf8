#pragma once

#include <cstdint>
#include <span>

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

/// The formats that have routines for one instruction set. They lie in a source file of their own, which
/// alone is compiled for that set. The results of all sets are the same to the bit.
struct FmtInstructionSet {
    const char* name;
    bool (*isUsable)(); ///< on this processor, under this system
    /// To be called between the routines and code that is not the module's; null where there is nothing to
    /// do.
    void (*leave)();
    std::span<const FmtKernels> kernels;

    /// Null where this set has nothing of its own for the format.
    const FmtKernels* Find(std::uint32_t formatTag, std::uint32_t bitsPerSample) const;
};

/// All of them, the fastest first; the last one is usable everywhere and has every format.
std::span<const FmtInstructionSet> FmtInstructionSets();

/// The fastest usable set that has the format; null for a format that is not supported.
const FmtInstructionSet* FindFmtInstructionSet(std::uint32_t formatTag, std::uint32_t bitsPerSample);
