#include "dxconv/code_file.h"
#include "dxconv/installed_class.h"
#include "dxconv/nearest_name.h"
#include "dxconv/shown_path.h"
#include "tests/dxconv/CInstalledEcho.h"
#include "tests/dxconv/fixture.h"

namespace {

std::wstring Environment(const wchar_t* variable) {
    wchar_t value[MAX_PATH] = {};
    ::GetEnvironmentVariableW(variable, value, ARRAYSIZE(value));
    return value;
}

// The head of an executable image, as far as it is looked at.
std::string Image(unsigned machine, unsigned magic, unsigned flags) {
    return "MZ" + std::string(58, '\0') + Le(64, 4) + "PE" + Le(0, 2) + Le(machine, 2) +
           std::string(14, '\0') + Le(0xE0, 2) + Le(flags, 2) + Le(magic, 4);
}

constexpr unsigned kDll = 0x2002;

} // namespace

TEST_CASE("what is wrong with how a class is installed is told from its files and registry views") {
    const CTestFolder folder;
    const std::string dll = Image(0x14C, 0x10B, kDll);
    const std::pair<std::string, std::string> files[] = {{dll, ""},
        {Image(0x8664, 0x20B, kDll), "a 64-bit DLL"}, {Image(0xAA64, 0x20B, kDll), "a 64-bit DLL"},
        {Image(0x1C4, 0x10B, kDll), "a DLL for another processor"},
        {Image(0x14C, 0x10B, 2), "a program instead of a DLL"}, {"", "a file that is no DLL"},
        {dll.substr(0, 91), "a file that is no DLL"}, {"ZM" + dll.substr(2), "a file that is no DLL"},
        {"MZ" + std::string(58, '\0') + "\xFF\xFF\xFF\xFF", "a file that is no DLL"}};
    const std::string name = folder.Path("effect.dll");
    const std::wstring path = FullPath(name);
    const auto problem = [&] { return InstallationProblem({path, L"C:\\wide.dll"}); };
    CHECK(problem() == "is registered with a file that is missing: " + Utf8(path));
    for (const auto& [content, what] : files) {
        folder.Put("effect.dll", content);
        CHECK(problem() == (what.empty() ? "" : "is registered with " + what + ": " + Utf8(path)));
    }
    const CKernelHandle held = OpenHandle(path, GENERIC_READ, 0, OPEN_EXISTING, 0);
    CHECK(InspectCodeFile(path) == CodeFile::Unreadable);
    CHECK(InstallationProblem({std::nullopt, L"C:\\wide.dll"})
              .starts_with("is installed as a 64-bit class only; "));
    CHECK(InstallationProblem(ClassServers{}) == "");
}

TEST_CASE("a slip of the keyboard finds the name that was meant, another name none") {
    const std::vector<std::wstring> names{L"Echo", L"Caf\u00E9 Reverb", L"EQ", L"Echoes"};
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"Ecoh", L"Echo"}, {L"ehco", L"Echo"},
        {L"ECHOO", L"Echo"}, {L"cho", L"Echo"}, {L"echos", L"Echo"}, {L"Echose", L"Echoes"},
        {L"caf\u00C9reverv", L"Caf\u00E9 Reverb"}, {L"Choir", L""}, {L"E", L""}, {L"EX", L""}, {L"", L""}};
    for (const auto& [wanted, expected] : cases)
        CHECK_MESSAGE(NearestName(wanted, names) == expected, Utf8(wanted));
}

TEST_CASE("a path that is shown names no user and no machine") {
    const std::wstring profile = Environment(L"USERPROFILE"), own = OwnFolder();
    const std::pair<std::wstring, std::string> cases[] = {{own + L"x.dll", ".\\x.dll"},
        {own + L"kim\\x.dll", "...\\x.dll"}, {profile + L"\\a\\x.dll", "%USERPROFILE%\\a\\x.dll"},
        {profile + L"\\Temp\\", "%USERPROFILE%\\Temp"}, {profile + L"kim\\x.dll", "...\\x.dll"},
        {Environment(L"SystemRoot") + L"\\system32\\x.ax", "%SystemRoot%\\system32\\x.ax"},
        {L"\\\\kims-pc\\share\\x.dll", "...\\x.dll"}, {L"C:\\kim\\x.dll", "...\\x.dll"}};
    for (const auto& [path, shown] : cases)
        CHECK(ShownPath(path) == shown);
}

TEST_CASE("doctor finds what is broken, says what to do, and names no user") {
    constexpr wchar_t kKey[] = L"Software\\Orvelle\\DXWrapper";
    constexpr wchar_t kGraph[] = L"CLSID\\{E436EBB3-524F-11CE-9F53-0020AF0BA770}\\InprocServer32";
    const CTestFolder folder;
    const std::string junk = folder.Put("junk.dll", "junk");
    const auto check = [&](std::vector<std::string> arguments, unsigned long code,
                           const std::vector<std::string>& lines) {
        arguments.insert(arguments.begin(), "doctor");
        const RunResult run = RunDxconv(arguments);
        INFO(run.out, run.err);
        CHECK(run.code == code);
        CHECK((run.err == "") == (code == 0));
        CHECK((code == 0 || run.err.ends_with(" failed; do what the lines with FAIL say\n")));
        for (const std::string& line : lines)
            CHECK_MESSAGE(run.out.find(line) != run.out.npos, line);
        for (const std::wstring& personal :
            {Environment(L"USERNAME"), OwnFolder(), Environment(L"USERPROFILE")})
            CHECK(run.out.find(Utf8(personal)) == run.out.npos);
    };
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
    {
        const CInstalledEcho echo;
        check({}, 0,
            {"ok    module: .\\dxwrapper.dll is loaded, with all eleven functions\n",
                "ok    module audio: ", "ok    sample effect: Echo is installed\n",
                "warn  stored list: none yet; run 'dxconv scan'\n"});
        RunDxconv({"scan", "--headless"});
        check({"--json"}, 0,
            {R"({"result":"ok","what":"stored list","finding":"usable effects: 1","advice":null})"});
    }
    check({"--module", junk}, 1,
        {"\\junk.dll is a file that is no DLL; put the dxwrapper.dll of",
            "warn  stored list: 'Echo' is not installed any more; run 'dxconv scan'\n",
            "warn  sample effect: Echo is not installed; "});
    check({"--module", "fake_module.dll", "--json"}, 1,
        {R"({"ok":false,)", R"({"result":"FAIL","what":"module version","finding":"none, this)"});
    check({"--module", "hostile_effect.dll"}, 1,
        {"FAIL  module: is not a DSP module (a function is missing); "});
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"DXList", REG_BINARY, "\1\0\0\0", 4);
    check({}, 1, {"FAIL  stored list: is damaged; run 'dxconv scan'\n"});
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);

    wchar_t quartz[MAX_PATH] = {};
    DWORD bytes = sizeof quartz;
    REQUIRE(::RegGetValueW(HKEY_CLASSES_ROOT, kGraph, nullptr, RRF_RT_REG_SZ, nullptr, quartz, &bytes) == 0);
    ::RegSetKeyValueW(HKEY_CLASSES_ROOT, kGraph, nullptr, REG_SZ, L"C:\\no.dll", 20);
    check(
        {}, 1, {"FAIL  graph manager: cannot be created (0x", "run 'regsvr32 quartz.dll' as administrator"});
    ::RegSetKeyValueW(HKEY_CLASSES_ROOT, kGraph, nullptr, REG_SZ, quartz, bytes);
}
