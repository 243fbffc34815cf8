// How a conversion runs: connecting the effect, the blocks, the tail.

#include "dsp/CInEffect.h"
#include "dsp/clDSP.h"
#include "dsp/trace_log.h"
#include "dxhost/CDXClient.h"
#include "support/CForeignGuard.h"
#include "support/host_memory.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::uint32_t kPieceFrames = CFmtConverter::kScratchFrames;
constexpr std::uint32_t kLongestTailMs = 10000;
constexpr float kSilence = 0.0004f; // largest magnitude that counts as silent
constexpr std::uint32_t kTailGrowFrames = 2048;

constexpr char kPassAudioBlock[] = "clDSP::PassAudioBlock";
constexpr wchar_t kFillBuffer[] = L"Error: CDXClient::FillBuffer";
constexpr wchar_t kNoAccess[] = L"Error: Access to the audio block";

bool IsSilent(const float* data, std::uint32_t frames) {
    if (frames == 0)
        return false;
    for (std::uint32_t i = 0; i < frames * 2; ++i)
        if (!(std::fabs(data[i]) <= kSilence))
            return false;
    return true;
}

// The host's record gets what a tail changes of it. False when it can't be written.
bool GiveBack(DSPAudioBlock* host, const DSPAudioBlock& block) {
    return RunGuarded([&] {
        host->pData = block.pData;
        host->nBytes = block.nBytes;
        host->nDurationMs = block.nDurationMs;
    });
}

} // namespace

DWORD clDSP::ConnectDX(GUID clsid, const char* name, DWORD sampleRate, DWORD openEditor) {
    static constexpr char kFunction[] = "clDSP::ConnectDX";
    TraceEntry(this, kFunction);
    const CLockObj lock(&m_lock);
    if (InEffect())
        return Fail(kCalledFromEffect, kFunction);
    const CInEffect inside(*this);
    TakeEditorDown();
    m_client.reset();
    if (clsid == GUID{})
        return 1;
    try {
        m_client = std::make_unique<CDXClient>();
    } catch (const std::bad_alloc&) {
        return Fail(L"Error: new CDXClient", kFunction);
    }
    if (!m_client->SetDX(clsid, name, static_cast<std::int32_t>(sampleRate), kPieceFrames)) {
        m_client.reset();
        return Fail(L"Error: CDXClient::SetDX", kFunction);
    }
    if (openEditor != 0 && !ShowPage()) {
        TakeEditorDown();
        m_client.reset();
        return Fail(L"Error: CDXClient::OpenEditor", kFunction);
    }
    TraceExit(this, kFunction);
    return 1;
}

DWORD clDSP::BeginConversion(const DSPConversionInfo* info, const wchar_t* settings) {
    static constexpr char kFunction[] = "clDSP::BeginConversion";
    TraceEntry(this, kFunction);
    const CLockObj lock(&m_lock);
    if (InEffect())
        return Fail(kCalledFromEffect, kFunction);
    CAudioFormat format;
    const WAVEFORMATEX* given = nullptr;
    const bool formatGiven =
        info != nullptr && RunGuarded([&] { given = info->pFormat; }) && format.Assign(given);
    CMemBuff decoded(kSettingsGrowBytes);
    if (decoded.FromSettingsString(settings)) {
        ConnectDecoded(decoded, format.SamplesPerSec());
        if (m_client == nullptr)
            return Fail(L"Error: Connect to DirectX PlugIn", kFunction);
    }
    const bool fitted =
        formatGiven && format.Channels() != 0 &&
        m_converter.Init(format.EffectiveTag(), format.BitsPerSample(), format.Channels()) != 0;
    if (!fitted)
        m_converter.Init(0, 0, 0); // or it would still be fitted to the stream before
    if (m_client != nullptr && !fitted) {
        CloseEditor();
        m_client.reset();
        return Fail(L"Error: Unsupported audio format", kFunction);
    }
    TraceExit(this, kFunction);
    return 1;
}

DWORD clDSP::PassAudioBlock(DSPAudioBlock* given) {
    const CLockObj lock(&m_lock);
    if (InEffect())
        return Fail(kCalledFromEffect, kPassAudioBlock);
    DSPAudioBlock block;
    if (!ReadRecord(&block, given))
        return Fail(kNoAccess, kPassAudioBlock);
    if (m_client == nullptr || !m_converter.IsFitted() || m_converter.frameBytes == 0)
        return 1;
    const CInEffect inside(*this);
    const auto bytes = static_cast<std::uint32_t>(std::max<INT32>(block.nBytes, 0));
    if (block.pData == nullptr && bytes != 0)
        return Fail(kNoAccess, kPassAudioBlock);
    const bool processed = ProcessFrames(block.pData, bytes / m_converter.frameBytes);
    m_converter.Leave();
    if (!processed)
        return 0;
    if (block.bLastBlock == 0)
        return 1;
    CAudioFormat format;
    format.Assign(&block.wfx.ex, sizeof block.wfx);
    CMemBuff tail(static_cast<std::int32_t>(m_converter.frameBytes * kTailGrowFrames));
    if (!FlushTail(format, tail))
        return 0;
    if (tail.Size() == 0)
        return 1;
    if (!AppendTail(&block, format, tail))
        return Fail(L"Error: CMemBuff::SetSize", kPassAudioBlock);
    return GiveBack(given, block) ? 1 : Fail(kNoAccess, kPassAudioBlock);
}

// The host's memory is the host's word, and the effect's samples are the effect's: what is not there, or not
// so long, fails the call.
bool clDSP::Convert(FmtRoutine routine, std::uint8_t** cursor, std::uint32_t frames, float* stereo) {
    if (RunCaught([&] { routine(cursor, frames, stereo, m_converter.channels); }))
        return true;
    const bool samplesThere =
        RunGuarded([&] { std::memmove(m_converter.scratch, stereo, frames * 2 * sizeof(float)); });
    Fail(samplesThere ? kNoAccess : kFillBuffer, kPassAudioBlock);
    return false;
}

bool clDSP::ProcessFrames(BYTE* data, std::uint32_t frames) {
    std::uint8_t* reading = data;
    std::uint8_t* writing = data;
    while (frames > 0) {
        const std::uint32_t count = std::min(frames, kPieceFrames);
        if (!Convert(m_converter.toFloat, &reading, count, m_converter.scratch))
            return false;
        m_converter.Leave();
        const float* const processed = m_client->FillBuffer(m_converter.scratch, count);
        if (processed == nullptr) {
            Fail(kFillBuffer, kPassAudioBlock);
            return false;
        }
        if (!Convert(m_converter.fromFloat, &writing, count, const_cast<float*>(processed)))
            return false;
        frames -= count;
    }
    return true;
}

bool clDSP::FlushTail(const CAudioFormat& format, CMemBuff& tail) {
    const std::size_t chunkBytes = std::size_t{m_converter.frameBytes} * kPieceFrames;
    const std::unique_ptr<std::uint8_t, decltype(&std::free)> chunk(
        static_cast<std::uint8_t*>(std::malloc(chunkBytes)), &std::free);
    if (chunk == nullptr)
        return true;
    const int silenceByte = format.BitsPerSample() == 8 ? 0x80 : 0;
    const std::uint64_t mostChunks = format.BytesFor(kLongestTailMs) / m_converter.frameBytes / kPieceFrames;
    m_converter.ClearScratch();
    for (std::uint64_t i = 0; i < mostChunks; ++i) {
        const float* const processed = m_client->FillBuffer(m_converter.scratch, kPieceFrames);
        if (processed == nullptr) {
            Fail(kFillBuffer, kPassAudioBlock);
            return false;
        }
        bool silent = false;
        if (!RunCaught([&] { silent = IsSilent(processed, kPieceFrames); })) {
            Fail(kFillBuffer, kPassAudioBlock); // its samples are not where it says
            return false;
        }
        if (silent)
            return true;
        std::memset(chunk.get(), silenceByte, chunkBytes);
        std::uint8_t* cursor = chunk.get();
        const bool converted =
            Convert(m_converter.fromFloat, &cursor, kPieceFrames, const_cast<float*>(processed));
        m_converter.Leave();
        if (!converted)
            return false;
        if (!tail.Append(chunk.get(), static_cast<std::int32_t>(chunkBytes)))
            return true;
    }
    return true;
}

bool clDSP::AppendTail(DSPAudioBlock* block, const CAudioFormat& format, const CMemBuff& tail) {
    const std::int32_t blockBytes = std::max<INT32>(block->nBytes, 0);
    if (tail.Size() > INT32_MAX - blockBytes)
        return false;
    const bool alreadyOurs = block->pData == m_output.Data();
    if (!m_output.SetSize(blockBytes + tail.Size()))
        return false;
    if (!alreadyOurs && block->pData != nullptr && blockBytes > 0 && !RunGuarded([&] {
            std::memcpy(m_output.Data(), block->pData, static_cast<std::size_t>(blockBytes));
        }))
        return false;
    std::memcpy(m_output.Data() + blockBytes, tail.Data(), static_cast<std::size_t>(tail.Size()));
    block->pData = m_output.Data();
    block->nBytes = m_output.Size();
    block->nDurationMs = format.DurationMs(static_cast<std::uint64_t>(m_output.Size()));
    return true;
}
