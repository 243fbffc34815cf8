#include "effects/echo/CEchoLine.h"

#include <emmintrin.h>
#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr float kLeastKept = 1e-15F; // -300 dB
constexpr float kMostKept = 1e15F;

// Subnormals cost a hundred cycles each; for a scope they read and round to zero.
class CNoSubnormals {
public:
    CNoSubnormals() : m_modes(_mm_getcsr()) { _mm_setcsr(m_modes | kFlushToZero | kDenormalsAreZero); }
    ~CNoSubnormals() { _mm_setcsr(m_modes); }
    CNoSubnormals(const CNoSubnormals&) = delete;
    CNoSubnormals& operator=(const CNoSubnormals&) = delete;

private:
    static constexpr unsigned kFlushToZero = 0x8000;
    static constexpr unsigned kDenormalsAreZero = 0x0040;
    const unsigned m_modes;
};

// The arithmetic on four samples; the scalar rest goes through the same lanes and so gets the same bits.
class CKernel {
public:
    explicit CKernel(const CEchoLine::Gains& gains)
        : m_feedback(_mm_set1_ps(gains.feedback)), m_wet(_mm_set1_ps(gains.wet)),
          m_dry(_mm_set1_ps(gains.dry)) {}

    // Returns the output and replaces `delayed` by what goes into the line.
    __m128 Step(__m128 input, __m128& delayed) const {
        const __m128 output = _mm_add_ps(_mm_mul_ps(m_dry, input), _mm_mul_ps(m_wet, delayed));
        delayed = Kept(_mm_add_ps(input, _mm_mul_ps(m_feedback, delayed)));
        return output;
    }

private:
    // Magnitudes order as their bits do, infinity and NaN on top, and subtracting the bits twice drops the
    // sign. The difference starts at the largest integer for the least magnitude that is kept: what lies
    // below wraps to a negative number, so one comparison tests both ends.
    __m128 Kept(__m128 value) const {
        const __m128i bits = _mm_castps_si128(value);
        const __m128i rank = _mm_sub_epi32(_mm_sub_epi32(m_top, bits), bits);
        return _mm_and_ps(_mm_castsi128_ps(_mm_cmpgt_epi32(rank, m_bottom)), value);
    }

    static constexpr std::int32_t kTop = std::numeric_limits<std::int32_t>::max();
    static constexpr std::uint32_t kLeastBits = std::bit_cast<std::uint32_t>(kLeastKept);
    static constexpr std::uint32_t kMostBits = std::bit_cast<std::uint32_t>(kMostKept);
    static_assert(2 * (kMostBits - kLeastBits) < kTop);

    const __m128 m_feedback;
    const __m128 m_wet;
    const __m128 m_dry;
    const __m128i m_top = _mm_set1_epi32(static_cast<std::int32_t>(kTop + 2 * kLeastBits));
    const __m128i m_bottom =
        _mm_set1_epi32(kTop - 1 - static_cast<std::int32_t>(2 * (kMostBits - kLeastBits)));
};

// `count` samples against as many of the line, without a wrap.
void ProcessRun(
    const CEchoLine::Gains& gains, const float* input, float* output, float* line, std::size_t count) {
    const CKernel kernel(gains);
    std::size_t n = 0;
    const auto four = [&](std::size_t at) {
        __m128 delayed = _mm_loadu_ps(line + at);
        _mm_storeu_ps(output + at, kernel.Step(_mm_loadu_ps(input + at), delayed));
        _mm_storeu_ps(line + at, delayed);
    };
    for (; n + 16 <= count; n += 16) {
        four(n);
        four(n + 4);
        four(n + 8);
        four(n + 12);
    }
    for (; n + 4 <= count; n += 4)
        four(n);
    for (; n < count; ++n) {
        __m128 delayed = _mm_load_ss(line + n);
        _mm_store_ss(output + n, kernel.Step(_mm_load_ss(input + n), delayed));
        _mm_store_ss(line + n, delayed);
    }
}

} // namespace

CEchoLine::Gains CEchoLine::GainsFor(long feedbackPercent, long mixPercent) {
    const float wet = static_cast<float>(mixPercent) / 100.0F;
    return {static_cast<float>(feedbackPercent) / 100.0F, wet, 1.0F - wet};
}

std::size_t CEchoLine::FloatsFor(std::uint32_t ms) const {
    const std::uint64_t frames = std::uint64_t{ms} * m_rate / 1000;
    return static_cast<std::size_t>(std::max<std::uint64_t>(frames, 1) * m_channels);
}

void CEchoLine::Start(std::uint32_t rate, std::uint32_t channels, std::uint32_t delayMs) {
    m_length = 0;
    m_position = 0;
    m_rate = rate;
    m_channels = channels;
    if (std::uint64_t{kMostDelayMs} * rate / 1000 * channels > m_line.max_size())
        throw std::bad_alloc();
    m_line.assign(FloatsFor(kMostDelayMs), 0.0F);
    m_length = FloatsFor(delayMs);
    m_delayMs = delayMs;
}

void CEchoLine::Clear() {
    std::fill(m_line.begin(), m_line.end(), 0.0F);
}

void CEchoLine::SetDelay(std::uint32_t ms) {
    if (ms == m_delayMs)
        return;
    m_delayMs = ms;
    const std::size_t length = FloatsFor(ms);
    float* const line = m_line.data();
    std::rotate(line, line + m_position, line + m_length);
    const std::size_t kept = std::min(length, m_length);
    std::memmove(line + (length - kept), line + (m_length - kept), kept * sizeof(float));
    std::fill(line, line + (length - kept), 0.0F);
    m_length = length;
    m_position = 0;
}

void CEchoLine::Process(const float* input, float* output, std::size_t frames, const Gains& gains) {
    const CNoSubnormals modes;
    for (std::size_t left = frames * m_channels; left != 0;) {
        const std::size_t run = std::min(left, m_length - m_position);
        ProcessRun(gains, input, output, m_line.data() + m_position, run);
        m_position = m_position + run == m_length ? 0 : m_position + run;
        input += run;
        output += run;
        left -= run;
    }
}
