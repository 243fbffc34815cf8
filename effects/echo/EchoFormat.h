#pragma once

#include <windows.h>
#include <dshow.h>
#include <cstdint>
#include <optional>

/// Rate (frames a second, from 1) and channels (1 or 2) of a stream of interleaved 32-bit float.
struct EchoFormat {
    std::uint32_t rate = 0;
    std::uint32_t channels = 0;

    std::uint32_t FrameBytes() const { return channels * 4; }
    bool operator==(const EchoFormat&) const = default;
};

/// What `type` describes, when it is audio that the effect can work on: 32-bit float, plain or extensible,
/// under either of the subtypes that hosts give it (PCM or IEEE float). `type` may be null.
std::optional<EchoFormat> ReadEchoFormat(const AM_MEDIA_TYPE* type);
