#include "support/CAudioFormat.h"

#include "support/CForeignGuard.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kHeadBytes = sizeof(WAVEFORMATEX);
constexpr WORD kExtensibleExtraBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);

// The sub-formats that stand for a tag are {tag, 0000-0010-8000-00AA00389B71}.
bool IsTagGuid(const GUID& guid) {
    constexpr BYTE kTail[8] = {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
    return guid.Data2 == 0x0000 && guid.Data3 == 0x0010 && std::memcmp(guid.Data4, kTail, sizeof kTail) == 0;
}

} // namespace

bool CAudioFormat::Assign(const WAVEFORMATEX* source, std::size_t readable) {
    if (source == nullptr || readable < kHeadBytes)
        return false;
    WAVEFORMATEXTENSIBLE copy{};
    const bool read = RunGuarded([&] {
        std::memcpy(&copy, source, kHeadBytes);
        const bool extensible = copy.Format.wFormatTag == WAVE_FORMAT_EXTENSIBLE;
        const std::size_t extra = std::min<std::size_t>(
            {extensible ? copy.Format.cbSize : 0u, kExtensibleExtraBytes, readable - kHeadBytes});
        std::memcpy(&copy, source, kHeadBytes + extra);
        if (extra < copy.Format.cbSize)
            copy.Format.cbSize = static_cast<WORD>(extra);
    });
    if (!read)
        return false;
    m_format = copy;
    m_blockAlign = copy.Format.nBlockAlign;
    m_avgBytesPerSec = copy.Format.nAvgBytesPerSec;
    const std::uint32_t tag = EffectiveTag();
    if (tag == WAVE_FORMAT_PCM || tag == WAVE_FORMAT_IEEE_FLOAT) {
        m_blockAlign = BitsPerSample() * Channels() / 8;
        m_avgBytesPerSec = m_blockAlign * SamplesPerSec();
    }
    m_blockAlign = std::max(m_blockAlign, 1u);
    m_avgBytesPerSec = std::max(m_avgBytesPerSec, 1u);
    return true;
}

std::uint32_t CAudioFormat::EffectiveTag() const {
    const WAVEFORMATEX& head = m_format.Format;
    if (head.wFormatTag != WAVE_FORMAT_EXTENSIBLE || head.cbSize < kExtensibleExtraBytes)
        return head.wFormatTag;
    const GUID& guid = m_format.SubFormat;
    if (!IsTagGuid(guid))
        return WAVE_FORMAT_EXTENSIBLE;
    switch (guid.Data1) {
    case WAVE_FORMAT_PCM:
    case WAVE_FORMAT_ADPCM:
    case WAVE_FORMAT_IEEE_FLOAT:
    case WAVE_FORMAT_ALAW:
    case WAVE_FORMAT_MULAW:
    case WAVE_FORMAT_MPEG:
        return guid.Data1;
    default:
        return WAVE_FORMAT_EXTENSIBLE;
    }
}

std::uint64_t CAudioFormat::BytesFor(std::uint32_t ms) const {
    const std::uint64_t bytes = std::uint64_t{m_avgBytesPerSec} * ms / 1000;
    return bytes - bytes % m_blockAlign;
}
