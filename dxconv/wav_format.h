#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// WAV files as records. Nothing here or in CWavReader calls the system, so both build on any machine.

/// The format of the audio, checked: 1 or more channels of 8, 16, 24 or 32-bit PCM or of 32-bit float.
struct WavFormat {
    std::uint32_t channels = 0;
    std::uint32_t samplesPerSec = 0;
    std::uint32_t blockAlign = 0; // bytes of a frame
    bool isFloat = false;
    std::array<std::uint8_t, 44> bytes{}; // WAVEFORMATEX or WAVEFORMATEXTENSIBLE; cbSize fits

    bool operator==(const WavFormat&) const = default;
};

/// What precedes the audio. Offsets count from the start of the file; 0 = there is none.
struct WavHead {
    WavFormat format;
    bool rf64 = false;            // sizes are in the ds64 chunk
    bool untilEnd = false;        // no data size was stored: the audio goes on to the end of the stream
    std::uint64_t riffBytes = 0;  // as stored: what follows the first 8 bytes
    std::uint64_t dataBytes = 0;  // as stored
    std::uint64_t ds64Offset = 0; // body of the ds64 chunk: RIFF size, data size, frames, each 64 bits
    std::uint64_t factOffset = 0; // body of the fact chunk: frames, 32 bits
    std::uint64_t dataOffset = 0; // the audio; its chunk's 32-bit size lies 4 bytes before

    bool operator==(const WavHead&) const = default;
};

constexpr std::uint32_t kNo32BitSize = 0xFFFFFFFF; // the size is in ds64, or not known

/// Little-endian numbers, at any alignment.
template <typename T>
T LoadLe(const std::uint8_t* bytes) {
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<T>(value | static_cast<T>(static_cast<T>(bytes[i]) << (8 * i)));
    return value;
}

template <typename T>
void StoreLe(std::uint8_t* bytes, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
}
