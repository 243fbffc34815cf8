#include "dxconv/CWavWriter.h"

#include <algorithm>

namespace {

constexpr std::uint64_t kRiffSizeOffset = 4;
constexpr std::uint64_t kFirstChunkOffset = 12;
constexpr std::uint32_t kDs64BodyBytes = 28;
constexpr std::uint32_t kDs64ChunkBytes = 8 + kDs64BodyBytes;

template <typename T>
void StoreAt(COutputFile& file, std::uint64_t offset, T value) {
    std::uint8_t bytes[sizeof(T)];
    StoreLe(bytes, value);
    file.WriteAt(offset, bytes, sizeof bytes);
}

} // namespace

void CWavWriter::WriteAudio(const void* bytes, std::size_t count) {
    m_file.Write(bytes, count);
    m_audioBytes += count;
}

void CWavWriter::Finish() {
    const WavHead& head = m_reader.Head();
    const auto& partial = m_reader.PartialFrame();
    WriteAudio(partial.data(), partial.size());
    const bool asStored = m_audioBytes == head.dataBytes && m_reader.AudioBytes() == head.dataBytes;
    if (!asStored) {
        if (m_reader.AudioBytes() % 2 != 0)
            m_reader.SkipPad();
        m_file.Write("", m_audioBytes % 2);
    }
    m_reader.CopyRest(m_file);

    const std::uint64_t riffEnd = head.riffBytes + 8;
    const bool riffSizeFits = !head.untilEnd && riffEnd >= head.dataOffset &&
                              riffEnd - head.dataOffset >= head.dataBytes; // 64-bit sizes may be any
    if (riffSizeFits && m_reader.TotalBytes() > riffEnd)
        m_outsideBytes = m_reader.TotalBytes() - riffEnd;
    if (!asStored)
        CorrectSizes();
}

void CWavWriter::CorrectSizes() {
    const WavHead& head = m_reader.Head();
    const std::uint64_t riffBytes = m_file.Size() - 8 - m_outsideBytes;
    const auto frames32 = static_cast<std::uint32_t>(std::min<std::uint64_t>(Frames(), kNo32BitSize));
    if (head.factOffset != 0)
        StoreAt(m_file, head.factOffset, frames32);
    std::uint64_t ds64Offset = head.ds64Offset;
    if (ds64Offset == 0 && riffBytes <= m_largestSize) {
        StoreAt(m_file, kRiffSizeOffset, static_cast<std::uint32_t>(riffBytes));
        StoreAt(m_file, head.dataOffset - 4, static_cast<std::uint32_t>(m_audioBytes));
        return;
    }
    StoreAt(m_file, kRiffSizeOffset, kNo32BitSize);
    StoreAt(m_file, head.dataOffset - 4, kNo32BitSize);
    if (ds64Offset == 0) {
        InsertDs64();
        ds64Offset = kFirstChunkOffset + 8;
    }
    StoreAt(m_file, ds64Offset, m_file.Size() - 8 - m_outsideBytes);
    StoreAt(m_file, ds64Offset + 8, m_audioBytes);
    StoreAt(m_file, ds64Offset + 16, Frames());
}

// The chunk must be the first one. Everything moves up, last piece first, which costs one pass over the file:
// that a stream outgrows 32 bits shows only at its end.
void CWavWriter::InsertDs64() {
    std::vector<std::uint8_t> piece(1024 * 1024);
    for (std::uint64_t end = m_file.Size(); end > kFirstChunkOffset;) {
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(end - kFirstChunkOffset, piece.size()));
        end -= count;
        m_file.ReadAt(end, piece.data(), count);
        m_file.WriteAt(end + kDs64ChunkBytes, piece.data(), count);
    }
    std::uint8_t chunk[kDs64ChunkBytes] = {'d', 's', '6', '4'};
    StoreLe(chunk + 4, kDs64BodyBytes);
    m_file.WriteAt(kFirstChunkOffset, chunk, sizeof chunk);
    m_file.WriteAt(0, "RF64", 4);
}
