#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

/// What the sample effect computes, straight from its definition: one sample at a time over the whole past,
/// which is never cut or wrapped. Gives the effect's bits as long as float arithmetic is single precision
/// (SSE, not x87).
class CEchoModel {
public:
    /// Starts silent with the effect's initial values: 250 ms, 40 %, 35 %.
    CEchoModel(std::uint32_t rate, std::uint32_t channels) : m_rate(rate), m_channels(channels) {
        Set(250, 40, 35);
    }

    /// Counts from the next sample on. After a change of delay the effect knows no more of the past than the
    /// shorter of both delays holds.
    void Set(int delayMs, int feedbackPercent, int mixPercent) {
        const std::size_t frames = static_cast<std::size_t>(
            std::max<std::uint64_t>(1, static_cast<std::uint64_t>(delayMs) * m_rate / 1000));
        const std::size_t known = std::min(frames, m_delay) * m_channels;
        if (frames != m_delay && m_past.size() > known)
            m_oldest = std::max(m_oldest, m_past.size() - known);
        m_delay = frames;
        m_feedback = static_cast<float>(feedbackPercent) / 100.0F;
        m_wet = static_cast<float>(mixPercent) / 100.0F;
        m_dry = 1.0F - m_wet;
    }

    /// count: floats, whole interleaved frames; replaced by the effect's output.
    void Process(float* samples, std::size_t count) {
        for (std::size_t n = 0; n < count; ++n) {
            const float input = Normal(samples[n]);
            const float delayed = Past(m_delay * m_channels);
            samples[n] = Normal(m_dry * input) + m_wet * delayed;
            m_past.push_back(Kept(input + m_feedback * delayed));
        }
    }

    /// Drops what no later sample can sound from unless the delay is made longer: for long sounds.
    void ForgetUnheard() {
        const std::size_t heard = m_delay * m_channels;
        if (m_past.size() <= 4 * heard)
            return;
        const std::size_t unheard = m_past.size() - heard;
        m_past.erase(m_past.begin(), m_past.begin() + static_cast<std::ptrdiff_t>(unheard));
        m_oldest -= std::min(m_oldest, unheard);
    }

private:
    float Past(std::size_t back) const {
        return m_past.size() < m_oldest + back ? 0.0F : m_past[m_past.size() - back];
    }
    // Subnormals are zero to the effect.
    static float Normal(float value) {
        return std::fabs(value) < FLT_MIN ? std::copysign(0.0F, value) : value;
    }
    static float Kept(float value) {
        const float magnitude = std::fabs(value);
        return magnitude >= 1e-15F && magnitude <= 1e15F ? value : 0.0F;
    }

    const std::size_t m_rate;
    const std::size_t m_channels;
    std::size_t m_delay = 0; // frames
    float m_feedback = 0;
    float m_wet = 0;
    float m_dry = 0;
    std::vector<float> m_past;
    std::size_t m_oldest = 0; // index of the first that the effect still knows
};
