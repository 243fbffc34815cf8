#include "dxconv/files.h"
#include "tests/dxconv/fixture.h"

#include <doctest/doctest.h>

namespace {

const std::string kBefore = Chunk("LIST", Noise(7)) + Chunk("JUNK", Noise(130'001)) + Chunk("zero", "");
const std::string kAfter = Chunk("id3 ", Noise(3)) + Chunk("cue ", Noise(28));

std::string Ascii(const std::string& utf16) {
    std::string text;
    for (std::size_t i = 0; i < utf16.size(); i += 2)
        text += utf16[i];
    return text;
}

} // namespace

TEST_CASE("without an effect every format comes back bit for bit") {
    const CTestFolder folder;
    const struct {
        unsigned tag, bits;
    } formats[] = {{1, 8}, {1, 16}, {1, 24}, {1, 32}, {3, 32}, {0xFFFE, 16}, {0xFFFE, 24}};
    for (const auto& f : formats)
        for (const unsigned channels : {1, 2, 3, 8})
            for (const char* blockMs : {"1", "7", "60000"}) {
                CAPTURE(f.tag);
                CAPTURE(f.bits);
                CAPTURE(channels);
                CAPTURE(blockMs);
                const std::string audio = Noise(101 * channels * f.bits / 8);
                const std::string in = Riff(kBefore + Chunk("fmt ", Format(f.tag, channels, f.bits)) +
                                            Chunk("fact", Le(101, 4)) + Chunk("data", audio) + kAfter);
                const RunResult run = Convert(
                    folder.Put("in.wav", in), folder.Path("out.wav"), {"--block-ms", blockMs, "--quiet"});
                CHECK(run.code == 0);
                CHECK(run.out + run.err == "");
                CHECK((folder.Get("out.wav") == in));
            }
}

TEST_CASE("odd files come back bit for bit as well") {
    const CTestFolder folder;
    const std::string stereo = Chunk("fmt ", Format(1, 2, 16));
    const std::string files[] = {
        Riff(stereo + Chunk("data", "")),
        Riff(stereo + Chunk("data", Noise(403)) + kAfter),
        Riff(stereo + "data" + Le(403, 4) + Noise(403)), // the pad byte is missing
        Riff(stereo + Chunk("data", Noise(400))) + "TAG" + std::string(125, ' '),
        Riff(stereo + stereo + Chunk("data", Noise(4)) + Chunk("data", Noise(4))),
    };
    for (const std::string& in : files) {
        CHECK(Convert(folder.Put("in.wav", in), folder.Path("out.wav")).code == 0);
        CHECK((folder.Get("out.wav") == in));
    }
}

TEST_CASE("the module sees whole blocks in order and its calls in the contract's order") {
    const CTestFolder folder;
    const std::string audio = Noise(4 * 250 + 2);
    const std::string head = Chunk("fmt ", Format(0xFFFE, 2, 16));
    const std::string in = folder.Put("in.wav", Riff(head + Chunk("data", audio)));
    const std::string settings = FakeSettings("xor 165");
    REQUIRE(
        Convert(in, folder.Path("out.wav"), {"--settings", settings, "--log-dir", folder.Path(".")}).code ==
        0);
    std::string flipped = audio;
    for (std::size_t i = 0; i < 1000; ++i)
        flipped[i] = static_cast<char>(flipped[i] ^ 165);
    CHECK((folder.Get("out.wav") == Riff(head + Chunk("data", flipped))));
    CHECK(
        Ascii(folder.Get("trace.log")) == "Create\r\nBegin 65534 2 1000 4000 16 22 " + settings +
                                              "\r\nPass 400\r\nPass 400\r\nPass 200 last\r\nEnd\r\nAfter\r\n"
                                              "Destroy\r\n");
    CHECK(folder.Get("error.log") == "");
    CHECK(folder.Get("info.log") == "");

    folder.Put("in.wav", Riff(head + Chunk("data", "")));
    folder.Put("trace.log", "");
    REQUIRE(Convert(in, folder.Path("out.wav"), {"--log-dir", folder.Path(".")}).code == 0);
    CHECK(Ascii(folder.Get("trace.log")).find("\r\nPass 0 last\r\nEnd") != std::string::npos);
}

TEST_CASE("a tail is appended and all sizes follow") {
    const CTestFolder folder;
    const std::string format = Chunk("fmt ", Format(1, 1, 8));
    const auto file = [&](const std::string& audio, const std::string& after) {
        return Riff(format + Chunk("fact", Le(audio.size(), 4)) + kBefore + Chunk("data", audio) + after);
    };
    for (const std::size_t length : {0, 100, 101})
        for (const std::size_t tail : {1, 4})
            for (const std::string& after : {std::string(), kAfter}) {
                CAPTURE(length);
                CAPTURE(tail);
                const std::string audio = Noise(length);
                // Behind an empty data chunk that ends the RIFF chunk they would pass for audio.
                const std::string outside = length == 0 && after.empty() ? "" : "outside";
                const std::string in = folder.Put("in.wav", file(audio, after) + outside);
                const RunResult run = Convert(
                    in, in, {"--settings", FakeSettings("tail " + std::to_string(tail)), "--block-ms", "50"});
                CHECK(run.code == 0);
                CHECK(run.out.find(std::to_string(length) + " frames in, " + std::to_string(length + tail) +
                                   " frames out, tail " + std::to_string(tail) + " ms") != std::string::npos);
                CHECK((run.err.find("7 bytes after the end") != std::string::npos) == !outside.empty());
                CHECK((folder.Get("in.wav") == file(audio + std::string(tail, '\x11'), after) + outside));
            }
}

TEST_CASE("a tail goes before the bytes of an incomplete frame, which stay last") {
    const CTestFolder folder;
    const std::string format = Chunk("fmt ", Format(1, 2, 16));
    const std::string in = folder.Put("in.wav", Riff(format + Chunk("data", "123456")));
    REQUIRE(Convert(in, folder.Path("out.wav"), {"--settings", FakeSettings("tail 4")}).code == 0);
    CHECK(folder.Get("out.wav") == Riff(format + Chunk("data", "1234\x11\x11\x11\x11"
                                                               "56")));
}

TEST_CASE("damaged sizes are mended and missing audio is said") {
    const CTestFolder folder;
    const std::string format = Chunk("fmt ", Format(1, 1, 16));
    const struct {
        std::uint32_t riff, data;
        bool said;
    } cases[] = {{0, 0, false}, {0xFFFFFFFF, 0xFFFFFFFF, false}, {36, 0, false}, {5036, 5000, true}};
    for (const auto& c : cases) {
        CAPTURE(c.data);
        const std::string in = "RIFF" + Le(c.riff, 4) + "WAVE" + format + "data" + Le(c.data, 4) + Noise(500);
        const RunResult run = Convert(folder.Put("in.wav", in), folder.Path("out.wav"), {"--quiet"});
        CHECK(run.code == 0);
        CHECK((run.err.find("4500 bytes of audio are missing") != std::string::npos) == c.said);
        CHECK((folder.Get("out.wav") == Riff(format + Chunk("data", Noise(500)))));
    }
}

TEST_CASE("names beyond ANSI and beyond 260 characters work") {
    const CTestFolder folder;
    const std::string wav = Riff(Chunk("fmt ", Format(1, 1, 16)) + Chunk("data", Noise(50)));
    const std::string longName = std::string(240, 'x') + ".wav";
    for (const std::string& name : {std::string("\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x8E\xB5 a.wav"), longName}) {
        const RunResult run = Convert(folder.Put(name, wav), folder.Path("out " + name));
        CHECK(run.code == 0);
        CHECK(run.out.find(folder.Path("out " + name)) == 0);
        CHECK((folder.Get("out " + name) == wav));
    }
    CHECK(folder.Path(longName).size() > 260);
}

TEST_CASE("streams go through standard input and output") {
    const std::string format = Chunk("fmt ", Format(1, 1, 16));
    const std::string audio = "\r\n\x1A\n" + Noise(300'000);
    const std::string wav = Riff(format + Chunk("data", audio) + kAfter);
    const std::string stream =
        "RIFF" + Le(0xFFFFFFFF, 4) + "WAVE" + format + "data" + Le(0xFFFFFFFF, 4) + audio;
    const auto run = [](const std::string& input) {
        return RunDxconv({"convert", "-", "-", "--module", "fake_module.dll"}, input);
    };
    CHECK((run(wav).out == wav));
    CHECK((run(stream).out == Riff(format + Chunk("data", audio))));
    CHECK(run(wav).err.find("-: 150002 frames in, 150002 frames out, tail 0 ms") == 0);
}
