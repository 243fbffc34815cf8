// Everything that is not a conversion: keys, the panel calls and the settings text they
// carry.

#include "tests/effects/CTestEffects.h"
#include "tests/exports/CHost.h"

#include <doctest/doctest.h>
#include <cwchar>

TEST_CASE("only IsLive is answered and no key can be set") {
    CModule module;
    CHost host(module);
    int value = 42;
    struct Row {
        const wchar_t* key;
        DWORD answer;
    };
    const Row rows[] = {
        {L"IsLive", 1}, {L"isLive", 0}, {L"IsLive ", 0}, {L"IsLiv", 0}, {L"", 0}, {nullptr, 0}};
    for (const Row& row : rows) {
        CHECK(module.Get(host.instance, row.key, &value) == row.answer);
        CHECK(module.Set(host.instance, row.key, L"1") == 0);
    }
    CHECK(value == 42);
    const std::wstring lines = host.trace.TakeUnindented();
    CHECK(lines.find(L"IsLive  [clDSP::Get]\r\nIsLive  [clDSP::Set]\r\nisLive  [clDSP::Get]\r\n") == 0);
}

TEST_CASE("each call writes its entry and exit line, nested by two spaces") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, 2);
    REQUIRE(host.Begin(format, CLSID_TestEffect) == 1);
    host.Run(format, std::vector<std::uint8_t>(4000), 100);
    module.EndConversion(host.instance, 0);
    module.AfterConversion(host.instance, 0);
    module.PassNonLive(host.instance, 0, 0, 0, 0);
    module.RemoveConfigBit(host.instance, DSP_CODE_STORED_SETTINGS);
    module.ShowConfigBit(host.instance, nullptr, 0, 0, L"");
    module.RemoveConfigBit(host.instance, 0);
    CHECK(host.trace.TakeUnindented() == L"->->  [clDSP::BeginConversion]\r\n"
                                         L"  ->->  [clDSP::ConnectDX]\r\n"
                                         L"  <-<-  [clDSP::ConnectDX]\r\n"
                                         L"<-<-  [clDSP::BeginConversion]\r\n"
                                         L"->->  [clDSP::EndConversion]\r\n"
                                         L"<-<-  [clDSP::EndConversion]\r\n"
                                         L"->->  [clDSP::AfterConversion]\r\n"
                                         L"<-<-  [clDSP::AfterConversion]\r\n"
                                         L"->->  [clDSP::PassNonLive]\r\n"
                                         L"<-<-  [clDSP::PassNonLive]\r\n"
                                         L"->->  [clDSP::ShowConfigBit]\r\n"
                                         L"<-<-  [clDSP::ShowConfigBit]\r\n"
                                         L"->->  [clDSP::RemoveConfigBit]\r\n"
                                         L"<-<-  [clDSP::RemoveConfigBit]\r\n");
    CHECK(host.errors.Take().empty());
    CHECK(host.information.Take().empty());
}

TEST_CASE("the panel call connects at 44100 and the settings text comes back with the effect's state") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    CHECK(std::wcslen(module.RemoveConfigBit(host.instance, DSP_CODE_STORED_SETTINGS)) == 0);
    CHECK(std::wcslen(module.RemoveConfigBit(host.instance, 0)) == 0);
    const std::vector<std::uint8_t> half{0, 0, 0, 0x3F}; // 0.5f
    const std::wstring settings = CHost::SettingsFor(L"My effect", CLSID_TestEffect, half);
    module.ShowConfigBit(host.instance, nullptr, 3, 4, settings.c_str());
    CHECK(effects.Calls(Place::Run) == 1);
    CHECK(effects.Plan().gain == 0.5f);
    const std::wstring first = module.RemoveConfigBit(host.instance, 1);
    CHECK(first == settings);
    effects.Plan().gain = 0.25f; // the user moves a slider
    CHECK(module.RemoveConfigBit(host.instance, DSP_CODE_STORED_SETTINGS) == first);
    CHECK(std::wstring(module.RemoveConfigBit(host.instance, 0)).substr(51, 8) == L"0000803E");
    effects.Plan().place = Place::Save;
    effects.Plan().fault = Fault::Fail;
    effects.Plan().nth = effects.Calls(Place::Save) + 1;
    CHECK(std::wstring(module.RemoveConfigBit(host.instance, 0)) ==
          CHost::SettingsFor(L"My effect", CLSID_TestEffect));
    CHECK(host.errors.Take().empty());
}

TEST_CASE("a settings text without a connectable effect is an error of the panel call, an undecodable one is "
          "none") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    const GUID none{};
    const GUID unknown{1, 2, 3, {4}};
    for (const std::wstring& settings : {CHost::SettingsFor(L"x", unknown), CHost::SettingsFor(L"x", none),
             std::wstring(L"x=X0011"), CHost::SettingsFor(L"x", CLSID_TestEffect).substr(0, 41)}) {
        CHECK(module.ShowConfigBit(host.instance, nullptr, 0, 0, settings.c_str()) == nullptr);
        CHECK(host.errors.Take().ends_with(L"Error: Connect to DirectX PlugIn  [clDSP::ShowConfigBit]\r\n"));
    }
    module.ShowConfigBit(host.instance, nullptr, 0, 0, CHost::SettingsFor(L"x", CLSID_TestEffect).c_str());
    for (const wchar_t* settings :
        {L"", L"x", L"x=X", L"x=X0", L"x=Xab", static_cast<const wchar_t*>(nullptr)})
        module.ShowConfigBit(host.instance, nullptr, 0, 0, settings);
    CHECK(host.errors.Take().empty());
    CHECK(std::wcslen(module.RemoveConfigBit(host.instance, 0)) > 0); // the effect from before is still there
}
