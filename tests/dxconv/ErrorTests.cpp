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
    const std::string readOnly = folder.Put("readonly.wav", "old");
    ::SetFileAttributesW(FullPath(readOnly).c_str(), FILE_ATTRIBUTE_READONLY);
    const struct {
        std::vector<std::string> arguments;
        unsigned long code;
        std::string says;
    } cases[] = {{{in}, 2, "OUT is required"}, {{in, out, "--block-ms", "0"}, 2, "--block-ms: "},
        {{in, out, "--block-ms", "60001"}, 2, "--block-ms: "},
        {{in, out, "--effect", "a", "--settings", "b"}, 2, "--settings"},
        {{in, out, "--state-file", "a"}, 2, "--state-file"},
        {{folder.Path("none.wav"), out}, 3, "none.wav: cannot be opened"},
        {{junk, out}, 3, "junk: it is not a WAV file"}, {{in, readOnly}, 4, "readonly.wav: is read-only"},
        {{in, folder.Path(".")}, 4, "is a folder"},
        {{in, folder.Path("no\\out.wav")}, 4, "out.wav: no file can be made"}, {{in, ""}, 4, "OUT: is empty"},
        {{in, out, "--log-dir", junk}, 4, "error.log: cannot be written"},
        {{in, out, "--settings-file", junk}, 5, "junk: is not text"},
        {{in, out, "--settings-file", folder.Path("none")}, 5, "none: cannot be read"},
        {{in, out, "--effect", "No Such Effect"}, 5, "No Such Effect"}};
    for (const auto& c : cases)
        CheckFails(Convert(c.arguments), c.code, c.says);
    CheckFails(RunDxconv({"sing"}), 2, "sing");
    CheckFails(RunDxconv({"convert", in, out, "--module", junk}), 7, "junk: cannot be loaded");
    CheckFails(RunDxconv({"convert", in, out, "--module", "C:\\windows\\system32\\version.dll"}), 7,
        "is not a DSP module");
    const std::string zeros(38, '0');
    for (const std::string& text : {std::string("Echo=X"), "a=X" + zeros, "a=X" + zeros + "000",
             "a=X" + zeros + "01", "a=X" + zeros + "aa", std::string(1023, 'n') + "=X00" + zeros})
        CheckFails(Convert({in, out, "--settings", text}), 5, "--settings: is no settings text");
    CHECK(folder.Count() == 3);
    CHECK(folder.Get("readonly.wav") == "old");
    ::SetFileAttributesW(FullPath(readOnly).c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_CASE("a header that cannot be trusted is refused with the reason") {
    const auto with = [](const std::string& body) { return Riff(Chunk("fmt ", body) + Chunk("data", "")); };
    std::string extensible = Format(0xFFFE, 2, 16);
    const std::pair<std::string, const char*> cases[] = {{"RIFF", "not a WAV"},
        {"RIFX" + with(extensible).substr(4), "not a WAV"},
        {with(extensible).replace(8, 4, "AVI "), "not a WAV"},
        {Riff(kFormat + "da"), "ends before any audio"},
        {Riff(kFormat + "LIST" + Le(1000, 4) + "abc"), "ends before any audio"},
        {Riff(kFormat + "LIST" + Le(1000, 4) + Noise(200)), "ends inside its 'LIST' chunk"},
        {Riff(Chunk("data", Noise(8)) + kFormat), "no fmt chunk before its audio"},
        {with(Noise(14)), "too short"}, {with(extensible.substr(0, 24)), "too short"},
        {with(Format(1, 0, 16)), "0 channels"}, {with(Format(1, 2, 16, 0)), "at 0 Hz"},
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
    const std::string nothing = "out.wav: nothing was written: ";
    const struct {
        const char* command;
        int events;
        unsigned long code;
        std::string says;
    } cases[] = {
        {"fail-begin", 0, 6, "in.wav: the effect could not be started (Error: no such effect  [fake]); "},
        {"fail-block", 0, 6,
            "in.wav: the effect failed while it was running (Error: effect gave no output  [fake]); "},
        {"crash-block", 0, 6, nothing + "the module or the effect crashed (0xC0000005); "},
        {"abort-block", 0, 6, nothing + "the module or the effect crashed (abort); "},
        {"slow", 1, 8, nothing + "cancelled; "}, {"hang", 2, 8, nothing + "cancelled; "}};
    ::FreeConsole(); // for one of our own: the events go to all that share one
    REQUIRE(::AllocConsole());
    for (const auto& c : cases) {
        const auto interrupt = [&] {
            ::SetConsoleCtrlHandler(nullptr, TRUE); // we outlive the events; new processes would inherit that
            for (int tries = 0; c.events != 0 && folder.Count() < 3 && tries < 500; ++tries)
                ::Sleep(10);
            for (int i = 0; i < c.events; ++i) {
                CHECK(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
                ::Sleep(500); // events that follow each other closely may become one
            }
            ::SetConsoleCtrlHandler(nullptr, FALSE);
        };
        const std::string settings = FakeSettings(c.command);
        const RunResult run = Convert({in, out, "--block-ms", "1", "--settings", settings}, "", interrupt);
        CheckFails(run, c.code, c.says);
        CHECK(folder.Get("out.wav") == "old");
        CHECK(folder.Count() == 2);
    }
    ::FreeConsole();
}
