#include "dxconv/CAudioPass.h"

#include "dxconv/CWriteBehind.h"
#include "dxconv/interruption.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::uint64_t kLargestBlockBytes = std::uint64_t{16} * 1024 * 1024; // longer blocks are cut to this
constexpr std::size_t kPieceBytes = 1024 * 1024; // read and written at once, in whole blocks

// Every block has its price (the module's lock, for one), so few suit. But Ctrl+C and the progress line wait
// for a block to end.
constexpr unsigned kLongestOwnMs = 5000;

std::size_t BlockBytes(const WavFormat& stream, unsigned blockMs) {
    const unsigned longestMs = blockMs == 0 ? kLongestOwnMs : blockMs;
    const std::uint64_t longestBytes = blockMs == 0 ? kPieceBytes : kLargestBlockBytes;
    const std::uint64_t frames = std::uint64_t{stream.samplesPerSec} * longestMs / 1000;
    return static_cast<std::size_t>(
        std::clamp<std::uint64_t>(frames, 1, longestBytes / stream.blockAlign) * stream.blockAlign);
}

} // namespace

DSPBlockFormat ModuleFormat(const WavFormat& stream) {
    DSPBlockFormat format;
    static_assert(sizeof format == sizeof stream.bytes);
    std::memcpy(&format, stream.bytes.data(), sizeof format);
    return format;
}

CAudioPass::CAudioPass(const Parts& parts, unsigned blockMs, std::string output)
    : m_parts(parts), m_output(std::move(output)), m_stream(parts.reader.Head().format),
      m_blockBytes(BlockBytes(m_stream, blockMs)) {}

// Reads one piece ahead: which block is the last shows only when nothing comes after it.
void CAudioPass::Run() {
    const std::size_t pieceBytes = std::max<std::size_t>(1, kPieceBytes / m_blockBytes) * m_blockBytes;
    const std::size_t pieceFrames = pieceBytes / m_stream.blockAlign;
    CWriteBehind behind(m_parts.writer);
    Bytes piece;
    Bytes next;
    m_parts.reader.ReadFrames(piece, pieceFrames);
    for (;; piece.swap(next)) {
        m_parts.reader.ReadFrames(next, pieceFrames);
        if (next.empty())
            break;
        PassBlocks(piece, piece.size());
        behind.Write(piece);
    }
    const std::size_t before = piece.empty() ? 0 : (piece.size() - 1) / m_blockBytes * m_blockBytes;
    PassBlocks(piece, before);
    behind.Finish();
    m_parts.writer.WriteAudio(piece.data(), before);
    const DSPAudioBlock last = Pass(piece.data() + before, piece.size() - before, true);
    m_parts.writer.WriteAudio(last.pData, static_cast<std::size_t>(last.nBytes));
}

// In place.
void CAudioPass::PassBlocks(Bytes& piece, std::size_t bytes) {
    for (std::size_t at = 0; at < bytes; at += m_blockBytes)
        Pass(piece.data() + at, std::min(m_blockBytes, bytes - at), false);
}

DSPAudioBlock CAudioPass::Pass(std::uint8_t* bytes, std::size_t count, bool last) {
    ThrowIfCancelled(m_output);
    const std::size_t frames = count / m_stream.blockAlign;
    DSPAudioBlock block{};
    block.pData = bytes;
    block.nBytes = static_cast<INT32>(count);
    block.wfx = ModuleFormat(m_stream);
    block.nDurationMs = std::uint64_t{frames} * 1000 / m_stream.samplesPerSec;
    block.bLastBlock = last ? 1 : 0;
    m_parts.dsp.Pass(block);
    m_parts.progress.Advance(frames);
    return block;
}
