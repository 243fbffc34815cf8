#include "dxconv/json.h"
#include "tests/dxconv/fixture.h"

namespace {

std::string Wav(std::size_t frames) {
    return Riff(Chunk("fmt ", Format(1, 1, 16)) + Chunk("data", Noise(frames * 2)));
}

const std::string kShort = Wav(2);
const std::string kLong = Wav(500); // in blocks of a millisecond the fake module's fourth one comes

// a.wav and c.wav are short, b.wav is long.
struct Inputs {
    Inputs() {
        folder.Put("a.wav", kShort);
        folder.Put("b.wav", kLong);
        folder.Put("c.wav", kShort);
    }
    RunResult Convert(const std::string& command, std::vector<std::string> further,
        const std::function<void()>& meanwhile = nullptr) const {
        std::vector<std::string> arguments = {"convert", folder.Path("*.wav"), "--out-dir", outs.Path("."),
            "--module", "fake_module.dll", "--block-ms", "1", "--settings", FakeSettings(command)};
        arguments.insert(arguments.end(), further.begin(), further.end());
        return RunDxconv(arguments, {}, meanwhile);
    }
    CTestFolder folder, outs;
};

bool Holds(const std::string& text, const std::string& part) {
    return text.find(part) != text.npos;
}

} // namespace

TEST_CASE("of many files the one whose effect faults costs itself alone, and a later run takes up the rest") {
    const Inputs inputs;
    const std::string ended =
        "b.wav: the effect ended the process (exit code 0x00000000); nothing was written";
    const std::string exists = "c.wav: exists already; choose another name, or replace it with --force";
    const struct {
        const char* command;
        std::vector<std::string> further;
        unsigned long code;
        std::string sum, failure;
        int files;
    } cases[] = {{"exit-block", {"--jobs", "2"}, 9, "3 files: 2 converted, 1 failed, 0 skipped\n", ended, 2},
        {"exit-block", {"--skip-existing"}, 9, "3 files: 0 converted, 1 failed, 2 skipped\n", ended, 2},
        {"exit-block", {}, 11, "3 files: 0 converted, 3 failed, 0 skipped\n", exists, 2},
        {"any", {}, 4, "3 files: 1 converted, 2 failed, 0 skipped\n", exists, 3},
        {"any", {"--skip-existing"}, 0, "3 files: 0 converted, 0 failed, 3 skipped\n", "", 3},
        {"any", {"--force"}, 0, "3 files: 3 converted, 0 failed, 0 skipped\n", "", 3}};
    for (const auto& c : cases) {
        const RunResult run = inputs.Convert(c.command, c.further);
        INFO(run.out, run.err);
        CHECK(run.code == c.code);
        CHECK(Holds(run.out, c.sum));
        CHECK(Holds(run.out, "\nfailed: ") == !c.failure.empty());
        CHECK(Holds(run.out, c.failure)); // again at the end
        CHECK(Holds(run.err, c.failure));
        CHECK(inputs.outs.Count() == c.files);
        CHECK(inputs.outs.Get("a.wav") == kShort);
        CHECK(inputs.outs.Get("c.wav") == kShort);
    }
    CHECK(inputs.outs.Get("b.wav") == kLong);
}

TEST_CASE("the summary as JSON is all that the standard output gets, and tells of every file") {
    const Inputs inputs;
    inputs.outs.Put("c.wav", "old");
    const RunResult run = inputs.Convert("exit-block", {"--json", "--skip-existing"});
    std::string expected = R"({"converted":1,"failed":1,"skipped":1,"cancelled":0,"notStarted":0,"files":[)";
    const char* const rest[] = {
        R"("result":"converted","exitCode":0,"reason":null,"framesIn":2,"framesOut":2,"tailMs":0,"timesRealTime":#},)",
        R"("result":"failed","exitCode":9,"reason":#,"framesIn":null,"framesOut":null,"tailMs":null,"timesRealTime":null},)",
        R"("result":"skipped","exitCode":0,"reason":null,"framesIn":null,"framesOut":null,"tailMs":null,"timesRealTime":null}]})"};
    for (int i = 0; i < 3; ++i) {
        const std::string name = std::string(1, static_cast<char>('a' + i)) + ".wav";
        expected += "{\"in\":" + JsonText(inputs.folder.Path(name)) +
                    ",\"out\":" + JsonText(inputs.outs.Path(".") + "\\" + name) + "," + rest[i];
    }
    expected += '\n';
    INFO(run.out);
    for (std::size_t part = 0, next = 0, at = 0; part < expected.size(); part = next + 1) { // '#' is any text
        next = std::min(expected.find('#', part), expected.size());
        at = run.out.find(expected.substr(part, next - part), at);
        REQUIRE(at != run.out.npos);
    }
    CHECK(run.code == 9);
    CHECK(inputs.outs.Get("c.wav") == "old");
    CHECK(JsonText("a\"\\\n\xC3\xA9\xFF") == "\"a\\\"\\\\\\u000a\xC3\xA9\xEF\xBF\xBD\"");
}

TEST_CASE("names that contradict each other are refused before anything is converted") {
    const Inputs inputs;
    const CTestFolder other;
    const std::string in = inputs.folder.Path("a.wav"), twin = other.Put("A.WAV", kShort);
    const std::string out = inputs.outs.Put("out.wav", "old"), empty = other.Put("empty.wav", "");
    const struct {
        std::vector<std::string> arguments;
        unsigned long code;
        std::string says;
    } cases[] = {{{in, twin, "--out-dir", inputs.outs.Path(".")}, 2, in + " and " + twin + " would both"},
        {{in, "--out-dir", inputs.folder.Path("none\\..\\.")}, 2, "a.wav: would be its own output"},
        {{in, "-", "--out-dir", inputs.outs.Path(".")}, 2, "--out-dir: the standard input has no name"},
        {{in, inputs.outs.Path("none*"), "--out-dir", inputs.outs.Path(".")}, 3, "none*: no file has such"},
        {{in, "--out-dir", out}, 4, "out.wav: cannot be made a folder"}, {{in, twin, out}, 2, "--out-dir: "},
        {{in, "-", "--json"}, 2, "--json: "}, {{in, out}, 4, "out.wav: exists already; "},
        {{in, out, "--skip-existing"}, 0, ""},
        {{in, twin, "--out-dir", "", "--force"}, 2, "--out-dir: is empty"},
        {{in, inputs.outs.Path("new"), "--effect", ""}, 2, "--effect: is empty"},
        // no conversion that was done
        {{in, empty, "--skip-existing"}, 4, "empty.wav: exists already; "},
        {{in, other.Path("."), "--skip-existing"}, 4, " is a folder; "}};
    for (const auto& c : cases) {
        std::vector<std::string> arguments = {"convert", "--module", "fake_module.dll"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const RunResult run = RunDxconv(arguments);
        INFO(run.out, run.err);
        CHECK(run.code == c.code);
        CHECK(Holds(run.err, c.says));
        CHECK(inputs.outs.Get("out.wav") == "old");
        CHECK(inputs.outs.Count() == 1);
    }
}

TEST_CASE("Ctrl+C ends all workers, keeps what is complete and sums up") {
    const Inputs inputs;
    const CConsole console;
    const RunResult run = inputs.Convert("slow", {"--jobs", "1"}, [&] {
        inputs.outs.WaitForCount(2); // a.wav, and what becomes b.wav
        ::Sleep(300);
        console.PressCtrlC();
    });
    INFO(run.out, run.err);
    CHECK(run.code == 8);
    CHECK(Holds(run.out, "1 converted, 0 failed, 0 skipped, 1 cancelled, 1 not started\n"));
    CHECK(inputs.outs.Get("a.wav") == kShort);
    CHECK(inputs.outs.Count() == 1);
}
