#include "dxconv/CInputFile.h"
#include "dxconv/CWavWriter.h"
#include "tests/dxconv/fixture.h"

namespace {

const std::string kFormat = Chunk("fmt ", Format(1, 2, 16));
const std::string kAfter = Chunk("id3 ", Noise(3)) + Chunk("cue ", Noise(28));

std::string Chunks(std::size_t frames, std::uint32_t data, const std::string& audioAndRest) {
    return kFormat + Chunk("fact", Le(frames, 4)) + "data" + Le(data, 4) + audioAndRest;
}

std::string Rf64(std::uint64_t riff, std::uint64_t data, std::uint64_t frames, const std::string& chunks) {
    return "RF64" + Le(kNo32BitSize, 4) + "WAVE" +
           Chunk("ds64", Le(riff, 8) + Le(data, 8) + Le(frames, 8) + Le(0, 4)) + chunks;
}

} // namespace

TEST_CASE("without an effect every file comes back bit for bit, whatever it holds") {
    std::vector<std::string> files = {Riff(kFormat + "data" + Le(403, 4) + Noise(403)), // without pad byte
        Riff(kFormat + kFormat + Chunk("data", Noise(4)) + Chunk("data", Noise(4)))};
    const std::string before = Chunk("LIST", Noise(7)) + Chunk("JUNK", Noise(130'001)) + Chunk("zero", "");
    const unsigned formats[][2] = {{1, 8}, {1, 16}, {1, 24}, {1, 32}, {3, 32}, {0xFFFE, 16}, {0xFFFE, 24}};
    for (const auto& [tag, bits] : formats)
        for (const unsigned channels : {1, 2, 3, 8})
            files.push_back(Riff(before + Chunk("fmt ", Format(tag, channels, bits)) + Chunk("fact", "any.") +
                                 Chunk("data", Noise(101 * channels * bits / 8)) + kAfter));
    const CTestFolder folder;
    const std::string out = folder.Path("out.wav");
    for (const std::string& file : files)
        for (const char* ms : {"7", "60000"}) {
            const RunResult run = Convert({folder.Put("in.wav", file), out, "--block-ms", ms, "--quiet"});
            CHECK(run.code == 0);
            CHECK(run.out + run.err == "");
            CHECK((folder.Get("out.wav") == file));
        }
}

TEST_CASE("the module sees whole blocks in order, in a format that fits its record") {
    // Its byte rate is wrong.
    const std::string longFormat = Format(1, 2, 16).replace(8, 1, "?") + Le(500, 2) + Noise(500);
    const std::pair<std::string, std::string> formats[] = {{longFormat, "1 4000 26 "},
        {Format(1, 2, 16) + Le(9, 2), "1 4000 0 "}, {Format(0xFFFE, 2, 16), "65534 4000 22 "}};
    const std::string settings = FakeSettings("xor 165");
    std::string flipped = Noise(1000);
    for (char& byte : flipped)
        byte = static_cast<char>(byte ^ 165);
    for (const auto& [body, seen] : formats) {
        const CTestFolder folder;
        const std::string file = Riff(Chunk("fmt ", body) + Chunk("data", Noise(1000) + "ab"));
        const RunResult run = Convert(
            {"-", "-", "--block-ms", "100", "--settings", settings, "--log-dir", folder.Path(".")}, file);
        CHECK((run.out == Riff(Chunk("fmt ", body) + Chunk("data", flipped + "ab"))));
        CHECK(run.err.starts_with("-: 16-bit PCM, 2 channels, 1000 Hz, 250 frames in, 250 frames out, "));
        CHECK(folder.GetUtf16("trace.log") ==
              "Create\r\nBegin " + seen + settings +
                  "\r\nPass 400\r\nPass 400\r\nPass 200 last\r\nEnd\r\nAfter\r\nDestroy\r\n");
    }
}

TEST_CASE("audio of many megabytes arrives whole and in order, in blocks of any length") {
    std::string audio = Noise(4 * 800'001), flipped = audio;
    for (char& byte : flipped)
        byte = static_cast<char>(byte ^ 165);
    const std::string settings = FakeSettings("xor 165"), head = Chunk("fmt ", Format(1, 2, 16, 44100));
    for (const std::vector<std::string>& further :
        {std::vector<std::string>{}, {"--block-ms", "999"}, {"--block-ms", "7000"}}) {
        const CTestFolder folder;
        std::vector<std::string> arguments = {folder.Put("in.wav", Riff(head + Chunk("data", audio))),
            folder.Path("out.wav"), "--quiet", "--settings", settings};
        arguments.insert(arguments.end(), further.begin(), further.end());
        CHECK(Convert(arguments).err == "");
        CHECK((folder.Get("out.wav") == Riff(head + Chunk("data", flipped))));
    }
}

TEST_CASE("all audio that is there is converted, whatever the sizes say, and with the tail they are right") {
    const std::size_t after = kAfter.size();
    const struct {
        const char* name;
        std::size_t riff, data, audio;
        std::string after, outside, warning;
    } cases[] = {{"as stored", 60 + after, 12, 12, kAfter, "TAG", "dxconv: -: warning: 3"},
        {"as stored, odd and in a frame", 62 + after, 13, 13, kAfter, "", ""},
        {"no audio", 48 + after, 0, 0, kAfter, "", ""}, {"nothing after the head", 48, 0, 0, "", "", ""},
        {"beyond the end, which is in a frame", 1048, 1000, 14, "", "", "dxconv: -: warning: 986"},
        {"a stream's", 0xFFFFFFFF, 0xFFFFFFFF, 12, "", "", ""},
        {"a crashed recorder's", 0, 0, 13, "", "", ""},
        {"a crashed recorder's first", 48, 0, 12, "", "", ""}};
    for (const auto& c : cases)
        for (const std::size_t tail : {0, 1, 4}) {
            CAPTURE(c.name);
            CAPTURE(tail);
            std::string audio = Noise(c.audio);
            const std::string pad(c.after.empty() ? 0 : c.data % 2, '\0');
            const std::string file = "RIFF" + Le(c.riff, 4) + "WAVE" +
                                     Chunks(c.audio / 4, c.data, audio + pad + c.after + c.outside);
            const std::string settings = FakeSettings("tail " + std::to_string(tail));
            const RunResult run = Convert({"-", "-", "--quiet", "--settings", settings}, file);
            audio.insert(c.audio / 4 * 4, tail, '\x11'); // an incomplete frame stays last
            const std::string head = kFormat + Chunk("fact", Le(audio.size() / 4, 4));
            CHECK(run.out == Riff(head + Chunk("data", audio) + c.after) + c.outside);
            CHECK(run.err.substr(0, run.err.find(" bytes")) == c.warning);
        }
}

TEST_CASE("IN may be OUT, and its name beyond ANSI and beyond 260 characters") {
    const CTestFolder folder;
    const std::string names[] = {"\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x8E\xB5 a.wav", std::string(240, 'x')};
    for (const std::string& name : names) {
        const std::string file = folder.Put(name, Riff(kFormat + Chunk("data", Noise(48))));
        const RunResult run = Convert({file, file, "--settings", FakeSettings("tail 400")});
        CHECK(run.out.starts_with(
            file + ": 16-bit PCM, 2 channels, 1000 Hz, 12 frames in, 112 frames out, tail 100 ms"));
        CHECK((folder.Get(name) == Riff(kFormat + Chunk("data", Noise(48) + std::string(400, '\x11')))));
    }
    const std::string plain = Riff(kFormat + Chunk("data", Noise(48))), settings = FakeSettings("tail 4");
    const std::string converted = Riff(kFormat + Chunk("data", Noise(48) + "\x11\x11\x11\x11"));
    const std::string in = folder.Put("in.wav", plain), link = folder.Path("link.wav");
    REQUIRE(::CreateHardLinkW(FullPath(link).c_str(), FullPath(in).c_str(), nullptr));
    CHECK(Convert({in, link, "--settings", settings}).code == 0);
    CHECK((folder.Get("in.wav") == plain)); // OUT is a name, not what it leads to
    CHECK((folder.Get("link.wav") == converted));
    CHECK(Convert({in, folder.Path(".\\IN.WAV"), "--settings", settings}).code == 0);
    CHECK((folder.Get("in.wav") == converted));
    CHECK(folder.Count() == 4);
}

TEST_CASE("of two conversions into one OUT at once the one that ends later is there, whole") {
    const CTestFolder folder;
    const std::string file = Riff(kFormat + Chunk("data", Noise(48)));
    const std::string in = folder.Put("in.wav", file), out = folder.Path("out.wav");
    const RunResult later = Convert({"-", out}, file, [&] {
        folder.WaitForCount(2); // the first one writes
        CHECK(Convert({in, out, "--settings", FakeSettings("tail 400")}).code == 0);
        CHECK(folder.Get("out.wav").size() == file.size() + 400);
    });
    CHECK(later.code == 0);
    CHECK((folder.Get("out.wav") == file));
    CHECK(folder.Count() == 2);
}

TEST_CASE("a file that outgrows 32-bit sizes becomes RF64 with every other byte kept") {
    const std::string audio = Noise(3'000'000); // longer than the pieces that move up
    const std::string in = Riff(Chunks(750'000, 3'000'000, audio + kAfter));
    const CTestFolder folder;
    CInputFile input(folder.Put("in.wav", in));
    COutputFile output(folder.Path("out.wav"));
    CWavReader reader(input, "in.wav");
    reader.ReadHead(output);
    CWavWriter writer(output, reader, in.size() - 8);
    std::vector<std::uint8_t> block;
    reader.ReadFrames(block, 750'000);
    writer.WriteAudio(block.data(), block.size());
    writer.WriteAudio("abcd", 4);
    writer.Finish();
    output.Commit();
    const std::string chunks = Chunks(750'001, kNo32BitSize, audio + "abcd" + kAfter);
    CHECK((folder.Get("out.wav") == Rf64(40 + chunks.size(), 3'000'004, 750'001, chunks)));
}

TEST_CASE("an RF64 file stays one and only its sizes change") {
    const std::string audio = Noise(100);
    const std::string whole = Rf64(184, 100, 25, Chunks(25, kNo32BitSize, audio + "outside"));
    CHECK(Convert({"-", "-", "--settings", FakeSettings("print")}, whole).out == whole);
    const struct {
        std::string in;
        std::uint64_t riff;
        std::string rest;
    } cases[] = {{whole, 188, "outside"},
        {"BW64" + Rf64(0, 0, 0, Chunks(0, 100, audio + "inside")).substr(4), 194, "inside"},
        {Rf64(0, 1ull << 40, 0, Chunks(0, kNo32BitSize, audio)), 188, ""},
        {Rf64(120, ~0ull, 0, Chunks(0, kNo32BitSize, audio)), 188, ""}};
    for (const auto& c : cases) {
        const std::string chunks = Chunks(26, kNo32BitSize, audio + "\x11\x11\x11\x11" + c.rest);
        const RunResult run = Convert({"-", "-", "--settings", FakeSettings("tail 4")}, c.in);
        CHECK(run.out == c.in.substr(0, 4) + Rf64(c.riff, 104, 26, chunks).substr(4));
    }
}
