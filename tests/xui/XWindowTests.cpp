#include "tests/xui/stage.h"
#include "xui/CWindowRegistry.h"

#include <doctest/doctest.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace {

constexpr WORD kDialogTemplate = 900;

/// Notes which operation ran with which arguments.
class CProbe : public XWindow {
public:
    CProbe() { CreateFromTemplate(kDialogTemplate, nullptr, FALSE, nullptr); }
    ~CProbe() override { DestroyNativeWindow(); }
    std::string notes;
    bool leaves = false; // each message to the system
    bool hookHandles = false;

    void Note(const char* format, ...) {
        char text[200];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        notes += std::string(notes.empty() ? "" : "; ") + text;
        m_handled = leaves ? FALSE : m_handled;
    }
    // clang-format off
    void OnActivate(HWND other, bool minimised, UINT state) override { Note("activate %p %d %u", other, minimised, state); }
    void OnDeactivate(HWND other, bool minimised) override { Note("deactivate %p %d", other, minimised); }
    void OnContextMenu(HWND window, int x, int y) override { Note("context %p %d %d", window, x, y); }
    void OnCommand(UINT id, HWND control, UINT code) override { Note("command %u %p %u", id, control, code); }
    void OnDrawItem(HWND control, UINT id, const DRAWITEMSTRUCT* item) override { Note("draw %p %u %u", control, id, item->itemState); }
    void OnEraseBackground(HDC dc) override { Note("erase %p", dc); }
    void OnHide(LPARAM status) override { Note("hide %ld", status); }
    void OnShow(LPARAM status) override { Note("show %ld", status); }
    void OnMouseDown(int x, int y, UINT message, WPARAM keys) override { Note("down %d %d %x %u", x, y, message, keys); }
    void OnMouseDoubleClick(int x, int y, UINT message, WPARAM keys) override { Note("double %d %d %x %u", x, y, message, keys); }
    void OnMouseWheel(int x, int y, int delta, UINT keys) override { Note("wheel %d %d %d %u", x, y, delta, keys); }
    // The message that a handler causes changes nothing of its own.
    LRESULT OnNotify(NMHDR* notification) override { ::SendMessageW(Window(), WM_APP, 0, 0); Note("notify %u", notification->code); return 55; }
    void OnSize(int width, int height, WPARAM type) override { Note("size %d %d %u", width, height, type); }
    void OnTimer(UINT id, std::uint32_t userValue) override { Note("timer %u %u", id, userValue); }
    HBRUSH OnCtlColorStatic() override { Note("static"); return reinterpret_cast<HBRUSH>(66); }
    void OnIdOk() override { Note("ok"); }
    LRESULT OnMessage(HWND, UINT, WPARAM, LPARAM, BOOL* handled) override { return *handled = hookHandles, 44; }
    // clang-format on
};

DRAWITEMSTRUCT g_drawItem{ODT_BUTTON, 108, 0, 0, ODS_FOCUS, reinterpret_cast<HWND>(9), nullptr, {}, 0};
NMHDR g_notification{nullptr, 0, 123};

struct Row {
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    const char* notes;
    // What the dialog procedure answers when the operation keeps the message, and when it leaves it.
    INT_PTR kept = 1;
    INT_PTR left = 0;
    LRESULT result = 0; // of a message that was kept
};

const Row kRows[] = {
    {WM_ACTIVATE, MAKEWPARAM(2, 1), 7, "activate 00000007 1 2"},
    {WM_ACTIVATE, MAKEWPARAM(0, 1), 7, "deactivate 00000007 1"},
    {WM_CONTEXTMENU, 5, MAKELPARAM(-1, -2), "context 00000005 -1 -2"},
    {WM_COMMAND, IDOK, 6, "ok; command 1 00000006 0"},
    {WM_COMMAND, MAKEWPARAM(IDOK, 1), 0, "command 1 00000000 1"},
    {WM_DRAWITEM, 108, reinterpret_cast<LPARAM>(&g_drawItem), "draw 00000009 108 16"},
    {WM_ERASEBKGND, 8, 0, "erase 00000008", 1, 0, 1},
    {WM_SHOWWINDOW, 0, 3, "hide 3"},
    {WM_SHOWWINDOW, 1, 3, "show 3"},
    {WM_RBUTTONDOWN, 2, MAKELPARAM(-3, 4), "down -3 4 204 2"},
    {WM_MBUTTONDBLCLK, 1, MAKELPARAM(3, -4), "double 3 -4 209 1"},
    {WM_MOUSEWHEEL, MAKEWPARAM(8, -120), MAKELPARAM(-3, 4), "wheel -3 4 -120 8"},
    {WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&g_notification), "notify 123", 1, 0, 55},
    {WM_SIZE, 2, MAKELPARAM(40000, 5), "size 40000 5 2"},
    {WM_TIMER, 9, 0, "timer 9 77"},
    {WM_TIMER, 10, 0, "", 1, 1},
    {WM_CTLCOLORSTATIC, 0, 0, "static", 66, 0},
    {WM_APP, 0, 0, "", 0, 0},
};

} // namespace

TEST_CASE("each message reaches its operation, and what is left goes to the system") {
    CProbe probe;
    REQUIRE(probe.AddTimer(100000, 77, 9) == 9);
    const auto procedure = reinterpret_cast<WNDPROC>(::GetWindowLongW(probe.Window(), DWLP_DLGPROC));
    for (const Row& row : kRows) {
        CAPTURE(row.message);
        CAPTURE(row.wParam);
        const auto send = [&](bool leaves, bool hookHandles) {
            probe.notes.clear();
            probe.leaves = leaves;
            probe.hookHandles = hookHandles;
            ::SetWindowLongW(probe.Window(), DWLP_MSGRESULT, 99);
            return procedure(probe.Window(), row.message, row.wParam, row.lParam);
        };
        CHECK(send(false, false) == row.kept);
        CHECK(probe.notes == row.notes);
        if (row.kept <= 1) // else it is read from the procedure's own result
            CHECK(::GetWindowLongW(probe.Window(), DWLP_MSGRESULT) == row.result);
        CHECK(send(true, false) == row.left);
        CHECK(send(false, true) == 1);
        CHECK(probe.notes.empty());
        CHECK(::GetWindowLongW(probe.Window(), DWLP_MSGRESULT) == 44);
    }
}

TEST_CASE("a handler may fail, and may destroy its object") {
    struct CPlain : CForm {
        int commands = 0;
        void OnCommand(UINT id, HWND, UINT) override {
            if (++commands; id == 501)
                throw 1;
            delete this;
        }
    };
    auto* const window = new CPlain;
    const HWND handle = window->Window();
    CHECK(::SendMessageW(handle, WM_GETTEXTLENGTH, 0, 0) == 4); // left to the system
    ::SendMessageW(handle, WM_COMMAND, 501, 0);
    CHECK(window->commands == 1);
    ::SendMessageW(handle, WM_COMMAND, 500, 0);
    CHECK_FALSE(::IsWindow(handle));
}

TEST_CASE("making a window again replaces the first and its class") {
    CForm form;
    const HWND first = form.Window();
    wchar_t name[64] = L"";
    WNDCLASSEXW description{};
    description.cbSize = sizeof(description);
    ::GetClassNameW(first, name, 64);
    CHECK(::GetClassInfoExW(::GetModuleHandleW(nullptr), name, &description));
    form.CreateNativeWindow(L"", 0, 0, 50, 50, WS_POPUP, 0, nullptr, 0, nullptr, nullptr);
    CHECK_FALSE(::IsWindow(first));
    CHECK_FALSE(::GetClassInfoExW(::GetModuleHandleW(nullptr), name, &description));
    CHECK(CWindowRegistry::Instance().Find(first) == nullptr);
    CHECK(CWindowRegistry::Instance().Find(form.Window()) == &form);
    ::SendMessageW(form.Window(), WM_CLOSE, 0, 0); // the window goes, the object only learns of it
    CHECK_FALSE(form.IsWindowAlive());
    form.DestroyNativeWindow();
    CHECK(form.Window() == nullptr);
}

TEST_CASE("timers take the next id and may change the list while one fires") {
    struct CTimed : CForm {
        std::uint32_t fired = 0;
        void OnTimer(UINT id, std::uint32_t userValue) override {
            fired = userValue;
            RemoveTimer(id);
            AddTimer(100000, 5, 20);
        }
    };
    CTimed window;
    CHECK(window.AddTimer(100000, 1) == 1);
    CHECK(window.AddTimer(100000, 2, 7) == 7);
    CHECK(window.AddTimer(1, 42) == 8);
    CHECK(PumpUntil([&] { return window.fired == 42; }));
    CHECK(window.AddTimer(100000, 1) == 21);
    window.fired = 0;
    ::SendMessageW(window.Window(), WM_TIMER, 8, 0); // has been removed
    CHECK(window.fired == 0);
}

TEST_CASE("lengths: kept, centred, scaled towards zero, in dialog units") {
    CForm form;
    CProbe dialog;
    RECT around{};
    RECT rect{};
    form.MoveTo(210, XWindow::kKeep, 120, XWindow::kKeep);
    ::GetWindowRect(form.Window(), &rect);
    CHECK((rect.left == 210 && rect.top == 200 && rect.right == 330 && rect.bottom == 400));
    form.CentreOver(dialog.Window());
    ::GetWindowRect(dialog.Window(), &around);
    ::GetWindowRect(form.Window(), &rect);
    CHECK(rect.left == around.left + (around.right - around.left) / 2 - 60);
    CHECK(rect.bottom - rect.top == form.GetHeight());
    CHECK(XWindow::ScaleForDpi(10, 144) == 15);
    CHECK(XWindow::ScaleForDpi(-3, 120) == -3);
    RECT units{0, 0, 1000, 1000};
    ::MapDialogRect(dialog.Window(), &units);
    CHECK(dialog.DesignToDialogX(-37) == units.right * -37 / 1500);
    CHECK(dialog.DesignToDialogY(250) == units.bottom * 250 / 1625);
    CHECK(form.DialogUnitsToPixelsX(7) == 0); // no dialog
}
