#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// The sample conversions once more, plainly: one sample after the other, in integers and long double, so
/// that no rounding mode and no vector instruction has a part in them. Floats are passed as their bits, since
/// a signalling NaN would not survive the way through an x87 register.
namespace fmt_reference {

struct Format {
    const char* name;
    std::uint32_t tag;
    std::uint32_t bits;

    std::size_t Bytes() const { return bits / 8; }
};

inline std::uint32_t ToFloat(const Format& format, const std::uint8_t* sample) {
    std::uint32_t raw = 0;
    std::memcpy(&raw, sample, format.Bytes());
    if (format.tag == 3)
        return raw;
    const std::int64_t fullScale = std::int64_t{1} << (format.bits - 1);
    std::int64_t value = raw;
    if (format.bits == 8)
        value -= 128;
    else if (value >= fullScale)
        value -= fullScale * 2;
    const long double quotient = static_cast<long double>(value) / static_cast<long double>(fullScale);
    return std::bit_cast<std::uint32_t>(static_cast<float>(quotient));
}

/// The float times 2^power, rounded to nearest, ties to even; INT32_MIN when that is not a 32-bit number.
inline std::int32_t Round(std::uint32_t floatBits, int power) {
    const int exponent = static_cast<int>(floatBits >> 23 & 0xFF);
    const std::uint64_t fraction = floatBits & 0x7F'FFFF;
    const std::uint64_t mantissa = exponent == 0 ? fraction : fraction | 0x80'0000;
    const int shift = (exponent == 0 ? 1 : exponent) - 150 + power; // the result is mantissa * 2^shift
    std::uint64_t size = 0;
    if (shift > 8)
        size = mantissa == 0 ? 0 : std::uint64_t{1} << 40;
    else if (shift >= 0)
        size = mantissa << shift;
    else if (shift >= -25) {
        const std::uint64_t unit = std::uint64_t{1} << -shift;
        const std::uint64_t rest = mantissa % unit;
        size = mantissa / unit;
        if (rest * 2 > unit || (rest * 2 == unit && size % 2 == 1))
            ++size;
    }
    const bool negative = floatBits >> 31 != 0;
    const std::int64_t value = negative ? -static_cast<std::int64_t>(size) : static_cast<std::int64_t>(size);
    return value == static_cast<std::int32_t>(value) ? static_cast<std::int32_t>(value) : INT32_MIN;
}

/// What is stored for one float; `bits` of the result count, and of 24-bit samples all 32.
inline std::uint32_t FromFloat(const Format& format, std::uint32_t floatBits) {
    if (format.tag == 3)
        return floatBits;
    const std::int32_t value = Round(floatBits, static_cast<int>(format.bits) - 1);
    if (format.bits == 16 && (value < -32768 || value > 32767))
        return 0x8000;
    return static_cast<std::uint32_t>(value) + (format.bits == 8 ? 128 : 0);
}

inline void BlockToFloat(const Format& format, const std::uint8_t* host, std::size_t frames,
    std::uint8_t* stereo, std::size_t channels) {
    for (std::size_t i = 0; i != frames * 2; ++i) {
        const std::size_t sample = i / 2 * channels + (channels == 1 ? 0 : i % 2);
        const std::uint32_t bits = ToFloat(format, host + sample * format.Bytes());
        std::memcpy(stereo + i * 4, &bits, 4);
    }
}

inline void BlockFromFloat(const Format& format, std::uint8_t* host, std::size_t frames,
    const std::uint8_t* stereo, std::size_t channels) {
    for (std::size_t i = 0; i != frames * 2; ++i) {
        if (channels == 1 && i % 2 == 1)
            continue;
        std::uint32_t bits = 0;
        std::memcpy(&bits, stereo + i * 4, 4);
        const std::uint32_t stored = FromFloat(format, bits);
        const bool last = i + (channels == 1 ? 2 : 1) == frames * 2;
        const std::size_t bytes = format.bits == 24 && !last ? 4 : format.Bytes();
        std::memcpy(host + (i / 2 * channels + i % 2) * format.Bytes(), &stored, bytes);
    }
}

} // namespace fmt_reference
