#include "dxconv/CError.h"
#include "dxconv/CWavReader.h"
#include "tests/dxconv/fixture.h"

#include <doctest/doctest.h>
#include <algorithm>
#include <cstring>

namespace {

class CMemorySource : public IByteSource {
public:
    explicit CMemorySource(std::string bytes) : m_bytes(std::move(bytes)) {}
    std::size_t Read(void* buffer, std::size_t bytes) override {
        const std::size_t got = std::min(bytes, m_bytes.size() - m_position);
        std::memcpy(buffer, m_bytes.data() + m_position, got);
        m_position += got;
        return got;
    }

private:
    std::string m_bytes;
    std::size_t m_position = 0;
};

class CMemorySink : public IByteSink {
public:
    void Write(const void* bytes, std::size_t count) override {
        content.append(static_cast<const char*>(bytes), count);
    }
    std::string content;
};

const std::string kFormat = Chunk("fmt ", Format(1, 2, 16));

std::string FaultOf(const std::string& file) {
    CMemorySource source(file);
    CMemorySink sink;
    CWavReader reader(source, "x.wav");
    try {
        reader.ReadHead(sink);
    } catch (const CError& error) {
        CHECK(error.Code() == ExitCode::Input);
        return error.what();
    }
    return "(none)";
}

} // namespace

TEST_CASE("a header that cannot be trusted is refused with the reason") {
    const std::string data = Chunk("data", Noise(8));
    std::string noAlign = Format(1, 2, 16);
    noAlign[12] = 3;
    std::string otherGuid = Format(0xFFFE, 2, 16);
    otherGuid[30] = 1;
    std::string shortExtra = Format(0xFFFE, 2, 16);
    shortExtra[16] = 10;
    const struct {
        std::string file;
        const char* reason;
    } cases[] = {
        {"", "not a WAV"},
        {"RIFF", "not a WAV"},
        {std::string(100, '\0'), "not a WAV"},
        {"RIFX" + Riff(kFormat + data).substr(4), "not a WAV"},
        {Riff(""), "ends before any audio"},
        {Riff(kFormat), "ends before any audio"},
        {Riff(kFormat + "da"), "ends before any audio"},
        {Riff(kFormat + "LIST" + Le(1000, 4) + "abc"), "ends before any audio"},
        {Riff(kFormat + "LIST" + Le(1000, 4) + Noise(200)), "ends inside its 'LIST' chunk"},
        {Riff(data), "no fmt chunk before its audio"},
        {Riff(data + kFormat), "no fmt chunk before its audio"},
        {Riff(Chunk("fmt ", Noise(14)) + data), "too short"},
        {Riff(Chunk("fmt ", Format(0xFFFE, 2, 16).substr(0, 24)) + data), "too short"},
        {Riff(Chunk("fmt ", shortExtra) + data), "too short"},
        {Riff(Chunk("fmt ", Format(1, 0, 16)) + data), "0 channels"},
        {Riff(Chunk("fmt ", Format(1, 2, 16, 0)) + data), "at 0 Hz"},
        {Riff(Chunk("fmt ", noAlign) + data), "3 bytes a frame"},
        {Riff(Chunk("fmt ", Format(1, 40000, 32)) + data), "bytes a frame"},
        {Riff(Chunk("fmt ", Format(1, 2, 20)) + data), "not supported"},
        {Riff(Chunk("fmt ", Format(1, 2, 64)) + data), "not supported"},
        {Riff(Chunk("fmt ", Format(3, 2, 16)) + data), "not supported"},
        {Riff(Chunk("fmt ", Format(7, 1, 8)) + data), "not supported"},
        {Riff(Chunk("fmt ", otherGuid) + data), "not supported"},
    };
    for (const auto& c : cases) {
        const std::string fault = FaultOf(c.file);
        CAPTURE(c.reason);
        CAPTURE(fault);
        CHECK(fault.find(c.reason) != fault.npos);
        CHECK(fault.starts_with("x.wav: "));
    }
}

TEST_CASE("all audio that is there is read, whatever the sizes say") {
    const std::string head = kFormat + "data";
    const auto ds64 = [](std::uint64_t riff, std::uint64_t data) {
        return Chunk("ds64", Le(riff, 8) + Le(data, 8) + Le(0, 8) + Le(0, 4));
    };
    const auto riff = [](const std::string& id, std::uint32_t size, const std::string& rest) {
        return id + Le(size, 4) + "WAVE" + rest;
    };
    const struct {
        const char* name;
        std::string file;
        std::size_t frames, partial, rest;
        std::uint64_t missing;
    } cases[] = {
        {"as stored, with a chunk after", Riff(head + Le(12, 4) + Noise(12) + Chunk("id3 ", "ab")), 3, 0, 10,
            0},
        {"size beyond the end", Riff(head + Le(1000, 4) + Noise(12)), 3, 0, 0, 988},
        {"beyond the end, in a frame", Riff(head + Le(1000, 4) + Noise(14)), 3, 2, 0, 986},
        {"size no multiple of the frame", Riff(head + Le(14, 4) + Noise(14) + Chunk("abcd", "")), 3, 2, 8, 0},
        {"a stream's sizes", riff("RIFF", kNo32BitSize, head + Le(kNo32BitSize, 4) + Noise(12)), 3, 0, 0, 0},
        {"a crashed recorder's sizes", riff("RIFF", 0, head + Le(0, 4) + Noise(13)), 3, 1, 0, 0},
        {"crashed before the first update", riff("RIFF", 36, head + Le(0, 4) + Noise(12)), 3, 0, 0, 0},
        {"no audio, but a chunk after", Riff(head + Le(0, 4) + Chunk("LIST", Noise(20))), 0, 0, 28, 0},
        {"nothing after the head", Riff(head + Le(0, 4)), 0, 0, 0, 0},
        {"RF64", riff("RF64", kNo32BitSize, ds64(84, 12) + head + Le(kNo32BitSize, 4) + Noise(12) + "rest"),
            3, 0, 4, 0},
        {"RF64 with 32-bit sizes", riff("BW64", 84, ds64(0, 0) + head + Le(8, 4) + Noise(12)), 2, 0, 4, 0},
        {"RF64 beyond the end",
            riff("RF64", kNo32BitSize, ds64(0, 1ull << 40) + head + Le(kNo32BitSize, 4) + Noise(9)), 2, 1, 0,
            (1ull << 40) - 9},
    };
    for (const auto& c : cases)
        for (const std::size_t blockFrames : {1, 2, 3, 1000}) {
            CAPTURE(c.name);
            CAPTURE(blockFrames);
            CMemorySource source(c.file);
            CMemorySink sink;
            CWavReader reader(source, "x.wav");
            const auto dataOffset = static_cast<std::size_t>(reader.ReadHead(sink).dataOffset);
            CHECK(sink.content == c.file.substr(0, dataOffset));
            std::vector<std::uint8_t> block;
            std::string audio;
            for (reader.ReadFrames(block, blockFrames); !block.empty();
                 reader.ReadFrames(block, blockFrames)) {
                CHECK(block.size() <= blockFrames * 4);
                audio.append(block.begin(), block.end());
            }
            CHECK(audio == c.file.substr(dataOffset, 4 * c.frames));
            CHECK(reader.PartialFrame().size() == c.partial);
            CHECK(reader.MissingBytes() == c.missing);
            CMemorySink rest;
            reader.CopyRest(rest);
            CHECK(rest.content.size() == c.rest);
            CHECK(reader.TotalBytes() == c.file.size());
        }
}

TEST_CASE("the format handed on fits its record and its byte rate is right") {
    std::string longFormat = Format(1, 2, 16) + Le(500, 2) + Noise(500);
    longFormat[8] = 77;
    const struct {
        std::string body;
        std::uint16_t cbSize;
    } cases[] = {{Format(1, 2, 16), 0}, {Format(1, 2, 16) + Le(9, 2), 0}, {longFormat, 26},
        {Format(0xFFFE, 2, 16), 22}};
    for (const auto& c : cases) {
        CMemorySource source(Riff(Chunk("fmt ", c.body) + Chunk("data", "")));
        CMemorySink sink;
        CWavReader reader(source, "x.wav");
        const WavFormat& format = reader.ReadHead(sink).format;
        CHECK(LoadLe<std::uint16_t>(format.bytes.data() + 16) == c.cbSize);
        CHECK(LoadLe<std::uint32_t>(format.bytes.data() + 8) == 4000);
    }
}
