#include "dxconv/CInputFile.h"
#include "dxconv/CWavWriter.h"
#include "tests/dxconv/fixture.h"

#include <doctest/doctest.h>

namespace {

// Copies `file` through reader and writer with `added` bytes of further audio.
std::string Rewrite(const std::string& file, const std::string& added, std::uint64_t largestSize) {
    const CTestFolder folder;
    CInputFile input(folder.Put("in.wav", file));
    COutputFile output(folder.Path("out.wav"));
    CWavReader reader(input, "in.wav");
    reader.ReadHead(output);
    CWavWriter writer(output, reader, largestSize);
    std::vector<std::uint8_t> block;
    for (reader.ReadFrames(block, 1000); !block.empty(); reader.ReadFrames(block, 1000))
        writer.WriteAudio(block.data(), block.size());
    writer.WriteAudio(added.data(), added.size());
    writer.Finish();
    output.Commit();
    return folder.Get("out.wav");
}

std::string Rf64(
    std::uint64_t outside, std::uint64_t dataBytes, std::uint64_t frames, const std::string& chunks) {
    return "RF64" + Le(0xFFFFFFFF, 4) + "WAVE" +
           Chunk("ds64", Le(40 + chunks.size() - outside, 8) + Le(dataBytes, 8) + Le(frames, 8) + Le(0, 4)) +
           chunks;
}

} // namespace

TEST_CASE("a file that outgrows 32-bit sizes becomes RF64 with every other byte kept") {
    const std::string format = Chunk("fmt ", Format(1, 1, 16));
    const std::string after = Chunk("LIST", Noise(9));
    const std::string audio = Noise(3'000'000); // longer than the pieces that move up
    const std::string in = Riff(format + Chunk("fact", Le(1'500'000, 4)) + Chunk("data", audio) + after);
    const std::string out = Rewrite(in, "abcd", in.size() - 8);
    const std::string chunks =
        format + Chunk("fact", Le(1'500'002, 4)) + "data" + Le(0xFFFFFFFF, 4) + audio + "abcd" + after;
    CHECK(out == Rf64(0, 3'000'004, 1'500'002, chunks));
}

TEST_CASE("an RF64 file stays one and only its sizes change") {
    const std::string format = Chunk("fmt ", Format(1, 1, 16));
    const auto chunks = [&](const std::string& audio) {
        return format + "data" + Le(0xFFFFFFFF, 4) + audio + "junk";
    };
    const std::string audio = Noise(100);
    const std::string in = Rf64(4, 100, 50, chunks(audio));
    CHECK(Rewrite(in, "", kNo32BitSize) == in);
    CHECK(Rewrite(in, "abcd", kNo32BitSize) == Rf64(4, 104, 52, chunks(audio + "abcd")));
}
