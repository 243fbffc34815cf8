#include "tests/dxconv/CInstalledEcho.h"
#include "tests/dxconv/fixture.h"

#include <process.h>

namespace {

// Echo with a delay of 50 ms, 40 % of it round again, half of it in the output.
const std::string kEcho = "Echo=X61E3ADA7DB6B044CBA8EC85F225B50EA140000004563686F01000000"
                          "320000002800000032000000";

std::string Wav(unsigned bits, std::size_t frames) {
    return Riff(Chunk("fmt ", Format(1, 2, bits, 8000)) + Chunk("data", Noise(frames * bits / 4)));
}

auto RunHost(const std::string& in, const std::string& out, const std::string& settings) {
    return ::_wspawnl(_P_WAIT, L"..\\minimal_host.exe", L"minimal_host", Wide(in).c_str(), Wide(out).c_str(),
        settings.empty() ? L"\"\"" : Wide(settings).c_str(), nullptr);
}

} // namespace

TEST_CASE("the example host writes what dxconv writes, tail and all") {
    const CInstalledEcho echo;
    for (const std::size_t frames : {0, 1, 8192, 9001}) // its blocks have 4096
        for (const std::string& settings : {kEcho, std::string()}) {
            CAPTURE(frames);
            const CTestFolder folder;
            const std::string wav = Wav(16, frames), in = folder.Put("in.wav", wav);
            REQUIRE(RunHost(in, folder.Path("out.wav"), settings) == 0);
            const std::string written = folder.Get("out.wav");
            CHECK((written.size() > wav.size()) == (frames != 0 && !settings.empty()));
            CHECK((RunDxconv({"convert", in, "-", "--quiet", "--settings", settings}).out == written));
        }
}

TEST_CASE("the example host says no, and leaves no output, where it can't convert") {
    const CTestFolder folder; // and Echo is not installed
    const std::string whole = Wav(16, 100);
    const std::pair<std::string, std::string> cases[] = {
        {Wav(24, 100), ""}, {whole.substr(0, 400), ""}, {whole.substr(0, 40), ""}, {whole, kEcho}};
    for (const auto& [file, settings] : cases) {
        CHECK(RunHost(folder.Put("in.wav", file), folder.Path("out.wav"), settings) == 1);
        CHECK(folder.Count() == 1);
    }
    const std::string in = folder.Put("in.wav", whole);
    CHECK(RunHost(in, in, "") == 1);
    CHECK((folder.Get("in.wav") == whole));
}
