#pragma once

#include "dxconv/byte_stream.h"
#include "dxconv/wav_format.h"

#include <string>
#include <vector>

/// Reads a WAV stream (RIFF, RF64, BW64) front to back without seeking. All but the audio goes to a sink byte
/// for byte, so unknown chunks need no memory. Order: ReadHead, ReadFrames until it gives none, CopyRest.
/// Trusts nothing that the stream says. Errors: CError with ExitCode::Input.
class CWavReader {
public:
    /// name: of the stream, for messages. The source is borrowed.
    CWavReader(IByteSource& source, std::string name) : m_source(source), m_name(std::move(name)) {}

    /// Reads up to the first byte of audio and hands every byte to `sink`.
    const WavHead& ReadHead(IByteSink& sink);

    /// Replaces `buffer` by the next whole frames, at most `maxFrames`; empty at the end of the audio.
    void ReadFrames(std::vector<std::uint8_t>& buffer, std::size_t maxFrames);

    /// The bytes of an incomplete last frame; known once ReadFrames gave nothing.
    const std::vector<std::uint8_t>& PartialFrame() const { return m_partial; }

    /// Reads over the pad byte that follows audio of an odd length.
    void SkipPad();

    /// Hands all that follows to `sink`.
    void CopyRest(IByteSink& sink);

    const WavHead& Head() const { return m_head; }
    std::uint64_t AudioBytes() const { return m_audioBytes; }
    /// All that was read so far, the head included.
    std::uint64_t TotalBytes() const { return m_totalBytes; }
    /// Bytes of audio that the header promised and the stream did not hold.
    std::uint64_t MissingBytes() const { return m_head.untilEnd ? 0 : m_head.dataBytes - m_audioBytes; }

private:
    [[noreturn]] void Fail(const std::string& what) const;
    std::size_t Read(void* buffer, std::size_t bytes);
    void Take(std::uint8_t* buffer, std::size_t bytes, IByteSink& sink);
    std::uint64_t Copy(std::uint64_t bytes, IByteSink& sink);
    void ReadChunk(const std::uint8_t (&header)[8], IByteSink& sink);
    void FindAudioEnd(std::uint32_t storedBytes);

    IByteSource& m_source;
    std::string m_name;
    WavHead m_head;
    std::vector<std::uint8_t> m_partial;
    std::uint64_t m_audioBytes = 0;
    std::uint64_t m_totalBytes = 0;
};
