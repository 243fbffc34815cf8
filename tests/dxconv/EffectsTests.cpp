#include "dxconv/find_effect.h"
#include "dxconv/text.h"
#include "support/handles.h"
#include "tests/dxconv/fixture.h"

#include <doctest/doctest.h>
#include <dshow.h>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

namespace {

GUID TestClsid(int last) {
    const auto byte = static_cast<unsigned char>(last);
    return {0x5D1F0B7E, 0x3C52, 0x4E0A, {0x9A, 0x41, 0x77, 0x10, 0x6C, 0xE2, 0x58, byte}};
}

/// Filters in the system's list, without code behind them, as long as the object lives.
class CRegisteredFilters {
public:
    CRegisteredFilters() {
        REQUIRE(SUCCEEDED(::CoInitialize(nullptr)));
        REQUIRE(SUCCEEDED(
            ::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&m_mapper))));
    }
    ~CRegisteredFilters() {
        for (const GUID& clsid : m_clsids)
            m_mapper->UnregisterFilter(nullptr, nullptr, clsid);
        m_mapper.Reset();
        ::CoUninitialize();
    }

    void Add(const GUID& clsid, const wchar_t* name, const GUID& output = MEDIATYPE_Audio,
        DWORD merit = 0x200000) {
        const REGPINTYPES in{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM};
        const REGPINTYPES out{&output, &MEDIASUBTYPE_PCM};
        REGFILTERPINS2 pins[2]{};
        pins[0].nMediaTypes = pins[1].nMediaTypes = 1;
        pins[0].lpMediaType = &in;
        pins[1].lpMediaType = &out;
        pins[1].dwFlags = REG_PINFLAG_B_OUTPUT;
        REGFILTER2 filter{};
        filter.dwVersion = 2;
        filter.dwMerit = merit;
        filter.cPins2 = 2;
        filter.rgPins2 = pins;
        REQUIRE(SUCCEEDED(m_mapper->RegisterFilter(clsid, name, nullptr, nullptr, nullptr, &filter)));
        m_clsids.push_back(clsid);
    }

private:
    ComPtr<IFilterMapper2> m_mapper;
    std::vector<GUID> m_clsids;
};

} // namespace

TEST_CASE("installed effects are listed and found by name or class id, others are left out") {
    CRegisteredFilters filters;
    const std::wstring synthKey = L"MfxSoftSynths\\" + ClsidText(TestClsid(4));
    CRegHandle synth;
    REQUIRE(::RegCreateKeyW(HKEY_CLASSES_ROOT, synthKey.c_str(), synth.Put()) == ERROR_SUCCESS);
    filters.Add(TestClsid(1), L"dxc Caf\u00E9");
    filters.Add(TestClsid(2), L"vst dxc lower");
    filters.Add(TestClsid(3), L"VST dxc wrapped");
    filters.Add(TestClsid(4), L"dxc synth");
    filters.Add(TestClsid(5), L"dxc video", MEDIATYPE_Video);
    filters.Add(TestClsid(6), L"dxc no merit", MEDIATYPE_Audio, 0x1FFFFF);
    filters.Add(TestClsid(7), L"dxc twin");
    filters.Add(TestClsid(8), L"DXC Twin");
    const RunResult list = RunDxconv({"effects"});
    CHECK(list.code == 0);
    CHECK(list.err == "");
    const auto listed = [&](int last, const char* name) {
        return list.out.find(Utf8(ClsidText(TestClsid(last))) + "  " + name + "\n") != list.out.npos;
    };
    CHECK(listed(1, "dxc Caf\xC3\xA9"));
    CHECK(listed(2, "vst dxc lower"));
    CHECK(listed(7, "dxc twin"));
    CHECK(listed(8, "DXC Twin"));
    for (const int last : {3, 4, 5, 6})
        CHECK(list.out.find(Utf8(ClsidText(TestClsid(last)))) == list.out.npos);

    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", Riff(Chunk("fmt ", Format(1, 1, 8)) + Chunk("data", "ab")));
    const std::string state = folder.Put("state", "\x12\xEF");
    const auto settingsFor = [&](std::vector<std::string> options) {
        options.insert(options.end(), {"--log-dir", folder.Path(".")});
        folder.Put("trace.log", "");
        CHECK(Convert(in, folder.Path("out.wav"), options).code == 0);
        const std::string log = folder.Get("trace.log");
        const std::wstring trace(reinterpret_cast<const wchar_t*>(log.data()), log.size() / sizeof(wchar_t));
        const std::size_t start = trace.find(L" 8 0 ") + 5;
        return Utf8(trace.substr(start, trace.find(L'\r', start) - start));
    };
    const std::string clsidHex = "7E0B1F5D523C0A4E9A4177106CE258";
    CHECK(settingsFor({"--effect", "DXC CAF\xC3\x89", "--state-file", state}) == "dxc Caf\xC3\xA9=X" +
                                                                                     clsidHex +
                                                                                     "01"
                                                                                     "02000000"
                                                                                     "12EF");
    CHECK(settingsFor({"--effect", Utf8(ClsidText(TestClsid(8)))}) == "DXC Twin=X" + clsidHex +
                                                                          "08"
                                                                          "00000000");
    CHECK(settingsFor({"--effect", Utf8(ClsidText(TestClsid(9)))}) == Utf8(ClsidText(TestClsid(9))) + "=X" +
                                                                          clsidHex +
                                                                          "09"
                                                                          "00000000");
    const RunResult twin = Convert(in, folder.Path("out.wav"), {"--effect", "dxc twin"});
    CHECK(twin.code == 5);
    CHECK(twin.err.find("2 installed effects are called") != twin.err.npos);
    ::RegDeleteKeyW(HKEY_CLASSES_ROOT, synthKey.c_str());
}

TEST_CASE("a settings file may be UTF-8 or UTF-16 and end in a line end") {
    const CTestFolder folder;
    const std::string in = folder.Put("in.wav", Riff(Chunk("fmt ", Format(1, 1, 8)) + Chunk("data", "ab")));
    const std::string text = FakeSettings("xor 1") + "\r\n";
    std::string little = "\xFF\xFE";
    std::string big = "\xFE\xFF";
    for (const char unit : text) {
        little += {unit, '\0'};
        big += {'\0', unit};
    }
    for (const std::string& content : {text, "\xEF\xBB\xBF" + text, little, big}) {
        const std::string file = folder.Put("settings", content);
        CHECK(Convert(in, folder.Path("out.wav"), {"--settings-file", file}).code == 0);
        CHECK(folder.Get("out.wav").substr(44) == "`c");
    }
}
