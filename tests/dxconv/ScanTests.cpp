#include "dxconv/find_effect.h"
#include "dxconv/json.h"
#include "tests/dxconv/CInstalledEcho.h"
#include "tests/effects/CRegisteredFilters.h"
#include "tests/dxconv/fixture.h"

#include <objbase.h>

namespace {

constexpr wchar_t kKey[] = L"Software\\Orvelle\\DXWrapper";

std::string StoredBlob() {
    char blob[256];
    DWORD bytes = sizeof blob;
    const LONG read =
        ::RegGetValueW(HKEY_CURRENT_USER, kKey, L"DXList", RRF_RT_REG_BINARY, nullptr, blob, &bytes);
    return read == ERROR_SUCCESS ? std::string(blob, bytes) : "none";
}

} // namespace

TEST_CASE("a headless scan says of each candidate whether it is usable and stores those that are") {
    REQUIRE(SUCCEEDED(::CoInitialize(nullptr)));
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
    RunResult run = RunDxconv({"list"});
    CHECK(run.code == 5);
    CHECK(run.err.find("dxconv: list: no list is stored") == 0);
    {
        const CInstalledEcho echo;
        run = RunDxconv({"scan", "--headless"});
        CHECK(run.code == 0);
        CHECK(run.out.find("usable   Echo\n") != run.out.npos);
        CHECK(run.out.find("refused  SampleGrabber: has no property page\n") != run.out.npos);
        CHECK(RunDxconv({"list"}).out == "{A7ADE361-6BDB-4C04-BA8E-C85F225B50EA}  Echo\n");
        const std::string echoJson = R"("clsid":"{A7ADE361-6BDB-4C04-BA8E-C85F225B50EA}","name":"Echo")";
        CHECK(
            RunDxconv({"list", "--json"}).out == R"({"stored":"complete","effects":[{)" + echoJson + "}]}\n");
        CHECK(StoredBlob() ==
              Le(1, 4) + Le(0x4C046BDBA7ADE361, 8) + Le(0xEA505B225FC88EBA, 8) + Le(4, 4) + "Echo");

        run = RunDxconv({"check", "echo"});
        CHECK(run.code == 0);
        CHECK(run.out.find("  property pages        1\n") != run.out.npos);
        CHECK(run.out.find("  saved state           20 bytes\n") != run.out.npos);
        CHECK(run.out.ends_with("usable\n"));
        run = RunDxconv({"check", "Echo", "--json"});
        CHECK(run.out.starts_with("{" + echoJson + R"(,"verdict":"usable","reason":null,"steps":{)" +
                                  R"("created":true,"propertyPages":1,"takesStereoFloat":true,)" +
                                  R"("outputChannels":2,"framesBack":512,"pagePixels":[)"));
        CHECK(run.out.find(R"(],"stateBytes":20,"tailMs":)") != run.out.npos);
        CHECK(run.out.ends_with("}}\n"));
        run = RunDxconv({"check", "SampleGrabber"});
        CHECK(run.code == 5);
        CHECK(run.err == "dxconv: SampleGrabber: refused: it has no property page; choose another effect\n");
    }
    const std::string cut = StoredBlob().substr(0, 20);
    ::RegSetKeyValueW(
        HKEY_CURRENT_USER, kKey, L"DXList", REG_BINARY, cut.data(), static_cast<DWORD>(cut.size()));
    run = RunDxconv({"list", "--json"});
    CHECK(run.code == 5);
    CHECK(run.out == R"({"stored":"damaged","effects":[]})"
                     "\n");
    CHECK(run.err.find("dxconv: list: the stored list is damaged") == 0);
    RunDxconv({"scan", "--headless"});
    CHECK(StoredBlob() == Le(0, 4)); // Echo is gone
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
    ::CoUninitialize();
}

TEST_CASE("a scan outlives candidates that end its process, hang or fault, and remembers them") {
    constexpr wchar_t kRefusedKey[] = L"Software\\Orvelle\\DXConv\\Refused";
    const struct {
        char behaviour;
        const wchar_t* name;
        std::string reason;
        bool skipped = true;
    } hostile[] = {{'E', L"dxs ends",
                       "ended the process (exit code 0x00000000) when it was asked for its property page"},
        {'K', L"dxs kills",
            "ended the process (exit code 0x0000BEEF) when it was asked for its property page"},
        {'H', L"dxs hangs", "did not answer for 1 s when it was asked for its property page"},
        {'C', L"dxs faults", "crashed (0xC0000005) when it was asked for its property page"},
        {'L', L"dxs lingers", "did not answer for 1 s when it was released"},
        {'R', L"dxs refuses", "has no property page", false},
        {'X', L"dxs is a program",
            "is registered with a program instead of a DLL: " + Utf8(FullPath(std::string("..\\dxconv.exe"))),
            false}};
    const auto clsid = [](char behaviour) {
        return GUID{
            static_cast<DWORD>(behaviour), 0x3C52, 0x4E0B, {0x9A, 0x41, 0x77, 0x10, 0x6C, 0xE2, 0x58, 0x01}};
    };
    const auto scan = [](const char* more = "--headless") {
        const RunResult run = RunDxconv({"scan", "--headless", more, "--timeout", "1"});
        CHECK(run.code == 0);
        return run.out;
    };
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kRefusedKey);
    const CInstalledEcho echo;
    {
        CRegisteredFilters registered;
        for (const auto& h : hostile)
            registered.Add(
                clsid(h.behaviour), {h.name}, h.behaviour == 'X' ? L"..\\dxconv.exe" : L"hostile_effect.dll");
        const std::string first = scan(), again = scan(), retried = scan("--retry");
        const std::string list = RunDxconv({"list", "--refused"}).out;
        const std::string listJson = RunDxconv({"list", "--refused", "--json"}).out;
        for (const auto& h : hostile) {
            const std::string name = Utf8(h.name), line = "refused  " + name + ": " + h.reason + "\n";
            INFO(first, "\nagain:\n", again, "\nlist:\n", list);
            CHECK(first.find(line) != first.npos);
            CHECK(retried.find(line) != retried.npos);
            const std::string skipped = "skipped  " + name + ": " + h.reason + " (last time); --retry";
            CHECK((again.find(skipped) != again.npos) == h.skipped);
            CHECK((again.find(line) != again.npos) == !h.skipped);
            CHECK(
                list.find(Utf8(ClsidText(clsid(h.behaviour))) + "  " + name + ": " + h.reason) != list.npos);
            const std::string json = "\"reason\":" + JsonText(h.reason) + ",\"skipped\":";
            CHECK(listJson.find(json + (h.skipped ? "true}" : "false}")) != listJson.npos);
            if (h.behaviour != 'E' && h.behaviour != 'H')
                continue;
            const RunResult check = RunDxconv({"check", name, "--timeout", "1"});
            CHECK(check.code == 5);
            CHECK(check.err == "dxconv: " + name + ": refused: it " + h.reason + "; choose another effect\n");
        }
        const std::string wav = Riff(Chunk("fmt ", Format(1, 2, 16)) + Chunk("data", "abcd"));
        const RunResult run = RunDxconv(
            {"convert", "-", "-", "--settings", "x=X58000000523C0B4E9A4177106CE2580100000000"}, wav);
        CHECK(run.code == 6);
        CHECK(run.err.find("could not be started: it is registered with a program") != run.err.npos);
        CHECK(first.find("usable   Echo\n") != first.npos);
        CHECK(again.find("usable   Echo\n") != again.npos);
    }
    {
        // Stopped at a candidate that hangs, it has not lost the one behind it that was usable before.
        CRegisteredFilters registered;
        registered.Add(clsid('H'), {L"Dxs hangs"}, L"hostile_effect.dll");
        const CConsole console;
        const RunResult run = RunDxconv({"scan", "--headless", "--retry", "--timeout", "0"}, "", [&] {
            CHECK(Soon([] { return !!CKernelHandle(::OpenEventW(SYNCHRONIZE, FALSE, L"dxs hangs")); }));
            console.PressCtrlC();
        });
        CHECK(run.code == 8);
        CHECK(run.err == "dxconv: end of run: cancelled; run it again\n");
        CHECK(RunDxconv({"list"}).out.find("Echo\n") != std::string::npos);
    }
    scan();
    CHECK(RunDxconv({"list", "--refused"}).out.find("dxs") == std::string::npos); // no longer installed
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kRefusedKey);
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
}
