#include "tests/exports/CHost.h"

#include <algorithm>
#include <cstring>

CHost::CHost(CModule& module) : m_module(module) {
    const DSPHostContext context{errors.Get(), information.Get(), trace.Get()};
    instance = module.Create(&context);
}

DWORD CHost::Begin(const WAVEFORMATEX& format, const std::wstring& settings) {
    const DSPConversionInfo info{{1, 2, 3}, &format};
    return m_module.BeginConversion(instance, &info, settings.c_str());
}

std::vector<std::uint8_t> CHost::Run(
    const WAVEFORMATEX& format, std::vector<std::uint8_t> data, std::uint32_t blockFrames) {
    std::vector<std::uint8_t> out;
    failed = false;
    for (std::size_t at = 0, bytes = 0, n = 0; !failed; at += bytes, ++n) {
        bytes = std::min(BlockFrames(blockFrames, n) * format.nBlockAlign, data.size() - at);
        const bool last = at + bytes == data.size();
        DSPAudioBlock block = Block(format, data.data() + at, bytes, last);
        failed = m_module.PassAudioBlock(instance, &block) == 0;
        out.insert(out.end(), block.pData, block.pData + block.nBytes);
        if (last)
            break;
    }
    return out;
}

std::wstring CHost::SettingsFor(
    const std::wstring& name, const GUID& clsid, const std::vector<std::uint8_t>& state) {
    std::vector<std::uint8_t> payload(20 + state.size());
    const auto size = static_cast<std::uint32_t>(state.size());
    std::memcpy(payload.data(), &clsid, 16);
    std::memcpy(payload.data() + 16, &size, 4);
    std::copy(state.begin(), state.end(), payload.begin() + 20);
    std::wstring text = name + L"=X";
    for (const std::uint8_t byte : payload) {
        text += L"0123456789ABCDEF"[byte >> 4];
        text += L"0123456789ABCDEF"[byte & 15];
    }
    return text;
}

WAVEFORMATEX CHost::Format(WORD tag, WORD bits, WORD channels, DWORD rate) {
    WAVEFORMATEX format{};
    format.wFormatTag = tag;
    format.nChannels = channels;
    format.nSamplesPerSec = rate;
    format.wBitsPerSample = bits;
    format.nBlockAlign = static_cast<WORD>(bits * channels / 8);
    format.nAvgBytesPerSec = rate * format.nBlockAlign;
    return format;
}

DSPAudioBlock CHost::Block(const WAVEFORMATEX& format, void* data, std::size_t bytes, bool last) {
    DSPAudioBlock block{};
    block.pData = static_cast<BYTE*>(data);
    block.nBytes = static_cast<INT32>(bytes);
    block.wfx.ex = format;
    block.nDurationMs = 4711;
    block.bLastBlock = last ? 1 : 0;
    return block;
}
