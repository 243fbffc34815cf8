#pragma once

#include "dxconv/CDspInstance.h"
#include "dxconv/CProgress.h"
#include "dxconv/CWavWriter.h"

#include <string>
#include <vector>

/// The audio of one file on its way through the module, in blocks. Reads and processes on the caller's thread
/// while another one writes. Thread: one. Errors: those of the parts that it is made of, all borrowed.
class CAudioPass {
public:
    struct Parts {
        CDspInstance& dsp;  ///< begun, with Format
        CWavReader& reader; ///< its head is read
        CWavWriter& writer;
        CProgress& progress;
    };

    /// blockMs: 0 for blocks as long as suits. output: OUT as the user knows it, for the case that Ctrl+C
    /// ends the pass.
    CAudioPass(const Parts& parts, unsigned blockMs, std::string output);

    /// All the audio, from the reader to the writer; the last block is marked.
    void Run();

private:
    using Bytes = std::vector<std::uint8_t>;

    void PassBlocks(Bytes& piece, std::size_t bytes);
    DSPAudioBlock Pass(std::uint8_t* bytes, std::size_t count, bool last);

    Parts m_parts;
    std::string m_output;
    const WavFormat& m_stream;
    std::size_t m_blockBytes;
};

/// The stream's format as the module takes it.
DSPBlockFormat ModuleFormat(const WavFormat& stream);
