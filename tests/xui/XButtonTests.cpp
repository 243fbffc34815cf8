#include "tests/xui/stage.h"
#include "xui/XButton.h"
#include "xui/XReturnKey.h"
#include "xui/XToolTipHelper.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <set>
#include <vector>

namespace {

constexpr WORD kDialogTemplate = 900;
constexpr WORD kMenu = 901;
constexpr UINT kMenuItem = 77;
constexpr UINT kNativeButton = 902;
constexpr WORD kButtonId = 108;

class CCountingButton : public XButton {
public:
    int clicks = 0;
    int presses = 0;
    void OnClick(std::uint32_t) override { ++clicks; }
    void OnPress(std::uint32_t) override { ++presses; }
};

/// A dialog with a default button, a native one and a toolkit button, wired as a form does it.
class CDialog : public XWindow {
public:
    CDialog() {
        CreateFromTemplate(kDialogTemplate, nullptr, FALSE, nullptr);
        helper.Attach(Window());
        button.Create(Window(), kButtonId, L"?", 100, 0, 24, 24, kColours, L"Help", L"Opens the help page");
        helper.Register(button);
    }
    ~CDialog() override { DestroyNativeWindow(); }
    LRESULT OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) override {
        return helper.OnMessage(window, message, wParam, lParam, handled);
    }
    void OnDestroy() override { helper.Detach(); }
    void OnCommand(UINT id, HWND, UINT) override { lastCommand = id; }

    /// As the message loop of a dialog does it.
    void Key(HWND control, UINT message, WPARAM key) {
        MSG posted{control, message, key, 1, 0, {}};
        if (!::IsDialogMessageW(Window(), &posted))
            ::DispatchMessageW(&posted);
    }

    XToolTipHelper helper;
    CCountingButton button;
    UINT lastCommand = 0;
};

std::vector<COLORREF> Pixels(XButton& button, UINT itemState) {
    constexpr int kSize = 24;
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), kSize, kSize, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    const HDC dc = ::CreateCompatibleDC(nullptr);
    const HBITMAP bitmap = ::CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    const HGDIOBJ old = ::SelectObject(dc, bitmap);
    button.Draw(
        {ODT_BUTTON, kButtonId, 0, ODA_DRAWENTIRE, itemState, button.Control(), dc, {0, 0, kSize, kSize}, 0});
    ::GdiFlush();
    const auto* const first = static_cast<const COLORREF*>(bits);
    std::vector<COLORREF> pixels(first, first + kSize * kSize);
    ::SelectObject(dc, old);
    ::DeleteObject(bitmap);
    ::DeleteDC(dc);
    return pixels;
}

} // namespace

TEST_CASE("a subclassed control gets its procedure back, one that goes is let go") {
    CForm form;
    const LONG before = ::GetWindowLongW(form.Window(), GWLP_WNDPROC);
    XSubClassCtrl control;
    control.Attach(form.Window());
    CHECK(XSubClassCtrl::Attached(form.Window()) == &control);
    CHECK(::SendMessageW(form.Window(), WM_GETTEXTLENGTH, 0, 0) == 4); // goes on to the window
    control.Detach();
    CHECK(::GetWindowLongW(form.Window(), GWLP_WNDPROC) == before);
    CHECK(::GetWindowLongW(form.Window(), GWLP_USERDATA) == 0);
    control.Attach(form.Window());
    form.DestroyNativeWindow();
    CHECK(control.Control() == nullptr);
}

TEST_CASE("return and space press on the way down and click on the way up, never the default button") {
    CDialog dialog;
    CCountingButton& button = dialog.button;
    const HWND native = dialog.GetItem(kNativeButton);
    XReturnKey returnKey;
    returnKey.Attach(native);
    for (const WPARAM key : {VK_RETURN, VK_SPACE}) {
        button.clicks = button.presses = 0;
        dialog.Key(button.Control(), WM_KEYDOWN, key);
        CHECK(button.IsPressed());
        CHECK(button.presses == 1);
        CHECK(button.clicks == 0);
        dialog.Key(button.Control(), WM_KEYUP, key);
        CHECK(button.clicks == 1);
        CHECK_FALSE(button.IsPressed());
        dialog.Key(native, WM_KEYDOWN, key);
        CHECK(dialog.lastCommand == 0);
        dialog.Key(native, WM_KEYUP, key);
        CHECK(dialog.lastCommand == kNativeButton);
        dialog.lastCommand = 0;
    }
    for (const UINT taker : {WM_KEYDOWN, WM_KILLFOCUS}) { // another key and losing the focus take it back
        ::SendMessageW(button.Control(), WM_KEYDOWN, VK_SPACE, 0);
        ::SendMessageW(button.Control(), taker, 'A', 0);
        ::SendMessageW(button.Control(), WM_KEYUP, VK_SPACE, 0);
    }
    ::EnableWindow(button.Control(), FALSE);
    ::SendMessageW(button.Control(), WM_KEYDOWN, VK_SPACE, 0);
    CHECK_FALSE(button.IsPressed());
    CHECK(button.clicks == 1);
}

TEST_CASE("a mouse click comes once, a menu's choice goes to the form") {
    CDialog dialog;
    const HWND control = dialog.button.Control();
    ::SendMessageW(control, BM_CLICK, 0, 0);
    CHECK(dialog.button.clicks == 1);
    CHECK(dialog.lastCommand == 0); // the helper has taken it
    dialog.button.SetMenu(kMenu, nullptr, dialog.Window());
    // Another program that takes the focus closes the menu: open it again.
    for (int tries = 0; tries < 20 && dialog.lastCommand != kMenuItem; ++tries) {
        ::PostMessageW(dialog.Window(), WM_KEYDOWN, VK_DOWN, 0);
        ::PostMessageW(dialog.Window(), WM_KEYDOWN, VK_RETURN, 0);
        dialog.Key(control, WM_KEYDOWN, VK_SPACE);
        PumpUntil([&] { return dialog.lastCommand == kMenuItem; }, nullptr, 500);
    }
    CHECK(dialog.lastCommand == kMenuItem);
    CHECK(dialog.button.presses == 0);
    CHECK_FALSE(dialog.button.IsPressed());
    ::EnableWindow(control, FALSE);
    CHECK(dialog.button.ShowMenu(dialog.Window())); // at once
}

TEST_CASE("the six states look different and bear the form's greys") {
    CDialog dialog;
    XButton& button = dialog.button;
    const auto bears = [](const std::vector<COLORREF>& pixels, COLORREF grey) {
        return std::find(pixels.begin(), pixels.end(), grey) != pixels.end();
    };
    PutCursor(kOffForm);
    const std::vector<COLORREF> normal = Pixels(button, 0);
    PutCursor(dialog.ClientToScreen(POINT{112, 12}));
    CHECK(PumpUntil([&] { return button.IsHot(); }));
    const std::vector<COLORREF> hot = Pixels(button, 0);
    CHECK(bears(normal, kColours.edge));
    CHECK_FALSE(bears(normal, kColours.light));
    CHECK(bears(hot, kColours.light));
    PutCursor(kOffForm);
    CHECK(PumpUntil([&] { return !button.IsHot(); }));
    CHECK(Pixels(button, 0) == normal);
    const std::set<std::vector<COLORREF>> looks{normal, hot, Pixels(button, ODS_SELECTED),
        Pixels(button, ODS_DISABLED), Pixels(button, ODS_FOCUS), Pixels(button, ODS_FOCUS | ODS_NOFOCUSRECT)};
    CHECK(looks.size() == 6);
}
