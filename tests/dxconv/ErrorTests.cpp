#include "dxconv/CError.h"
#include "dxconv/CInputFile.h"
#include "dxconv/CWriteBehind.h"
#include "tests/dxconv/fixture.h"

namespace {

const std::string kFormat = Chunk("fmt ", Format(1, 1, 16));
const std::string kWav = Riff(kFormat + Chunk("data", Noise(1000)));

void CheckFails(const RunResult& run, unsigned long code, const std::string& says) {
    INFO("expected: ", says, "\nprinted: ", run.err);
    CHECK(run.code == code);
    CHECK(run.out == "");
    CHECK(run.err.starts_with("dxconv: "));
    CHECK(run.err.find(says) != run.err.npos);
    CHECK(run.err.find("; ") != run.err.npos); // advice
    CHECK(run.err.find('\n') == run.err.size() - 1);
}

} // namespace

TEST_CASE("every error is one line that names its object, with its own exit code") {
    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", kWav);
    const std::string junk = folder.Put("junk", Noise(1000));
    const std::string out = folder.Path("out.wav");
    const std::string good = FakeSettings("any");
    const std::string readOnly = folder.Put("readonly.wav", good);
    ::SetFileAttributesW(FullPath(readOnly).c_str(), FILE_ATTRIBUTE_READONLY);
    struct Case {
        std::vector<std::string> arguments;
        unsigned long code;
        std::string says;
    };
    const Case cases[] = {{{in}, 2, "OUT is required"}, {{in, out, "--block-ms", "0"}, 2, "--block-ms: "},
        {{in, out, "--block-ms", "60001"}, 2, "--block-ms: "},
        {{in, out, "--effect", "a", "--settings", "b"}, 2, "--settings"},
        {{in, out, "--state-file", "a"}, 2, "--state-file"},
        {{folder.Path("none.wav"), out}, 3, "none.wav: cannot be opened"},
        {{junk, out}, 3, "junk: it is not a WAV file"}, {{in, readOnly}, 4, "readonly.wav: is read-only"},
        {{in, folder.Path(".")}, 4, "is a folder"},
        {{in, folder.Path("no\\out.wav")}, 4, "out.wav: no file can be made"}, {{in, ""}, 4, "OUT: is empty"},
        {{in, out, "--log-dir", junk}, 4, "junk: cannot be made a folder"},
        {{in, out, "--settings-file", junk}, 5, "junk: is not text"},
        {{in, out, "--settings-file", folder.Path("none")}, 5, "none: cannot be read"},
        {{in, out, "--effect", "No Such Effect"}, 5, "No Such Effect"}};
    for (const auto& c : cases)
        CheckFails(Convert(c.arguments), c.code, c.says);
    const Case others[] = {{{"sing"}, 2, "sing"}, {{"panel", "--settings"}, 2, "--settings: 1 required"},
        {{"panel", "--settings", good, "--settings-file", "f"}, 2, "--settings excludes --settings-file"},
        {{"panel", "--settings", "Echo=X00"}, 5, "--settings: is no settings text"},
        {{"panel", "--settings-file", junk}, 5, "junk: is not text"},
        {{"panel", "--settings-file", folder.Path("no\\file")}, 5, "no\\file: cannot be read"},
        {{"panel", "--settings-file", readOnly}, 4, "readonly.wav: is read-only"},
        {{"panel", "--settings-file", folder.Path("new"), "--module", "fake_module.dll"}, 6,
            "shows no panel"},
        {{"convert", in, out, "--module", junk}, 7, "junk: cannot be loaded"},
        {{"convert", in, out, "--module", "C:\\windows\\system32\\version.dll"}, 7, "is not a DSP module"}};
    for (const auto& c : others)
        CheckFails(RunDxconv(c.arguments), c.code, c.says);
    const std::string zeros(38, '0');
    for (const std::string& text : {std::string("Echo=X"), "a=X" + zeros, "a=X" + zeros + "000",
             "a=X" + zeros + "01", "a=X" + zeros + "aa", std::string(1023, 'n') + "=X00" + zeros})
        CheckFails(Convert({in, out, "--settings", text}), 5, "--settings: is no settings text");
    CHECK(folder.Count() == 3);
    CHECK(folder.Get("readonly.wav") == good);
    ::SetFileAttributesW(FullPath(readOnly).c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_CASE("a header that cannot be trusted is refused with the reason") {
    const auto with = [](const std::string& body) { return Riff(Chunk("fmt ", body) + Chunk("data", "")); };
    std::string extensible = Format(0xFFFE, 2, 16);
    const std::pair<std::string, const char*> cases[] = {{"RIFX" + with(extensible).substr(4), "not a WAV"},
        {Riff(kFormat + "da"), "ends before any audio"},
        {Riff(kFormat + "LIST" + Le(1000, 4) + Noise(200)), "ends inside its 'LIST' chunk"},
        {Riff(Chunk("data", Noise(8)) + kFormat), "no fmt chunk before its audio"},
        {with(Noise(14)), "too short"}, {with(Format(1, 0, 16)), "0 channels"},
        {with(Format(1, 2, 16, 0)), "at 0 Hz"},
        {with(Format(1, 2, 16).replace(12, 1, "\3")), "3 bytes a frame"},
        {with(Format(1, 2, 0)), "not supported"}, {with(Format(1, 2, 20)), "not supported"},
        {with(Format(1, 2, 64)), "not supported"}, {with(Format(3, 2, 16)), "not supported"},
        {with(Format(7, 1, 8)), "not supported"}, {with(extensible.replace(30, 1, "\1")), "not supported"}};
    for (const auto& [file, reason] : cases)
        CheckFails(Convert({"-", "-"}, file), 3, reason);
}

TEST_CASE("a module that fails, and an interruption, leave OUT as it was, nothing else, and the reason") {
    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", kWav);
    const std::string out = folder.Put("out.wav", "old");
    const std::string ended = "in.wav: the effect ended the process (exit code ";
    const std::string nothing = "; nothing was written; try another effect";
    const struct {
        const char* command;
        int events;
        unsigned long code;
        std::string says;
        const char* timeout = "20";
    } cases[] = {
        {"fail-begin", 0, 6, "in.wav: the effect could not be started (Error: no such effect  [fake]); "},
        {"fail-block", 0, 6,
            "in.wav: the effect failed while it was running (Error: effect gave no output  [fake]); "},
        {"crash-block", 0, 6, "in.wav: the module or the effect crashed (0xC0000005)" + nothing},
        {"thread-block", 0, 6, "in.wav: the module or the effect crashed (0xC0000005)" + nothing},
        {"abort-block", 0, 6, "in.wav: the module or the effect crashed (abort)" + nothing},
        {"exit-block", 0, 9, ended + "0x00000000)" + nothing},
        {"exit-begin", 0, 9, ended + "0x00000000)" + nothing},
        {"kill-block", 0, 9, ended + "0x0000BEEF)" + nothing}, {"lose-stack-block", 0, 9, ended},
        {"hang-begin", 0, 10, "in.wav: the effect did not return from the start of the conversion for 1 s",
            "1"},
        {"hang-block", 0, 10, "in.wav: the effect did not return from a block for 1 s" + nothing, "1"},
        {"slow", 1, 8, "out.wav: nothing was written: cancelled; "},
        {"hang", 2, 8, "out.wav: nothing was written: cancelled; ", "0"},
        {"hang", 1, 8, "out.wav: nothing was written: cancelled; "}}; // after a time of grace
    for (const auto& c : cases) {
        const CConsole console;
        const auto interrupt = [&] {
            if (c.events != 0)
                folder.WaitForCount(3); // it writes
            console.PressCtrlC(c.events);
        };
        const std::string settings = FakeSettings(c.command);
        const RunResult run = Convert(
            {in, out, "--block-ms", "1", "--timeout", c.timeout, "--settings", settings}, "", interrupt);
        CheckFails(run, c.code, c.says);
        CHECK(folder.Get("out.wav") == "old");
        CHECK(folder.Count() == 2);
    }
}

TEST_CASE("an effect that ends the process, or hangs, once OUT is complete costs a warning") {
    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", kWav);
    for (const char* const command : {"exit-after", "exit-destroy", "hang-destroy"}) {
        const RunResult run =
            Convert({in, folder.Path("out.wav"), "--timeout", "1", "--settings", FakeSettings(command)});
        INFO(command, " printed: ", run.err);
        CHECK(run.code == 0);
        CHECK(run.out.find("500 frames in, 500 frames out") != run.out.npos);
        CHECK(run.err.find("in.wav: warning: the effect ") != run.err.npos);
        CHECK(run.err.ends_with(" when all was done; the output is complete\n"));
        CHECK(folder.Get("out.wav") == kWav);
    }
}

TEST_CASE("when dxconv itself is killed its worker goes with it, and the temporary file") {
    const CTestFolder folder;
    const RunResult run = Convert({"-", folder.Path("out.wav")}, kWav, [&] {
        folder.WaitForCount(1);
        ::TerminateProcess(g_dxconv, 77);
    });
    CHECK(run.code == 77);
    CHECK(run.out + run.err == "");
    CHECK(folder.Count() == 0);
}

TEST_CASE("a disk that takes no more and an input that shrinks are errors, and no temporary file stays") {
    const CTestFolder folder;
    const std::string path = folder.Put("in.wav", kWav);
    {
        COutputFile output(folder.Path("out.wav"));
        CHECK_THROWS_WITH_AS(output.WriteAt(std::uint64_t{1} << 62, "a", 1),
            doctest::Contains("out.wav: cannot be written: "), CError);
        CHECK(folder.Count() == 2);
    }
    {
        COutputFile gone(folder.Path("gone.wav"));
        gone.Commit();
        CInputFile input(path);
        CWavReader reader(input, "in.wav");
        CWavWriter writer(gone, reader);
        std::vector<std::uint8_t> piece(100);
        CWriteBehind behind(writer);
        behind.Write(piece);
        CHECK_THROWS_WITH_AS(behind.Finish(), doctest::Contains("gone.wav: cannot be written: "), CError);
        ::DeleteFileW(FullPath(folder.Path("gone.wav")).c_str());
    }
    CHECK(folder.Count() == 1);

    const auto shared = OpenHandle(
        FullPath(path), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, 0);
    const HANDLE before = ::GetStdHandle(STD_INPUT_HANDLE);
    ::SetStdHandle(STD_INPUT_HANDLE, shared.Get());
    CInputFile input("-"); // a file of ours would not let others write
    char bytes[100];
    CHECK(input.Read(bytes, sizeof bytes) == sizeof bytes);
    const auto other =
        OpenHandle(FullPath(path), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, 0);
    ::SetFilePointer(other.Get(), 150, nullptr, FILE_BEGIN);
    CHECK(::SetEndOfFile(other.Get()));
    CHECK_THROWS_WITH_AS(input.Read(bytes, sizeof bytes),
        doctest::Contains("became shorter while it was read: 894 bytes are gone"), CError);
    ::SetStdHandle(STD_INPUT_HANDLE, before);
}

TEST_CASE("an input that is slow is no effect that hangs") {
    const RunResult run = Convert({"-", "-", "--quiet", "--timeout", "1"}, kWav, [] { ::Sleep(1500); });
    CHECK(run.err == "");
    CHECK(run.out == kWav);
}

TEST_CASE("Ctrl+C at any moment leaves OUT old or complete, no other file, and tells which") {
    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", kWav);
    const std::string settings = FakeSettings("tail 400");
    const std::string whole = Riff(kFormat + Chunk("data", Noise(1000) + std::string(400, '\x11')));
    const CConsole console;
    for (DWORD n = 0; n < 30; ++n) {
        const std::string out = folder.Put("out.wav", "old");
        const RunResult run = Convert({in, out, "--block-ms", "5", "--settings", settings}, "", [&] {
            ::Sleep(n * 8); // from before the worker is there to after the end
            console.PressCtrlC();
        });
        const bool done = !run.out.empty(); // it prints what it did
        INFO(n * 8, " ms: ", run.code, " ", run.out, run.err);
        // Before it has begun to listen the system ends it: under Wine with 0, but without a word.
        CHECK((run.code == (done ? 0 : 8) || run.out + run.err == ""));
        CHECK((folder.Get("out.wav") == (done ? whole : "old")));
        CHECK(folder.Count() == 2);
    }
}
