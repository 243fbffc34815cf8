#include "dxconv/find_effect.h"
#include "tests/effects/CRegisteredFilters.h"
#include "tests/dxconv/fixture.h"

namespace {

GUID TestClsid(unsigned first) {
    return {0x5D1F0B00 + first, 0x3C52, 0x4E0A, {0x9A, 0x41, 0x77, 0x10, 0x6C, 0xE2, 0x58, 0x01}};
}

const std::string kClsidHex = "0B1F5D523C0A4E9A4177106CE25801"; // all but the first byte

} // namespace

TEST_CASE("installed effects are listed and found by name or class id, others are left out") {
    const TestFilter filters[] = {{L"dxc Caf\u00E9"}, {L"dxc twin"}, {L"DXC Twin"}, {L"vst dxc lower"},
        {L"VST dxc wrapped"}, {L"dxc video", MEDIATYPE_Video}, {L"dxc merit", MEDIATYPE_Audio, 0x1FFFFF},
        {L"dxc synth"}};
    constexpr std::size_t kOffered = 4; // the first ones
    CRegisteredFilters registered;
    for (std::size_t n = 0; n < std::size(filters); ++n)
        registered.Add(TestClsid(n), filters[n]);
    const std::wstring synth = L"MfxSoftSynths\\" + ClsidText(TestClsid(7));
    ::RegSetKeyValueW(HKEY_CLASSES_ROOT, synth.c_str(), L"", REG_SZ, L"", 2);

    const RunResult list = RunDxconv({"effects"});
    const std::string json = RunDxconv({"effects", "--json"}).out;
    CHECK(json.starts_with(R"({"effects":[{"clsid":"{)"));
    CHECK(list.code == 0);
    for (std::size_t n = 0; n < std::size(filters); ++n) {
        const std::string line = Utf8(ClsidText(TestClsid(n)) + L"  " + filters[n].name + L"\n");
        CHECK_MESSAGE((list.out.find(line) != list.out.npos) == (n < kOffered), line);
        const std::string member = "\"name\":\"" + Utf8(filters[n].name) + "\"}";
        CHECK_MESSAGE((json.find(member) != json.npos) == (n < kOffered), json);
    }
    const CTestFolder folder;
    const std::string state = folder.Put("state", "\x12\xEF");
    const std::string wav = Riff(Chunk("fmt ", Format(1, 1, 8)) + Chunk("data", "ab"));
    const auto convert = [&](const std::string& effect) {
        return Convert(
            {"-", "-", "--log-dir", folder.Path("."), "--state-file", state, "--effect", effect}, wav);
    };
    const std::string unknown = Utf8(ClsidText(TestClsid(9)));
    const std::pair<std::string, std::string> effects[] = {
        {"DXC CAF\xC3\x89", "dxc Caf\xC3\xA9=X00" + kClsidHex},
        {Utf8(ClsidText(TestClsid(2))), "DXC Twin=X02" + kClsidHex}, {unknown, unknown + "=X09" + kClsidHex}};
    for (const auto& [effect, settings] : effects) {
        CHECK(convert(effect).code == 0);
        CHECK(folder.GetUtf16("trace.log").find(" " + settings + "0200000012EF\r\n") != std::string::npos);
    }
    CHECK(convert("dxc twin").err.find("2 installed effects are called") != std::string::npos);
    CHECK(convert("dcx cafe").err ==
          "dxconv: effect: no installed effect is called 'dcx cafe'; did you mean 'dxc Caf\xC3\xA9'?\n");
    for (const char* const verb : {"convert", "panel"}) {
        const RunResult set = RunDxconv({verb, "--set", "mix=1", "--quiet"});
        CHECK(set.code == 2);
        CHECK(set.err.starts_with("dxconv: --set: DirectX effects have no common parameters"));
    }
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, synth.c_str());
}

TEST_CASE("a settings file may begin with the mark of UTF-8 and end in a line end") {
    const std::string text = FakeSettings("xor 1") + "\r\n";
    const CTestFolder folder;
    const std::string wav = Riff(Chunk("fmt ", Format(1, 1, 8)) + Chunk("data", "ab"));
    for (const std::string& content : {text, "\xEF\xBB\xBF" + text})
        CHECK(Convert({"-", "-", "--settings-file", folder.Put("file", content)}, wav).out.ends_with("`c"));
}
