#include "dxconv/files.h"
#include "tests/dxconv/fixture.h"

#include <doctest/doctest.h>
#include <algorithm>
#include <cstdlib>

namespace {

const std::string kWav = Riff(Chunk("fmt ", Format(1, 1, 16)) + Chunk("data", Noise(1000)));

bool IsOneErrorLine(const std::string& text) {
    return text.starts_with("dxconv: ") && text.find("; ") != text.npos && text.find('\n') == text.size() - 1;
}

BOOL WINAPI OutliveEvent(DWORD) {
    return TRUE;
}

} // namespace

TEST_CASE("every error is one line that names its object, with its own exit code") {
    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", kWav);
    const std::string junk = folder.Put("junk", Noise(1000));
    const std::string out = folder.Path("out.wav");
    const std::string fake = "fake_module.dll";
    const std::string readOnly = folder.Put("readonly.wav", "old");
    ::SetFileAttributesW(FullPath(readOnly).c_str(), FILE_ATTRIBUTE_READONLY);
    const struct {
        std::vector<std::string> arguments;
        unsigned long code;
        std::string says;
    } cases[] = {
        {{}, 2, "command line: "},
        {{"sing"}, 2, "sing"},
        {{"convert", in}, 2, "OUT is required"},
        {{"convert", in, out, "more"}, 2, "more"},
        {{"convert", in, out, "--loud"}, 2, "--loud"},
        {{"convert", in, out, "--block-ms", "0"}, 2, "--block-ms: "},
        {{"convert", in, out, "--block-ms", "60001"}, 2, "--block-ms: "},
        {{"convert", in, out, "--block-ms", "x"}, 2, "--block-ms"},
        {{"convert", in, out, "--effect", "a", "--settings", "b"}, 2, "--settings"},
        {{"convert", in, out, "--state-file", "a"}, 2, "--state-file"},
        {{"convert", folder.Path("none.wav"), out, "--module", fake}, 3, "none.wav: cannot be opened"},
        {{"convert", folder.Path("."), out, "--module", fake}, 3, "cannot be opened"},
        {{"convert", "", out, "--module", fake}, 3, "cannot be opened"},
        {{"convert", junk, out, "--module", fake}, 3, "junk: it is not a WAV file"},
        {{"convert", in, readOnly, "--module", fake}, 4, "readonly.wav: is read-only"},
        {{"convert", in, folder.Path("."), "--module", fake}, 4, "is a folder"},
        {{"convert", in, folder.Path("no\\out.wav"), "--module", fake}, 4, "out.wav: no file can be made"},
        {{"convert", in, "", "--module", fake}, 4, "OUT: is empty"},
        {{"convert", in, out, "--module", fake, "--log-dir", junk}, 4, "error.log: cannot be written"},
        {{"convert", in, out, "--module", fake, "--settings", "Echo"}, 5, "--settings: is no settings text"},
        {{"convert", in, out, "--module", fake, "--settings", "Echo=X"}, 5, "--settings: "},
        {{"convert", in, out, "--module", fake, "--settings", FakeSettings("a") + "0"}, 5, "--settings: "},
        {{"convert", in, out, "--module", fake, "--settings", FakeSettings("a").substr(0, 41)}, 5,
            "--settings: "},
        {{"convert", in, out, "--module", fake, "--settings", "a=X" + std::string(38, '0') + "01"}, 5,
            "--settings: "},
        {{"convert", in, out, "--module", fake, "--settings", "a=X" + std::string(40, 'a')}, 5,
            "--settings: "},
        {{"convert", in, out, "--module", fake, "--settings", FakeSettings(std::string(1023, 'n'))}, 5,
            "--settings"},
        {{"convert", in, out, "--module", fake, "--settings-file", junk}, 5, "junk: is not text"},
        {{"convert", in, out, "--module", fake, "--settings-file", folder.Path("none")}, 5,
            "none: cannot be read"},
        {{"convert", in, out, "--module", fake, "--effect", "No Such Effect"}, 5, "No Such Effect"},
        {{"convert", in, out, "--module", folder.Path("none.dll")}, 7, "none.dll: cannot be loaded"},
        {{"convert", in, out, "--module", junk}, 7, "junk: cannot be loaded"},
        {{"convert", in, out, "--module", "C:\\windows\\system32\\version.dll"}, 7,
            "version.dll: is not a DSP module"},
        {{"convert", in, out, "--module", fake, "--settings", FakeSettings("no-data")}, 6,
            "in.wav: the module"},
    };
    for (const auto& c : cases) {
        const RunResult run = RunDxconv(c.arguments);
        CAPTURE(c.says);
        CAPTURE(run.err);
        CHECK(run.code == c.code);
        CHECK(IsOneErrorLine(run.err));
        CHECK(run.err.find(c.says) != run.err.npos);
        CHECK(run.out == "");
        CHECK(folder.Files().size() == 3);
    }
    CHECK(folder.Get("readonly.wav") == "old");
    CHECK(folder.Get("in.wav") == kWav);
}

TEST_CASE("a failing module leaves OUT as it was and its own words in the error line") {
    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", kWav);
    const std::string out = folder.Put("out.wav", "old");
    const struct {
        const char* command;
        const char* says;
    } cases[] = {
        {"fail-begin", "in.wav: the effect could not be started (Error: no such effect  [fake]); "},
        {"fail-block 0",
            "in.wav: the effect failed while it was running (Error: effect gave no output  [fake]); "},
        {"fail-block 3",
            "in.wav: the effect failed while it was running (Error: effect gave no output  [fake]); "},
        {"crash-block 3", "out.wav: nothing was written: the module or the effect crashed (0xC0000005); "},
        {"abort-block 3", "out.wav: nothing was written: the module or the effect crashed (abort); "},
    };
    for (const auto& c : cases) {
        const RunResult run = Convert(in, out, {"--settings", FakeSettings(c.command)});
        CAPTURE(c.command);
        CAPTURE(run.err);
        CHECK(run.code == 6);
        CHECK(IsOneErrorLine(run.err));
        CHECK(run.err.find(c.says) != run.err.npos);
        CHECK(folder.Get("out.wav") == "old");
        CHECK(folder.Files().size() == 2);
    }
    ::SetEnvironmentVariableW(L"DXCONV_FAKE", L"not-live");
    CHECK(Convert(in, out).code == 6);
    ::SetEnvironmentVariableW(L"DXCONV_FAKE", nullptr);
}

TEST_CASE("an interruption ends the conversion, a second one even an effect that hangs") {
    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", kWav);
    const std::string out = folder.Put("out.wav", "old");
    // A console of our own: the events go to all that share one.
    ::FreeConsole();
    REQUIRE(::AllocConsole());
    ::SetConsoleCtrlHandler(OutliveEvent, TRUE);
    const struct {
        const char* command;
        int events;
    } cases[] = {{"slow", 1}, {"hang", 2}};
    for (const auto& c : cases) {
        CAPTURE(c.command);
        const auto interrupt = [&] {
            for (int tries = 0; folder.Files().size() < 3 && tries < 500; ++tries)
                ::Sleep(10);
            for (int i = 0; i < c.events; ++i) {
                CHECK(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
                ::Sleep(500); // events that follow each other closely may become one
            }
        };
        const RunResult run =
            Convert(in, out, {"--settings", FakeSettings(c.command), "--block-ms", "1"}, interrupt);
        CHECK(run.code == 8);
        CHECK(run.err ==
              "dxconv: " + out + ": nothing was written: cancelled; run it again for the whole file\n");
        CHECK(folder.Get("out.wav") == "old");
        CHECK(folder.Files().size() == 2);
    }
    ::SetConsoleCtrlHandler(OutliveEvent, FALSE);
    ::FreeConsole();
}
