#include "resources/resource.h"
#include "tests/dxconv/CInstalledEcho.h"
#include "tests/dxconv/fixture.h"

namespace {

constexpr wchar_t kKey[] = L"Software\\Orvelle\\DXWrapper";
const std::string kClass = "Echo=X61E3ADA7DB6B044CBA8EC85F225B50EA";
const std::string kStart = "14000000" + std::string("4563686F01000000"); // 20 bytes, "Echo", version 1
const std::string kDefault = kClass + kStart + "FA0000002800000023000000";
const std::string kOther = kClass + kStart + "070000005F00000064000000";

HWND FocusIn(HWND window) {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    ::GetGUIThreadInfo(::GetWindowThreadProcessId(window, nullptr), &info);
    return info.hwndFocus;
}

// Runs `dxconv panel`, waits for its panel, uses it and closes its window as the close box does.
RunResult RunPanel(
    std::vector<std::string> arguments, const std::function<void(HWND window, HWND effects)>& use) {
    arguments.insert(arguments.begin(), "panel");
    return RunDxconv(arguments, "", [&] {
        HWND window = nullptr, effects = nullptr;
        CHECK(Soon([&] {
            window = ::FindWindowW(nullptr, L"dxconv: effect settings");
            effects = ::GetDlgItem(::GetWindow(window, GW_CHILD), IDC_EFFECTS);
            return ::SendMessageW(effects, CB_GETCOUNT, 0, 0) == 1;
        }));
        use(window, effects);
        ::PostMessageW(window, WM_CLOSE, 0, 0);
    });
}

void Pick(HWND effects, WPARAM position) {
    ::SendMessageW(effects, CB_SETCURSEL, position, 0);
    ::SendMessageW(::GetParent(effects), WM_COMMAND, MAKEWPARAM(IDC_EFFECTS, CBN_SELCHANGE),
        reinterpret_cast<LPARAM>(effects));
}

} // namespace

TEST_CASE("the panel's window fits the panel, takes keys, and gives effect and state to file and output") {
    const CTestFolder folder;
    const std::string name = "caf\xC3\xA9.txt", file = folder.Path(name);
    const std::string in =
        folder.Put("in.wav", Riff(Chunk("fmt ", Format(1, 2, 16)) + Chunk("data", Noise(4000))));
    {
        const CInstalledEcho echo;
        RunDxconv({"scan", "--headless"});
        RunResult run = RunPanel({"--settings-file", file}, [](HWND window, HWND effects) {
            const HWND panel = ::GetParent(effects), first = ::GetDlgItem(panel, IDC_RESCAN);
            CHECK(Soon([&] {
                ::SetForegroundWindow(window); // a console window of its own may come up later than it
                return FocusIn(window) == first;
            }));
            RECT client{}, inner{};
            ::GetClientRect(window, &client);
            ::GetWindowRect(panel, &inner);
            CHECK(client.right - (inner.right - inner.left) == ::GetSystemMetrics(SM_CXSMICON));
            CHECK(client.bottom - (inner.bottom - inner.top) == ::GetSystemMetrics(SM_CYSMICON));
            for (const WPARAM key : {VK_ESCAPE, VK_TAB})
                ::PostMessageW(first, WM_KEYDOWN, key, 0);
            CHECK(Soon([&] { return FocusIn(window) == effects; }));
            Pick(effects, 0);
        });
        CHECK(run.code == 0);
        CHECK(run.err == "");
        CHECK(run.out == kDefault + "\n");
        CHECK(folder.Get(name) == run.out);

        const auto leave = [](HWND, HWND effects) {
            CHECK(Soon([&] { return ::SendMessageW(effects, CB_GETCURSEL, 0, 0) == 0; }));
        };
        const std::wstring utf16 = L"\xFEFF" + Wide(kOther + "\r\n");
        folder.Put(name, {reinterpret_cast<const char*>(utf16.data()), utf16.size() * sizeof(wchar_t)});
        CHECK(RunPanel({"--settings-file", file}, leave).out == kOther + "\n");
        CHECK(folder.Get(name) == kOther + "\n");
        CHECK(RunPanel({"--settings", kOther}, leave).out == kOther + "\n");

        const std::string converted = RunDxconv({"convert", in, "-", "--settings-file", file}).out;
        CHECK(converted.starts_with("RIFF"));
        CHECK(converted == RunDxconv({"convert", in, "-", "--settings", kOther}).out);
        CHECK(converted != RunDxconv({"convert", in, "-", "--settings", kDefault}).out);

        const CConsole console;
        run = RunPanel({"--settings-file", file}, [&](HWND window, HWND effects) {
            Pick(effects, 0); // the default state
            console.PressCtrlC();
            CHECK(Soon([&] { return !::IsWindow(window); }));
        });
        CHECK(run.code == 8);
        CHECK(run.out == "");
        CHECK(run.err.find(".txt: nothing was written: cancelled; ") != run.err.npos);
    }
    const RunResult run = RunPanel({"--settings-file", file}, [](HWND, HWND) {}); // Echo is gone
    CHECK(run.code == 5);
    CHECK(run.err.find("was not changed: the panel has no effect (Error: Connect to") != run.err.npos);
    CHECK(folder.Get(name) == kOther + "\n");
    CHECK(folder.Count() == 2);
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
}
