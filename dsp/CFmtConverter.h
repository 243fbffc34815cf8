#pragma once

#include "dsp/fmt_kernels.h"

#include <cstddef>
#include <cstdint>

/// Converts between a host's samples and what an effect is run with: 32-bit float, two interleaved channels.
///
///   tag  bits  host sample                      to float     from float
///   1    8     unsigned, 128 is zero            (b-128)/2^7  round(f * 2^7) + 128, low 8 bits kept
///   1    16    signed, little-endian            s / 2^15     round(f * 2^15), -32768 if that is out of range
///   1    24    signed, 3 bytes, little-endian   s / 2^23     round(f * 2^23), low 24 bits kept
///   1    32    signed, little-endian            s / 2^31     round(f * 2^31), -2^31 if that is out of range
///   3    32    float                            same bits    same bits
///
/// round() is to nearest, ties to even. There is no clipping and no dither: +1.0 turns into the most negative
/// sample. Where low bits are kept they are those of a 32-bit integer, and what does not fit that (NaN and
/// the infinities, too) counts as -2^31: it becomes silence in 8 and 24 bits, the most negative sample in 16
/// and 32.
///
/// One channel is written to both floats, and written back from the left one. Of more than two channels the
/// first two are converted and the others left as they are, except that with 24 bits every frame of a call
/// but its last has the lowest byte of its third channel overwritten, with the top byte of the second
/// channel's 32-bit integer (0x00, or 0xFF for a negative sample).
///
/// Works in place: frames read from a block may be written back to where they were. Expects the default modes
/// in MXCSR (round to nearest, nothing flushed to zero, exceptions masked). Allocates nothing. Threads: one
/// at a time.
class CFmtConverter {
public:
    static constexpr std::uint32_t kScratchFrames = 512;

    virtual ~CFmtConverter() = default;

    /// Fits the routines to a stream. Sets channels and frameBytes also when it then fails.
    /// formatTag: the effective one, 1 or 3. Returns 1, or 0 for a format that is not in the table above.
    /// Does not refuse 0 channels, which make frames of 0 bytes: the caller must not go on with these.
    std::uint32_t Init(std::uint32_t formatTag, std::uint32_t bitsPerSample, std::uint32_t channelCount);

    /// True after an Init that succeeded: toFloat and fromFloat may be called.
    bool IsFitted() const { return toFloat != nullptr && fromFloat != nullptr; }

    /// To be called after the routines and before code that is not the module's: an effect, or the host.
    void Leave() const {
        if (m_leave != nullptr)
            m_leave();
    }

    /// Makes the scratch silent.
    void ClearScratch();

    // To be read by callers; only the scratch is theirs to write.

    /// Room for kScratchFrames frames of stereo float. Starts a cache line, for speed only.
    alignas(64) float scratch[std::size_t{kScratchFrames} * 2] = {};
    std::uint32_t channels = 0;     ///< of the host's frames
    std::uint32_t frameBytes = 0;   ///< bytes of one host frame
    FmtRoutine toFloat = nullptr;   ///< host frames at *cursor to stereo floats
    FmtRoutine fromFloat = nullptr; ///< stereo floats to host frames at *cursor

private:
    void (*m_leave)() = nullptr;
};
