#include "dxconv/CWavReader.h"

#include "dxconv/CError.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::uint32_t kTagPcm = 1;
constexpr std::uint32_t kTagFloat = 3;
constexpr std::uint32_t kTagExtensible = 0xFFFE;
constexpr std::size_t kSmallestFormat = 16;
constexpr std::size_t kHeadOfFormat = 18; // up to and with cbSize
constexpr std::size_t kExtensibleFormat = 40;
constexpr std::size_t kCopyBytes = 64 * 1024;

bool IsId(const std::uint8_t* bytes, const char (&id)[5]) {
    return std::memcmp(bytes, id, 4) == 0;
}

// A sub-format that stands for a tag is {tag, 0000-0010-8000-00AA00389B71}; 0 for another one.
std::uint32_t SubFormatTag(const std::uint8_t* guid) {
    constexpr std::uint8_t kTail[] = {0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    return std::memcmp(guid + 4, kTail, sizeof kTail) == 0 ? LoadLe<std::uint32_t>(guid) : 0;
}

// Returns what is wrong with the chunk, or nothing.
std::string ParseFormat(const std::uint8_t* chunk, std::size_t bytes, WavFormat& format) {
    if (bytes < kSmallestFormat)
        return "its fmt chunk is too short";
    std::uint32_t tag = LoadLe<std::uint16_t>(chunk);
    format.channels = LoadLe<std::uint16_t>(chunk + 2);
    format.samplesPerSec = LoadLe<std::uint32_t>(chunk + 4);
    format.blockAlign = LoadLe<std::uint16_t>(chunk + 12);
    const std::uint32_t bits = LoadLe<std::uint16_t>(chunk + 14);
    const std::size_t storedExtra = bytes >= kHeadOfFormat ? LoadLe<std::uint16_t>(chunk + 16) : 0;
    if (tag == kTagExtensible) {
        if (bytes < kExtensibleFormat || storedExtra < kExtensibleFormat - kHeadOfFormat)
            return "its extensible fmt chunk is too short";
        tag = SubFormatTag(chunk + 24);
    }
    if (format.channels == 0 || format.samplesPerSec == 0)
        return "its fmt chunk says " + std::to_string(format.channels) + " channels at " +
               std::to_string(format.samplesPerSec) + " Hz";
    const bool pcm = tag == kTagPcm && bits >= 8 && bits <= 32 && bits % 8 == 0;
    format.isFloat = tag == kTagFloat && bits == 32;
    if (!pcm && !format.isFloat)
        return "its format (tag " + std::to_string(tag) + ", " + std::to_string(bits) +
               " bits) is not supported";
    if (format.blockAlign != format.channels * bits / 8)
        return "its fmt chunk says " + std::to_string(format.blockAlign) +
               " bytes a frame, which contradicts " + std::to_string(format.channels) + " channels of " +
               std::to_string(bits) + " bits";

    const std::size_t kept = std::min(bytes, format.bytes.size());
    const std::size_t extra = kept > kHeadOfFormat ? std::min(storedExtra, kept - kHeadOfFormat) : 0;
    std::memcpy(format.bytes.data(), chunk, kept);
    StoreLe(format.bytes.data() + 8, format.samplesPerSec * format.blockAlign);
    StoreLe(format.bytes.data() + 16, static_cast<std::uint16_t>(extra));
    return {};
}

} // namespace

void CWavReader::Fail(const std::string& what) const {
    throw CError(ExitCode::Input, m_name, what);
}

std::size_t CWavReader::Read(void* buffer, std::size_t bytes) {
    const std::size_t got = bytes == 0 ? 0 : m_source.Read(buffer, bytes);
    m_totalBytes += got;
    return got;
}

void CWavReader::Take(std::uint8_t* buffer, std::size_t bytes, IByteSink& sink) {
    if (Read(buffer, bytes) < bytes)
        Fail("it ends before any audio; record or export it again");
    sink.Write(buffer, bytes);
}

std::uint64_t CWavReader::Copy(std::uint64_t bytes, IByteSink& sink) {
    std::vector<std::uint8_t> piece(static_cast<std::size_t>(std::min<std::uint64_t>(bytes, kCopyBytes)));
    std::uint64_t copied = 0;
    while (copied < bytes) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(bytes - copied, piece.size()));
        const std::size_t got = Read(piece.data(), wanted);
        sink.Write(piece.data(), got);
        copied += got;
        if (got < wanted)
            break;
    }
    return copied;
}

const WavHead& CWavReader::ReadHead(IByteSink& sink) {
    std::uint8_t riff[12] = {};
    const bool whole = Read(riff, sizeof riff) == sizeof riff;
    m_head.rf64 = IsId(riff, "RF64") || IsId(riff, "BW64");
    if (!whole || !(IsId(riff, "RIFF") || m_head.rf64) || !IsId(riff + 8, "WAVE"))
        Fail("it is not a WAV file; export it as WAV first");
    sink.Write(riff, sizeof riff);
    m_head.riffBytes = LoadLe<std::uint32_t>(riff + 4);

    std::uint8_t header[8] = {};
    for (Take(header, sizeof header, sink); !IsId(header, "data"); Take(header, sizeof header, sink))
        ReadChunk(header, sink);
    if (m_head.format.channels == 0)
        Fail("it has no fmt chunk before its audio; export it again");
    m_head.dataOffset = m_totalBytes;
    FindAudioEnd(LoadLe<std::uint32_t>(header + 4));
    return m_head;
}

void CWavReader::ReadChunk(const std::uint8_t (&header)[8], IByteSink& sink) {
    const std::uint64_t bytes = LoadLe<std::uint32_t>(header + 4);
    const std::uint64_t offset = m_totalBytes;
    std::uint8_t body[64] = {};
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, sizeof body));
    Take(body, taken, sink);
    if (IsId(header, "fmt ") && m_head.format.channels == 0) {
        const std::string fault = ParseFormat(body, taken, m_head.format);
        if (!fault.empty())
            Fail(fault + "; convert it to 8, 16, 24 or 32-bit PCM or 32-bit float");
    } else if (IsId(header, "ds64") && m_head.rf64 && taken >= 24) {
        m_head.ds64Offset = offset;
        m_head.dataBytes = LoadLe<std::uint64_t>(body + 8);
        if (m_head.riffBytes == kNo32BitSize)
            m_head.riffBytes = LoadLe<std::uint64_t>(body);
    } else if (IsId(header, "fact") && taken >= 4) {
        m_head.factOffset = offset;
    }
    const std::uint64_t left = bytes - taken + bytes % 2;
    if (Copy(left, sink) < left)
        Fail("it ends inside its '" + std::string(header, header + 4) + "' chunk; record or export it again");
}

// Recorders that crash or write to a pipe leave a size of 0 or all ones behind. A data size of 0 is believed
// only when the RIFF size speaks of chunks after it.
void CWavReader::FindAudioEnd(std::uint32_t storedBytes) {
    const bool inDs64 = m_head.ds64Offset != 0 && storedBytes == kNo32BitSize;
    if (!inDs64)
        m_head.dataBytes = storedBytes;
    const bool riffUnknown = m_head.riffBytes == kNo32BitSize || m_head.riffBytes <= m_head.dataOffset - 8;
    m_head.untilEnd = (storedBytes == kNo32BitSize && !inDs64) || (m_head.dataBytes == 0 && riffUnknown);
}

void CWavReader::ReadFrames(std::vector<std::uint8_t>& buffer, std::size_t maxFrames) {
    const std::size_t frameBytes = m_head.format.blockAlign;
    std::uint64_t wanted = std::uint64_t{maxFrames} * frameBytes;
    if (!m_head.untilEnd)
        wanted = std::min(wanted, m_head.dataBytes - m_audioBytes);
    if (!m_partial.empty())
        wanted = 0;
    buffer.resize(static_cast<std::size_t>(wanted));
    buffer.resize(Read(buffer.data(), buffer.size()));
    m_audioBytes += buffer.size();
    const auto whole = buffer.end() - static_cast<std::ptrdiff_t>(buffer.size() % frameBytes);
    m_partial.insert(m_partial.end(), whole, buffer.end());
    buffer.erase(whole, buffer.end());
}

void CWavReader::SkipPad() {
    std::uint8_t pad = 0;
    Read(&pad, 1);
}

void CWavReader::CopyRest(IByteSink& sink) {
    Copy(UINT64_MAX, sink);
}
