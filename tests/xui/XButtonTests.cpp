#include "tests/xui/pump.h"
#include "xui/XButton.h"
#include "xui/XToolTipHelper.h"

#include <doctest/doctest.h>

#include <set>
#include <string>

namespace {

constexpr WORD kDialogTemplate = 900;
constexpr WORD kMenu = 901;
constexpr WORD kButtonId = 108;
constexpr XButtonColours kColours{0xF0F0F0, 0xBEBEBE, 0xD7D7D7};

class CCountingButton : public XButton {
public:
    int clicks = 0;
    int presses = 0;
    void OnClick(std::uint32_t) override { ++clicks; }
    void OnPress(std::uint32_t) override { ++presses; }
};

/// A dialog with a default button and a toolkit button, wired as a form does it.
class CDialog : public XWindow {
public:
    CDialog() {
        CreateFromTemplate(kDialogTemplate, nullptr, FALSE, nullptr);
        helper.Attach(Window());
        button.Create(Window(), kButtonId, L"?", 100, 0, 24, 24, kColours, L"Help", L"Opens the help page");
        helper.Register(button);
        ::SetFocus(button.Control());
    }
    ~CDialog() override { DestroyNativeWindow(); }
    LRESULT OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) override {
        return helper.OnMessage(window, message, wParam, lParam, handled);
    }
    void OnDestroy() override { helper.Detach(); }
    void OnIdOk() override { ++oks; }
    void OnCommand(UINT id, HWND, UINT) override { lastCommand = id; }

    /// As the message loop of a dialog does it.
    void Key(UINT message, WPARAM key) {
        MSG posted{::GetFocus(), message, key, 1, 0, {}};
        if (!::IsDialogMessageW(Window(), &posted))
            ::DispatchMessageW(&posted);
    }

    XToolTipHelper helper;
    CCountingButton button;
    int oks = 0;
    UINT lastCommand = 0;
};

std::string Pixels(XButton& button, UINT itemState) {
    constexpr int kSize = 24;
    const HDC screen = ::GetDC(nullptr);
    const HDC dc = ::CreateCompatibleDC(screen);
    const HBITMAP bitmap = ::CreateCompatibleBitmap(screen, kSize, kSize);
    const HGDIOBJ old = ::SelectObject(dc, bitmap);
    button.Draw(
        {ODT_BUTTON, kButtonId, 0, ODA_DRAWENTIRE, itemState, button.Control(), dc, {0, 0, kSize, kSize}, 0});
    std::string pixels;
    for (int i = 0; i < kSize * kSize; ++i)
        pixels += std::to_string(::GetPixel(dc, i % kSize, i / kSize)) + " ";
    ::SelectObject(dc, old);
    ::DeleteObject(bitmap);
    ::DeleteDC(dc);
    ::ReleaseDC(nullptr, screen);
    return pixels;
}

} // namespace

TEST_CASE("a subclassed control gets its procedure back") {
    const HWND control =
        ::CreateWindowExW(0, L"BUTTON", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
    const LONG before = ::GetWindowLongW(control, GWLP_WNDPROC);
    {
        XSubClassCtrl first;
        first.Attach(control);
        CHECK(XSubClassCtrl::Attached(control) == &first);
        CHECK(::GetWindowLongW(control, GWLP_WNDPROC) != before);
        CHECK(::SendMessageW(control, BM_GETCHECK, 0, 0) == BST_UNCHECKED);
    }
    CHECK(::GetWindowLongW(control, GWLP_WNDPROC) == before);
    CHECK(::GetWindowLongW(control, GWLP_USERDATA) == 0);
    XSubClassCtrl second;
    second.Attach(control);
    ::DestroyWindow(control);
    CHECK(second.Control() == nullptr);
    second.Attach(control); // has gone
    CHECK(second.Control() == nullptr);
}

TEST_CASE("return and space press on the way down and click on the way up, never the default button") {
    CDialog dialog;
    for (const WPARAM key : {VK_RETURN, VK_SPACE}) {
        dialog.button.clicks = dialog.button.presses = 0;
        dialog.Key(WM_KEYDOWN, key);
        CHECK(dialog.button.IsPressed());
        CHECK(dialog.button.presses == 1);
        CHECK(dialog.button.clicks == 0);
        dialog.Key(WM_KEYUP, key);
        CHECK(dialog.button.clicks == 1);
        CHECK_FALSE(dialog.button.IsPressed());
    }
    dialog.Key(WM_KEYDOWN, VK_SPACE);
    dialog.Key(WM_KEYDOWN, 'A'); // another key takes the press back
    dialog.Key(WM_KEYUP, VK_SPACE);
    dialog.Key(WM_KEYDOWN, VK_SPACE);
    ::SetFocus(dialog.GetItem(IDOK)); // so does losing the focus
    ::SendMessageW(dialog.button.Control(), WM_KEYUP, VK_SPACE, 0);
    CHECK(dialog.button.clicks == 1);
    ::EnableWindow(dialog.button.Control(), FALSE);
    ::SendMessageW(dialog.button.Control(), WM_KEYDOWN, VK_SPACE, 0);
    CHECK_FALSE(dialog.button.IsPressed());
    CHECK(dialog.oks == 0);
}

TEST_CASE("a mouse click comes once, a menu's choice goes to the form") {
    CDialog dialog;
    ::SendMessageW(dialog.button.Control(), BM_CLICK, 0, 0);
    CHECK(dialog.button.clicks == 1);
    CHECK(dialog.lastCommand == 0); // the helper has taken it
    dialog.button.SetMenu(kMenu, nullptr, dialog.Window());
    ::PostMessageW(dialog.Window(), WM_KEYDOWN, VK_DOWN, 0);
    ::PostMessageW(dialog.Window(), WM_KEYDOWN, VK_RETURN, 0);
    dialog.Key(WM_KEYDOWN, VK_SPACE);
    CHECK(PumpUntil([&] { return dialog.lastCommand == 77; }));
    CHECK(dialog.button.presses == 0);
    CHECK_FALSE(dialog.button.IsPressed());
    ::EnableWindow(dialog.button.Control(), FALSE);
    CHECK(dialog.button.ShowMenu(dialog.Window())); // at once
}

TEST_CASE("the six states look different and bear the form's greys") {
    CDialog dialog;
    XButton& button = dialog.button;
    std::set<std::string> looks{Pixels(button, 0), Pixels(button, ODS_SELECTED), Pixels(button, ODS_DISABLED),
        Pixels(button, ODS_FOCUS), Pixels(button, ODS_FOCUS | ODS_NOFOCUSRECT)};
    const std::string normal = Pixels(button, 0);
    CHECK(normal.find(std::to_string(kColours.edge)) != std::string::npos);
    CHECK(normal.find(std::to_string(kColours.light)) == std::string::npos);
    PutCursor(dialog.ClientToScreen(POINT{112, 12}));
    CHECK(PumpUntil([&] { return button.IsHot(); }));
    const std::string hot = Pixels(button, 0);
    CHECK(hot.find(std::to_string(kColours.light)) != std::string::npos);
    looks.insert(hot);
    CHECK(looks.size() == 6);
    PutCursor(kOffForm);
    CHECK(PumpUntil([&] { return !button.IsHot(); }));
    CHECK(Pixels(button, 0) == normal);
}
