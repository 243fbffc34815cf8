#pragma once

#include "dxconv/COutputFile.h"
#include "dxconv/CWavReader.h"

#include <cstdint>

/// Writes the audio behind a head that CWavReader::ReadHead copied to the same file, then what follows the
/// audio, and corrects the sizes in the head if the audio's length is not the stored one. A file that has
/// outgrown 32-bit sizes becomes an RF64 file. Errors: CError with ExitCode::Output.
class CWavWriter {
public:
    /// Both are borrowed. largestSize: what a 32-bit size field may hold.
    CWavWriter(COutputFile& file, CWavReader& reader, std::uint64_t largestSize = kNo32BitSize - 1)
        : m_file(file), m_reader(reader), m_largestSize(largestSize) {}

    void WriteAudio(const void* bytes, std::size_t count);

    /// Call when reader and effect have given all their audio: adds the incomplete last frame and the rest.
    void Finish();

    std::uint64_t Frames() const { return m_audioBytes / m_reader.Head().format.blockAlign; }
    /// Bytes that lie behind the end of the RIFF chunk; known after Finish.
    std::uint64_t OutsideBytes() const { return m_outsideBytes; }

private:
    void CorrectSizes();
    void InsertDs64();

    COutputFile& m_file;
    CWavReader& m_reader;
    std::uint64_t m_largestSize;
    std::uint64_t m_audioBytes = 0;
    std::uint64_t m_outsideBytes = 0;
};
