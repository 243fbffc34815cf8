#include "tests/xui/stage.h"
#include "xui/XToolTip.h"

#include <doctest/doctest.h>

#include <utility>

namespace {

constexpr int kHidden = -2;
constexpr int kNotLayered = -1;
constexpr DWORD kStartMs = 0xFFFFFF00; // the tick count starts again from 0 on the way

struct Moment {
    DWORD elapsedMs;
    int alpha; // or kHidden, kNotLayered
};

struct Life {
    DWORD delayMs;
    DWORD meantDelayMs;
    DWORD durationMs;
    bool noFade;
    std::vector<Moment> moments; // since it was shown
};

const Life kLives[] = {
    {200, 200, 9000, false, {{0, 255}, {6500, 255}, {7750, 128}, {9000, 0}, {9001, kHidden}}},
    {50, 50, 3000, false, {{2000, 255}, {2500, 128}, {3000, 0}, {3001, kHidden}}},
    {0, 1000, 0, false, {{7500, 255}, {8750, 128}, {10000, 0}, {10001, kHidden}}},
    {1, 1, XToolTipOptions::kUnlimitedMs, false, {{0, 255}, {100000, 255}, {0xF0000000, 255}}},
    {1, 1, 600, true, {{0, kNotLayered}, {600, kNotLayered}, {601, kHidden}, {90000, kHidden}}},
};

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

XToolTipOptions ByItself(HWND anchor) {
    XToolTipOptions options;
    options.anchor = anchor;
    options.showNow = true;
    options.delayMs = 1;
    options.durationMs = XToolTipOptions::kUnlimitedMs;
    return options;
}

int LookOf(const XToolTip& tip) {
    BYTE alpha = 0;
    if (!tip.IsVisible())
        return kHidden;
    return ::GetLayeredWindowAttributes(tip.Window(), nullptr, &alpha, nullptr) ? alpha : kNotLayered;
}

} // namespace

TEST_CASE("a tooltip shows when its delay is over, fades in the last part of its time, then hides") {
    CForm form;
    PutCursor(kOnForm);
    for (const Life& life : kLives) {
        CAPTURE(life.durationMs);
        XToolTipOptions options = Over(form.Window(), life.delayMs, life.durationMs);
        options.noFade = life.noFade;
        XToolTip tip;
        tip.Activate(Text(), options);
        const DWORD shownMs = kStartMs + life.meantDelayMs + 1;
        REQUIRE(PassAt(kStartMs));
        REQUIRE(PassAt(shownMs - 1));
        CHECK(LookOf(tip) == kHidden);
        REQUIRE(PassAt(shownMs));
        CHECK(tip.IsEnabled());
        for (const Moment& moment : life.moments) {
            CAPTURE(moment.elapsedMs);
            REQUIRE(PassAt(shownMs + moment.elapsedMs));
            CHECK(LookOf(tip) == moment.alpha);
        }
    }
}

TEST_CASE("a tooltip shows once while the cursor stays, hides when it leaves, and again when it comes back") {
    struct Step {
        POINT cursor;
        DWORD nowMs;
        bool visible;
    };
    CForm form;
    XToolTipOptions overRect; // edges included
    overRect.hotRect = {300, 310, 320, 330};
    overRect.delayMs = 1;
    const std::pair<XToolTipOptions, std::vector<Step>> scripts[] = {
        {Over(form.Window(), 10, 100),
            {{kOnForm, 1000, false}, {kOnForm, 1011, true}, {kOnForm, 1200, false}, {kOnForm, 9000, false},
                {kOffForm, 9010, false}, {kOnForm, 9020, false}, {kOnForm, 9031, true},
                {kOffForm, 9031, false}}},
        {overRect, {{{300, 310}, 10, false}, {{300, 310}, 12, true}, {{299, 310}, 13, false},
                       {{320, 330}, 20, false}, {{320, 330}, 22, true}, {{321, 330}, 23, false},
                       {{320, 310}, 30, false}, {{320, 310}, 32, true}, {{320, 309}, 33, false},
                       {{300, 330}, 40, false}, {{300, 330}, 42, true}, {{300, 331}, 43, false}}},
    };
    for (const auto& [options, steps] : scripts) {
        XToolTip tip;
        tip.Activate(Text(), options);
        for (const Step& step : steps) {
            CAPTURE(step.nowMs);
            PutCursor(step.cursor);
            REQUIRE(PassAt(step.nowMs));
            CHECK(tip.IsVisible() == step.visible);
        }
    }
}

TEST_CASE("the popup holds its lines, on the monitor, clear of the cursor") {
    const RECT screen{0, 0, ::GetSystemMetrics(SM_CXSCREEN), ::GetSystemMetrics(SM_CYSCREEN)};
    const std::pair<const wchar_t*, POINT> rows[] = {{L"one", kOnForm},
        {L"one\ntwo", {screen.right - 2, screen.bottom - 2}},
        {L"a text so long that it has to go over several lines of the popup, whose width is limited",
            {1, screen.bottom - 2}}};
    CForm form;
    form.MoveTo(screen);
    RunClock();
    LONG oneLine = 0;
    for (const auto& [text, cursor] : rows) {
        PutCursor(cursor);
        XToolTip tip;
        tip.Activate(Text(text), Over(form.Window(), 1, XToolTipOptions::kUnlimitedMs));
        REQUIRE(PumpUntil([&] { return tip.IsVisible(); }));
        RECT popup{};
        ::GetWindowRect(tip.Window(), &popup);
        CHECK(popup.left >= 0);
        CHECK(popup.right <= screen.right);
        CHECK(popup.bottom <= screen.bottom);
        CHECK_FALSE(::PtInRect(&popup, cursor));
        CHECK(popup.bottom - popup.top >= oneLine + 10);
        if (oneLine == 0)
            oneLine = popup.bottom - popup.top;
    }
}

TEST_CASE("clicks run the callback or hide, icons follow the cursor") {
    CForm form;
    RunClock();
    std::atomic<int> clicks{0};
    std::vector<XToolTipItem> items(3, Text()[0]);
    items[0].kind = XToolTipItem::kIcon;
    items[0].left = items[0].top = 4;
    items[0].width = items[0].height = 40;
    items[0].onClick = items[1].onClick = [](void* counter) { ++*static_cast<std::atomic<int>*>(counter); };
    items[0].argument = items[1].argument = &clicks;
    PutCursor(kOffForm);
    XToolTip tip;
    tip.Activate(items, ByItself(form.Window()));
    REQUIRE(tip.IsVisible()); // Activate has waited for it
    const auto state = [&](UINT message, int x, int y) {
        PutCursor(tip.ClientToScreen(POINT{x, y}));
        ::SendMessageW(tip.Window(), message, 0, MAKELPARAM(x, y));
        return tip.ItemState(0);
    };
    CHECK(tip.ItemState(0) == XToolTipItem::kNormal);
    CHECK(state(WM_MOUSEMOVE, 20, 20) == XToolTipItem::kHot);
    CHECK(state(WM_LBUTTONDOWN, 20, 20) == XToolTipItem::kPressed);
    CHECK(state(WM_LBUTTONUP, 20, 20) == XToolTipItem::kHot);
    CHECK(clicks == 1);
    state(WM_LBUTTONDOWN, 20, 20);
    CHECK(state(WM_MOUSEMOVE, -1, -1) == XToolTipItem::kNormal);
    state(WM_LBUTTONUP, -1, -1); // let go elsewhere
    CHECK(clicks == 1);
    const int bottom = tip.GetClientRect().bottom - 8;
    state(WM_LBUTTONUP, 8, 44 + (bottom - 44) / 4);
    CHECK(clicks == 2);
    CHECK(tip.IsVisible());
    state(WM_LBUTTONUP, 8, bottom); // without a callback
    CHECK_FALSE(tip.IsVisible());
    CHECK(tip.IsSpent());
}

TEST_CASE("a callback may end its tooltip, which ends the thread, and it can be activated again") {
    CForm form;
    RunClock();
    XToolTip tip;
    std::vector<XToolTipItem> items = Text();
    items[0].onClick = [](void* self) { static_cast<XToolTip*>(self)->Deactivate(); };
    items[0].argument = &tip;
    for (int round = 0; round < 3; ++round) {
        tip.Activate(items, ByItself(form.Window()));
        REQUIRE(tip.IsVisible());
        ::SendMessageW(tip.Window(), WM_LBUTTONUP, 0, MAKELPARAM(8, 8));
        CHECK_FALSE(tip.IsVisible());
    }
}
