#include "tests/xui/pump.h"

#include <doctest/doctest.h>

namespace {

std::vector<XToolTipItem> Text(const wchar_t* text = L"text") {
    XToolTipItem item;
    item.text = text;
    return {item};
}

XToolTipOptions Over(HWND owner, DWORD delayMs, DWORD durationMs) {
    XToolTipOptions options;
    options.owner = owner;
    options.ownerBound = true;
    options.delayMs = delayMs;
    options.durationMs = durationMs;
    return options;
}

bool Becomes(const XToolTip& tip, bool visible, DWORD timeoutMs = 3000) {
    return PumpUntil([&] { return tip.IsVisible() == visible; }, timeoutMs);
}

int AlphaOf(const XToolTip& tip) {
    BYTE alpha = 0;
    return ::GetLayeredWindowAttributes(tip.Window(), nullptr, &alpha, nullptr) ? alpha : -1;
}

void Count(void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
}

} // namespace

TEST_CASE("a tooltip shows after its delay, fades, hides, and comes back only when the cursor has left") {
    CForm form;
    PutCursor(kOnForm);
    XToolTip tip;
    const DWORD start = ::GetTickCount();
    tip.Activate(Text(), Over(form.Window(), 200, 1500));
    REQUIRE(Becomes(tip, true));
    const DWORD shown = ::GetTickCount();
    CHECK(shown - start >= 200);
    const auto style = static_cast<DWORD>(::GetWindowLongW(tip.Window(), GWL_STYLE));
    const auto exStyle = static_cast<DWORD>(::GetWindowLongW(tip.Window(), GWL_EXSTYLE));
    CHECK((style & (WS_POPUP | WS_DLGFRAME)) == WS_POPUP);
    CHECK((exStyle & (WS_EX_LAYERED | WS_EX_TOOLWINDOW | WS_EX_TOPMOST)) == 0x80088);
    PumpFor(500);
    CHECK(tip.IsEnabled());
    CHECK(tip.IsSpent());
    CHECK(AlphaOf(tip) == 255); // the fade takes the last third
    int lowest = 255;
    bool falls = true;
    while (tip.IsVisible() && ::GetTickCount() - shown < 3000) {
        const int alpha = AlphaOf(tip);
        const DWORD elapsed = ::GetTickCount() - shown;
        if (alpha < 0)
            break;
        falls = falls && alpha <= lowest;
        lowest = alpha;
        if (elapsed > 1150 && elapsed < 1450) { // one or two passes late at most
            const int expected = 255 - static_cast<int>(elapsed - 1000) * 255 / 500;
            CHECK(alpha >= expected - 30);
            CHECK(alpha <= expected + 90);
        }
        PumpFor(20);
    }
    CHECK(falls);
    CHECK(lowest < 60);
    CHECK(::GetTickCount() - shown >= 1400);
    CHECK_FALSE(Becomes(tip, true, 500)); // spent
    PutCursor(kOffForm);
    CHECK(PumpUntil([&] { return !tip.IsSpent(); }));
    PutCursor(kOnForm);
    CHECK(Becomes(tip, true));
    PutCursor(kOffForm);
    CHECK(Becomes(tip, false)); // at once
}

TEST_CASE("an unlimited tooltip neither fades nor hides, one without fading is not layered") {
    CForm form;
    for (const bool noFade : {false, true}) {
        XToolTipOptions options;
        options.anchor = form.Window();
        options.keepShown = true;
        options.framed = true;
        options.delayMs = 1;
        options.durationMs = XToolTipOptions::kUnlimitedMs;
        options.noFade = noFade;
        XToolTip tip;
        tip.Activate(Text(), options);
        CHECK(tip.IsVisible()); // has waited for it
        PumpFor(200);
        CHECK(AlphaOf(tip) == (noFade ? -1 : 255));
        CHECK((::GetWindowLongW(tip.Window(), GWL_STYLE) & WS_DLGFRAME) != 0);
        tip.Deactivate();
        CHECK_FALSE(tip.IsVisible());
        tip.Activate(Text(), options);
        CHECK(tip.IsVisible());
    }
}

TEST_CASE("the popup holds its lines, on the monitor, clear of the cursor") {
    const RECT screen{0, 0, ::GetSystemMetrics(SM_CXSCREEN), ::GetSystemMetrics(SM_CYSCREEN)};
    CForm form;
    form.MoveTo(0, 0, screen.right, screen.bottom);
    SIZE sizes[3]{};
    const wchar_t* const texts[] = {L"one", L"one\ntwo",
        L"a text so long that it has to go over several lines of the popup, because its width is limited"};
    const POINT cursors[] = {kOnForm, {screen.right - 2, screen.bottom - 2}, {1, screen.bottom - 2}};
    for (int i = 0; i < 3; ++i) {
        PutCursor(cursors[i]);
        XToolTip tip;
        tip.Activate(Text(texts[i]), Over(form.Window(), 1, 5000));
        REQUIRE(Becomes(tip, true));
        RECT popup{};
        ::GetWindowRect(tip.Window(), &popup);
        RECT inside{};
        ::IntersectRect(&inside, &popup, &screen);
        CHECK(::EqualRect(&inside, &popup));
        CHECK_FALSE(::PtInRect(&popup, cursors[i]));
        sizes[i] = {popup.right - popup.left, popup.bottom - popup.top};
    }
    CHECK(sizes[1].cy >= sizes[0].cy + 10);
    CHECK(sizes[2].cx > sizes[0].cx);
    CHECK(sizes[2].cy >= sizes[0].cy + 10);
}

TEST_CASE("clicks run the callback or hide, icons follow the cursor") {
    CForm form;
    std::atomic<int> clicks{0};
    std::vector<XToolTipItem> items = Text();
    items.push_back(items[0]);
    items.push_back(items[0]);
    items[0].kind = XToolTipItem::kIcon;
    items[0].left = 4;
    items[0].top = 4;
    items[0].width = items[0].height = 40;
    items[0].onClick = items[1].onClick = Count;
    items[0].argument = items[1].argument = &clicks;
    XToolTipOptions options;
    options.anchor = form.Window();
    options.showNow = true;
    options.hotRect = {300, 300, 301, 301};
    options.delayMs = 1;
    PutCursor(kOffForm);
    XToolTip tip;
    tip.Activate(items, options);
    REQUIRE(tip.IsVisible());
    const auto send = [&](UINT message, int x, int y) {
        ::SendMessageW(tip.Window(), message, 0, MAKELPARAM(x, y));
    };
    CHECK(tip.ItemState(0) == XToolTipItem::kNormal);
    PutCursor(tip.ClientToScreen(POINT{20, 20}));
    send(WM_MOUSEMOVE, 20, 20);
    CHECK(tip.ItemState(0) == XToolTipItem::kHot);
    send(WM_LBUTTONDOWN, 20, 20);
    CHECK(tip.ItemState(0) == XToolTipItem::kPressed);
    send(WM_LBUTTONUP, 20, 20);
    CHECK(clicks == 1);
    CHECK(tip.ItemState(0) == XToolTipItem::kHot);
    send(WM_LBUTTONDOWN, 20, 20);
    PutCursor(kOffForm);
    send(WM_MOUSEMOVE, -1, -1);
    CHECK(tip.ItemState(0) == XToolTipItem::kNormal);
    send(WM_LBUTTONUP, -1, -1); // let go elsewhere
    CHECK(clicks == 1);
    const RECT client = tip.GetClientRect();
    const int bottom = client.bottom - 8;
    send(WM_LBUTTONUP, 8, 44 + (bottom - 44) / 4);
    CHECK(clicks == 2);
    send(WM_LBUTTONUP, 8, bottom); // without a callback
    CHECK_FALSE(tip.IsVisible());
    CHECK(tip.IsSpent());
}

TEST_CASE("a callback may end its tooltip, which ends the thread, and it can be activated again") {
    CForm form;
    XToolTip tip;
    std::vector<XToolTipItem> items = Text();
    items[0].onClick = [](void* self) { static_cast<XToolTip*>(self)->Deactivate(); };
    items[0].argument = &tip;
    XToolTipOptions options;
    options.anchor = form.Window();
    options.showNow = true;
    options.delayMs = 1;
    for (int round = 0; round < 3; ++round) {
        tip.Activate(items, options);
        REQUIRE(tip.IsVisible());
        ::SendMessageW(tip.Window(), WM_LBUTTONUP, 0, MAKELPARAM(8, 8));
        CHECK_FALSE(tip.IsVisible());
    }
}
