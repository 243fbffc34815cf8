#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// A delay with feedback over interleaved 32-bit float. For every sample x, with d the one `delay` frames
/// back:
///     output = dry * x + wet * d;   line = Kept(x + feedback * d)
/// in single precision, each product and sum rounded by itself. Kept makes 0 of NaN and of every magnitude
/// outside 1e-15 .. 1e15, so a tail ends and nothing poisons the line. Subnormal inputs and products count as
/// 0. Threads: any one at a time. No call into the system.
class CEchoLine {
public:
    struct Gains {
        float feedback;
        float wet;
        float dry;
    };
    static constexpr std::uint32_t kMostDelayMs = 2000;

    static Gains GainsFor(long feedbackPercent, long mixPercent);

    /// Becomes silent and as long as the longest delay at `rate` needs. Throws std::bad_alloc, and is then
    /// empty.
    void Start(std::uint32_t rate, std::uint32_t channels, std::uint32_t delayMs);

    /// Becomes silent; the delay stays.
    void Clear();

    /// 1 .. kMostDelayMs; a delay shorter than a frame becomes a frame. Allocates nothing. A shorter delay
    /// keeps the newest of the line; a longer one keeps all of it, behind as much silence as is missing.
    void SetDelay(std::uint32_t ms);

    /// After Start. frames * channels floats from `input` to `output`, which may be the same. Allocates
    /// nothing.
    void Process(const float* input, float* output, std::size_t frames, const Gains& gains);

private:
    std::size_t FloatsFor(std::uint32_t ms) const;

    std::vector<float> m_line; // the first m_length hold the past, the oldest at m_position
    std::size_t m_length = 0;
    std::size_t m_position = 0;
    std::uint32_t m_rate = 0;
    std::uint32_t m_channels = 0;
    std::uint32_t m_delayMs = 0;
};
