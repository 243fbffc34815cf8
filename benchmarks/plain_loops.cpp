#include "benchmarks/plain_loops.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

void ToFloat8(const unsigned char* host, std::size_t samples, float* floats) {
    for (std::size_t n = 0; n < samples; ++n)
        floats[n] = static_cast<float>(host[n] - 128) / 128.0f;
}

void FromFloat8(unsigned char* host, std::size_t samples, const float* floats) {
    for (std::size_t n = 0; n < samples; ++n)
        host[n] = static_cast<unsigned char>(std::lrintf(floats[n] * 128.0f) + 128);
}

void ToFloat16(const unsigned char* host, std::size_t samples, float* floats) {
    for (std::size_t n = 0; n < samples; ++n) {
        std::int16_t sample;
        std::memcpy(&sample, host + 2 * n, 2);
        floats[n] = static_cast<float>(sample) / 32768.0f;
    }
}

void FromFloat16(unsigned char* host, std::size_t samples, const float* floats) {
    for (std::size_t n = 0; n < samples; ++n) {
        const long rounded = std::lrintf(floats[n] * 32768.0f);
        const auto sample = static_cast<std::int16_t>(rounded < -32768 || rounded > 32767 ? -32768 : rounded);
        std::memcpy(host + 2 * n, &sample, 2);
    }
}

void ToFloat24(const unsigned char* host, std::size_t samples, float* floats) {
    for (std::size_t n = 0; n < samples; ++n) {
        const unsigned top =
            unsigned{host[3 * n]} << 8 | unsigned{host[3 * n + 1]} << 16 | unsigned{host[3 * n + 2]} << 24;
        floats[n] = static_cast<float>(static_cast<std::int32_t>(top)) / 2147483648.0f;
    }
}

void FromFloat24(unsigned char* host, std::size_t samples, const float* floats) {
    for (std::size_t n = 0; n < samples; ++n) {
        const long sample = std::lrintf(floats[n] * 8388608.0f);
        host[3 * n] = static_cast<unsigned char>(sample);
        host[3 * n + 1] = static_cast<unsigned char>(sample >> 8);
        host[3 * n + 2] = static_cast<unsigned char>(sample >> 16);
    }
}

void ToFloat32(const unsigned char* host, std::size_t samples, float* floats) {
    for (std::size_t n = 0; n < samples; ++n) {
        std::int32_t sample;
        std::memcpy(&sample, host + 4 * n, 4);
        floats[n] = static_cast<float>(sample) / 2147483648.0f;
    }
}

void FromFloat32(unsigned char* host, std::size_t samples, const float* floats) {
    for (std::size_t n = 0; n < samples; ++n) {
        const long sample = std::lrintf(floats[n] * 2147483648.0f);
        std::memcpy(host + 4 * n, &sample, 4);
    }
}

void CopyToFloat(const unsigned char* host, std::size_t samples, float* floats) {
    std::memcpy(floats, host, samples * sizeof(float));
}

void CopyFromFloat(unsigned char* host, std::size_t samples, const float* floats) {
    std::memcpy(host, floats, samples * sizeof(float));
}

} // namespace

#ifdef PLAIN_LOOPS_OPTIMISED
const PlainLoop kPlainLoopsOptimised[5] =
#else
const PlainLoop kPlainLoops[5] =
#endif
    {{1, 8, ToFloat8, FromFloat8}, {1, 16, ToFloat16, FromFloat16}, {1, 24, ToFloat24, FromFloat24},
        {1, 32, ToFloat32, FromFloat32}, {3, 32, CopyToFloat, CopyFromFloat}};
