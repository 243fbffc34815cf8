#pragma once

#include <windows.h>
#include <mmreg.h>
#include <cstddef>
#include <cstdint>

/// A stream's format as a value, copied out of a host's record. Of the bytes behind the head it keeps those
/// of WAVEFORMATEXTENSIBLE: nothing reads further ones, and a cbSize that lies is not followed.
class CAudioFormat {
public:
    CAudioFormat() = default;

    /// Copies `source`, of which `readable` bytes may be read. When the effective tag is PCM or IEEE float,
    /// block align and byte rate are worked out anew; both are at least 1 afterwards. Returns false, with the
    /// value unchanged, when `source` is null, shorter than a WAVEFORMAT head or faults.
    bool Assign(const WAVEFORMATEX* source, std::size_t readable = sizeof(WAVEFORMATEXTENSIBLE));

    /// The tag, or for WAVE_FORMAT_EXTENSIBLE the tag that its sub-format stands for (unknown ones keep
    /// 0xFFFE).
    std::uint32_t EffectiveTag() const;

    std::uint32_t BitsPerSample() const { return m_format.Format.wBitsPerSample; }
    std::uint32_t Channels() const { return m_format.Format.nChannels; }
    std::uint32_t SamplesPerSec() const { return m_format.Format.nSamplesPerSec; }
    std::uint32_t BlockAlign() const { return m_blockAlign; }
    std::uint32_t AvgBytesPerSec() const { return m_avgBytesPerSec; }

    /// Bytes that last `ms` milliseconds, rounded down to whole frames.
    std::uint64_t BytesFor(std::uint32_t ms) const;

    /// Milliseconds that `bytes` last.
    std::uint64_t DurationMs(std::uint64_t bytes) const { return bytes * 1000 / m_avgBytesPerSec; }

private:
    WAVEFORMATEXTENSIBLE m_format{};
    std::uint32_t m_blockAlign = 1;
    std::uint32_t m_avgBytesPerSec = 1;
};
