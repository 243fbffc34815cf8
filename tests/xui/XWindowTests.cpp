#include "tests/xui/pump.h"
#include "xui/CWindowRegistry.h"

#include <doctest/doctest.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace {

constexpr WORD kDialogTemplate = 900;

/// Notes which operation ran with which arguments. `leave`: call the base after it.
class CProbe : public XWindow {
public:
    CProbe() = default;
    ~CProbe() override { DestroyNativeWindow(); }
    std::string notes;
    bool leave = false;
    bool hookHandles = false;

    void Note(const char* format, ...) {
        char text[200];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        notes += std::string(notes.empty() ? "" : "; ") + text;
        if (leave)
            m_handled = FALSE;
    }
    static int Int(const void* handle) { return static_cast<int>(reinterpret_cast<INT_PTR>(handle)); }

    // clang-format off
    void OnActivate(HWND other, bool minimised, UINT state) override { Note("activate %d %d %u", Int(other), minimised, state); }
    void OnClose() override { Note("close"); }
    void OnContextMenu(HWND window, int x, int y) override { Note("context %d %d %d", Int(window), x, y); }
    void OnCommand(UINT id, HWND control, UINT code) override { Note("command %u %d %u", id, Int(control), code); }
    void OnCreate() override { Note("create"); }
    void OnDeactivate(HWND other, bool minimised) override { Note("deactivate %d %d", Int(other), minimised); }
    void OnDrawItem(HWND control, UINT id, const DRAWITEMSTRUCT* item) override { Note("draw %d %u %u", Int(control), id, item->itemState); }
    void OnEraseBackground(HDC dc) override { Note("erase %d", Int(dc)); }
    void OnHide(LPARAM status) override { Note("hide %ld", status); }
    void OnKeyDown(WPARAM key, LPARAM flags) override { Note("keydown %u %ld", key, flags); }
    void OnKeyUp(WPARAM key, LPARAM flags) override { Note("keyup %u %ld", key, flags); }
    void OnChar(WPARAM character) override { Note("char %u", character); }
    void OnMouseDown(int x, int y, UINT message, WPARAM keys) override { Note("down %d %d %x %u", x, y, message, keys); }
    void OnMouseDoubleClick(int x, int y, UINT message, WPARAM keys) override { Note("double %d %d %x %u", x, y, message, keys); }
    void OnMouseUp(int x, int y, UINT message, WPARAM keys) override { Note("up %d %d %x %u", x, y, message, keys); }
    void OnMouseMove(int x, int y, WPARAM keys) override { Note("mouse %d %d %u", x, y, keys); }
    void OnMouseWheel(int x, int y, int delta, UINT keys) override { Note("wheel %d %d %d %u", x, y, delta, keys); }
    void OnMove(int x, int y) override { Note("move %d %d", x, y); }
    LRESULT OnNotify(NMHDR* notification) override { Note("notify %u", notification->code); return 55; }
    void OnPaint() override { Note("paint"); }
    void OnShow(LPARAM status) override { Note("show %ld", status); }
    void OnSize(int width, int height, WPARAM type) override { Note("size %d %d %u", width, height, type); }
    void OnSysCommand(WPARAM command) override { Note("sys %x", command); }
    void OnTimer(UINT id, std::uint32_t userValue) override { Note("timer %u %u", id, userValue); }
    HBRUSH OnCtlColorStatic() override { Note("static"); return reinterpret_cast<HBRUSH>(66); }
    HBRUSH OnCtlColorDialog() override { Note("dialog"); return reinterpret_cast<HBRUSH>(67); }
    void OnIdOk() override { Note("ok"); }
    void OnIdCancel() override { Note("cancel"); }
    void OnIdAbort() override { Note("abort"); }
    void OnIdClose() override { Note("id close"); }
    void OnIdHelp() override { Note("help"); }
    void OnIdIgnore() override { Note("ignore"); }
    void OnIdNo() override { Note("no"); }
    void OnIdRetry() override { Note("retry"); }
    void OnIdYes() override { Note("yes"); }
    LRESULT OnMessage(HWND, UINT, WPARAM, LPARAM, BOOL* handled) override { return *handled = hookHandles, hookHandles ? 44 : 0; }
    // clang-format on
};

struct Row {
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    const char* notes;
    // What a dialog procedure answers when the operation keeps the message, and when it leaves it.
    INT_PTR kept;
    INT_PTR left;
    LRESULT result = 0; // DWLP_MSGRESULT when kept
};

DRAWITEMSTRUCT g_drawItem{ODT_BUTTON, 108, 0, 0, ODS_FOCUS, reinterpret_cast<HWND>(9), nullptr, {}, 0};
NMHDR g_notification{nullptr, 0, 123};

const Row kRows[] = {
    {WM_ACTIVATE, MAKEWPARAM(2, 1), 7, "activate 7 1 2", 1, 0},
    {WM_ACTIVATE, MAKEWPARAM(0, 1), 7, "deactivate 7 1", 1, 0},
    {WM_CLOSE, 0, 0, "close", 1, 0},
    {WM_CONTEXTMENU, 5, MAKELPARAM(-1, -2), "context 5 -1 -2", 1, 0},
    {WM_COMMAND, MAKEWPARAM(1, 0), 6, "ok; command 1 6 0", 1, 0},
    {WM_COMMAND, 2, 0, "cancel; command 2 0 0", 1, 0},
    {WM_COMMAND, 3, 0, "abort; command 3 0 0", 1, 0},
    {WM_COMMAND, 4, 0, "retry; command 4 0 0", 1, 0},
    {WM_COMMAND, 5, 0, "ignore; command 5 0 0", 1, 0},
    {WM_COMMAND, 6, 0, "yes; command 6 0 0", 1, 0},
    {WM_COMMAND, 7, 0, "no; command 7 0 0", 1, 0},
    {WM_COMMAND, 8, 0, "id close; command 8 0 0", 1, 0},
    {WM_COMMAND, 9, 0, "help; command 9 0 0", 1, 0},
    {WM_COMMAND, MAKEWPARAM(5, 1), 0, "command 5 0 1", 1, 0},
    {WM_CREATE, 0, 0, "create", 1, 1},
    {WM_DRAWITEM, 108, reinterpret_cast<LPARAM>(&g_drawItem), "draw 9 108 16", 1, 0},
    {WM_ERASEBKGND, 8, 0, "erase 8", 1, 0, 1},
    {WM_SHOWWINDOW, 0, 3, "hide 3", 1, 0},
    {WM_SHOWWINDOW, 1, 3, "show 3", 1, 0},
    {WM_KEYDOWN, 65, 2, "keydown 65 2", 1, 0},
    {WM_KEYUP, 65, 2, "keyup 65 2", 1, 0},
    {WM_CHAR, 65, 0, "char 65", 1, 0},
    {WM_RBUTTONDOWN, 2, MAKELPARAM(-3, 4), "down -3 4 204 2", 1, 0},
    {WM_MBUTTONDBLCLK, 1, MAKELPARAM(3, -4), "double 3 -4 209 1", 1, 0},
    {WM_LBUTTONUP, 1, MAKELPARAM(3, 4), "up 3 4 202 1", 1, 0},
    {WM_MOUSEMOVE, 1, MAKELPARAM(-3, 4), "mouse -3 4 1", 1, 0},
    {WM_MOUSEWHEEL, MAKEWPARAM(8, -120), MAKELPARAM(-3, 4), "wheel -3 4 -120 8", 1, 0},
    {WM_MOVE, 0, MAKELPARAM(-3, 4), "move -3 4", 1, 0},
    {WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&g_notification), "notify 123", 1, 0, 55},
    {WM_PAINT, 0, 0, "paint", 0, 0},
    {WM_SIZE, 2, MAKELPARAM(40000, 5), "size 40000 5 2", 1, 0},
    {WM_SYSCOMMAND, SC_CLOSE | 5, 0, "sys f060", 0, 0},
    {WM_TIMER, 9, 0, "timer 9 77", 1, 0},
    {WM_TIMER, 10, 0, "", 1, 1},
    {WM_CTLCOLORSTATIC, 0, 0, "static", 66, 0},
    {WM_CTLCOLORDLG, 0, 0, "dialog", 67, 0},
    {WM_APP, 0, 0, "", 0, 0},
};

} // namespace

TEST_CASE("each message reaches its operation, and what is left goes to the system") {
    CProbe probe;
    REQUIRE(probe.CreateFromTemplate(kDialogTemplate, nullptr, FALSE, nullptr) == 1);
    CHECK(CWindowRegistry::Instance().Find(probe.Window()) == &probe);
    REQUIRE(probe.AddTimer(100000, 77, 9) == 9);
    const auto procedure = reinterpret_cast<WNDPROC>(::GetWindowLongW(probe.Window(), DWLP_DLGPROC));
    const auto send = [&](const Row& row) {
        probe.notes.clear();
        ::SetWindowLongW(probe.Window(), DWLP_MSGRESULT, 99);
        return procedure(probe.Window(), row.message, row.wParam, row.lParam);
    };
    for (const Row& row : kRows) {
        CAPTURE(row.message);
        CAPTURE(row.notes);
        probe.leave = false;
        const bool direct = row.kept > 1; // read from the procedure's own result
        const bool rebinds = row.message == WM_CREATE;
        CHECK(send(row) == row.kept);
        CHECK(probe.notes == row.notes);
        CHECK(::GetWindowLongW(probe.Window(), DWLP_MSGRESULT) == (direct ? 99 : row.result));
        probe.leave = true;
        CHECK(send(row) == row.left);
        if (!rebinds && row.message != WM_NOTIFY)
            CHECK(::GetWindowLongW(probe.Window(), DWLP_MSGRESULT) == 0);
        probe.hookHandles = true;
        CHECK(send(row) == 1);
        CHECK(probe.notes.empty());
        CHECK(::GetWindowLongW(probe.Window(), DWLP_MSGRESULT) == 44);
        probe.hookHandles = false;
    }
}

TEST_CASE("a plain window answers what was handled and leaves the rest to the system") {
    struct CPlain : XWindow {
        int commands = 0;
        ~CPlain() override { DestroyNativeWindow(); }
        // The messages that a handler causes do not change what becomes of its own.
        void OnCommand(UINT id, HWND, UINT) override {
            ++commands;
            if (id == 500)
                delete this;
            else if (id != 501)
                ::SendMessageW(Window(), WM_APP, 0, 0);
            else
                throw 1;
        }
        LRESULT OnMessage(HWND, UINT message, WPARAM, LPARAM, BOOL* handled) override {
            return *handled = message == WM_APP + 1, 44;
        }
    };
    auto* const window = new CPlain;
    window->CreateNativeWindow(L"title", 10, 20, 110, 70, WS_POPUP, 0, nullptr, 0, nullptr, nullptr);
    const HWND handle = window->Window();
    CHECK(::SendMessageW(handle, WM_APP + 1, 0, 0) == 44);
    CHECK(::SendMessageW(handle, WM_GETTEXTLENGTH, 0, 0) == 5);
    CHECK(::SendMessageW(handle, WM_TIMER, 3, 0) == 0);
    ::SendMessageW(handle, WM_COMMAND, 501, 0); // a failure ends with its message
    ::SendMessageW(handle, WM_COMMAND, 20, 0);
    CHECK(window->commands == 2);
    ::SendMessageW(handle, WM_COMMAND, 500, 0);
    CHECK_FALSE(::IsWindow(handle));
}

TEST_CASE("making a window again replaces the first and its class") {
    CForm form;
    const HWND first = form.Window();
    wchar_t name[64] = L"";
    ::GetClassNameW(first, name, 64);
    WNDCLASSEXW description{};
    description.cbSize = sizeof(description);
    CHECK(std::wstring(name).starts_with(L"XWnd"));
    CHECK(::GetClassInfoExW(::GetModuleHandleW(nullptr), name, &description));
    form.CreateNativeWindow(L"", 0, 0, 50, 50, WS_POPUP, 0, nullptr, 0, nullptr, nullptr);
    CHECK_FALSE(::IsWindow(first));
    CHECK_FALSE(::GetClassInfoExW(::GetModuleHandleW(nullptr), name, &description));
    CHECK(CWindowRegistry::Instance().Find(first) == nullptr);
    CHECK(CWindowRegistry::Instance().Find(form.Window()) == &form);

    ::SendMessageW(form.Window(), WM_CLOSE, 0, 0); // the window goes, the object only learns of it
    CHECK_FALSE(form.IsWindowAlive());
    form.DestroyNativeWindow();
    form.DestroyNativeWindow();
    CHECK(form.Window() == nullptr);
}

TEST_CASE("timers take the next id and may change the list while one fires") {
    struct CTimed : CForm {
        std::uint32_t fired = 0;
        ~CTimed() override { DestroyNativeWindow(); }
        void OnTimer(UINT id, std::uint32_t userValue) override {
            fired = userValue;
            RemoveTimer(id);
            CHECK(AddTimer(100000, 5, 20) == 20);
        }
    };
    CTimed window;
    CHECK(window.AddTimer(100000, 1) == 1);
    CHECK(window.AddTimer(100000, 2, 7) == 7);
    CHECK(window.AddTimer(1, 42) == 8);
    CHECK(PumpUntil([&] { return window.fired == 42; }));
    CHECK(window.AddTimer(100000, 1) == 21);
    window.fired = 0;
    ::SendMessageW(window.Window(), WM_TIMER, 8, 0);
    CHECK(window.fired == 0);
    window.DestroyNativeWindow();
    CHECK(window.AddTimer(1, 1) == 0);
}

TEST_CASE("lengths: kept, centred, scaled towards zero, in dialog units") {
    CForm form;
    form.MoveTo(XWindow::kKeep, XWindow::kKeep, 120, XWindow::kKeep);
    RECT rect{};
    ::GetWindowRect(form.Window(), &rect);
    CHECK(::EqualRect(&rect, std::array{RECT{200, 200, 320, 400}}.data()));
    CProbe dialog;
    dialog.CreateFromTemplate(kDialogTemplate, nullptr, FALSE, nullptr);
    form.CentreOver(dialog.Window());
    RECT around{};
    ::GetWindowRect(dialog.Window(), &around);
    ::GetWindowRect(form.Window(), &rect);
    CHECK(rect.left == around.left + (around.right - around.left) / 2 - 60);
    CHECK(rect.bottom - rect.top == form.GetHeight());

    CHECK(XWindow::ScaleForDpi(10, 144) == 15);
    CHECK(XWindow::ScaleForDpi(-3, 120) == -3);
    RECT units{7, 9, 1000, 1000};
    ::MapDialogRect(dialog.Window(), &units);
    CHECK(dialog.DialogUnitsToPixelsX(7) == units.left);
    CHECK(dialog.DialogUnitsToPixelsY(9) == units.top);
    CHECK(dialog.DesignToDialogX(-37) == units.right * -37 / 1500);
    CHECK(dialog.DesignToDialogY(250) == units.bottom * 250 / 1625);
    CHECK(form.DialogUnitsToPixelsX(7) == 0); // no dialog
}
