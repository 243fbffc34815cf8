#include "tests/dxconv/CInstalledEcho.h"
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
        CHECK(StoredBlob() ==
              Le(1, 4) + Le(0x4C046BDBA7ADE361, 8) + Le(0xEA505B225FC88EBA, 8) + Le(4, 4) + "Echo");

        run = RunDxconv({"check", "echo"});
        CHECK(run.code == 0);
        CHECK(run.out.find("  property pages        1\n") != run.out.npos);
        CHECK(run.out.find("  saved state           20 bytes\n") != run.out.npos);
        CHECK(run.out.ends_with("usable\n"));
        run = RunDxconv({"check", "SampleGrabber"});
        CHECK(run.code == 5);
        CHECK(run.err == "dxconv: SampleGrabber: refused: it has no property page; choose another effect\n");
    }
    const std::string cut = StoredBlob().substr(0, 20);
    ::RegSetKeyValueW(
        HKEY_CURRENT_USER, kKey, L"DXList", REG_BINARY, cut.data(), static_cast<DWORD>(cut.size()));
    run = RunDxconv({"list"});
    CHECK(run.code == 5);
    CHECK(run.err.find("dxconv: list: the stored list is damaged") == 0);
    RunDxconv({"scan", "--headless"});
    CHECK(StoredBlob() == Le(0, 4)); // Echo is gone
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
    ::CoUninitialize();
}
