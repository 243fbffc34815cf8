#include "tests/xui/stage.h"
#include "xui/XButton.h"

#include <doctest/doctest.h>

#include <memory>
#include <random>

namespace {

constexpr int kOrders = 10000;
constexpr DWORD kLimitMs = 300000;
constexpr unsigned kSeed = 20240607;
constexpr POINT kClearOfButton{450, 380};

std::atomic<int> g_callbacks{0};
std::atomic<int> g_faults{0};

// Asks the window thread from the tooltip thread: hangs for good if both wait for each other.
void AskForm(void* form) {
    ++g_callbacks;
    ::SendMessageW(static_cast<HWND>(form), WM_GETTEXTLENGTH, 0, 0);
}

// The system passes over a fault in a window procedure, and with it over the release of a lock.
LONG WINAPI CountFault(EXCEPTION_POINTERS* fault) {
    g_faults += fault->ExceptionRecord->ExceptionCode == EXCEPTION_ACCESS_VIOLATION ? 1 : 0;
    return EXCEPTION_CONTINUE_SEARCH;
}

// Sooner than the test run's own limit, which leaves the program behind.
void CALLBACK GiveUp(void*, BOOLEAN) {
    std::fprintf(stderr, "deadlock, %d faults\n", g_faults.load());
    ::TerminateProcess(::GetCurrentProcess(), 3);
}

/// A form with a button and a tooltip bound to it, done random things to.
class COrders {
public:
    int shown = 0;

    void Step() {
        shown += m_tip->IsVisible() ? 1 : 0;
        // clang-format off
        switch (Pick(30)) {
        case 0: case 1: case 2: return m_tip->Activate(Items(), Options());
        case 3: return m_tip->Deactivate();
        case 4: case 5: m_tip = std::make_unique<XToolTip>(); return m_tip->Activate(Items(), Options());
        case 6: case 7: case 8: case 9: case 10: return Click(Pick(2) == 0);
        case 11: return Pick(3) == 0 ? ClickAndStall() : Click(true);
        case 12: return Rebuild();
        case 13: return ::Sleep(static_cast<DWORD>(Pick(8))); // the window thread is busy
        case 14: PumpUntil([] { return false; }, nullptr, static_cast<DWORD>(Pick(8))); return;
        case 15: case 16: return PutCursor(kOffForm);
        case 17: case 18: return PutCursor({215 + Pick(180), 215 + Pick(130)}); // the button
        default: return PutCursor(kClearOfButton);
        }
        // clang-format on
    }

private:
    int Pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

    void Rebuild() {
        if (Pick(2) == 0)
            m_button = std::make_unique<XButton>();
        m_form = std::make_unique<CForm>(); // tooltips of the one before lose their owner
        m_button->Create(m_form->Window(), 108, L"?", 10, 10, 200, 150, kColours, L"", L"tip");
    }

    std::vector<XToolTipItem> Items() const {
        XToolTipItem item;
        item.text = L"text";
        item.onClick = AskForm;
        item.argument = m_form->Window();
        return {item, item};
    }

    XToolTipOptions Options() {
        XToolTipOptions options;
        options.owner = m_form->Window();
        options.ownerBound = true;
        options.delayMs = static_cast<DWORD>(1 + Pick(4));
        options.durationMs = static_cast<DWORD>(1 + Pick(400));
        options.noFade = Pick(4) == 0;
        return options;
    }

    // Sent: the window thread waits for the popup. Posted: both run on.
    void Click(bool sent) {
        for (const UINT message : {WM_LBUTTONDOWN, WM_LBUTTONUP})
            sent ? ::SendMessageW(m_tip->Window(), message, 0, MAKELPARAM(8, 8))
                 : ::PostMessageW(m_tip->Window(), message, 0, MAKELPARAM(8, 8));
    }

    // What comes next finds the tooltip thread holding the lock and waiting for this thread.
    void ClickAndStall() {
        XToolTipOptions options = Options();
        options.durationMs = XToolTipOptions::kUnlimitedMs;
        PutCursor(kClearOfButton);
        m_tip = std::make_unique<XToolTip>();
        m_tip->Activate(Items(), options);
        PumpUntil([this] { return m_tip->IsVisible(); });
        Click(Pick(2) == 0);
        ::Sleep(5);
    }

    std::mt19937 m_random{kSeed};
    std::unique_ptr<CForm> m_form = std::make_unique<CForm>();
    std::unique_ptr<XButton> m_button = std::make_unique<XButton>();
    std::unique_ptr<XToolTip> m_tip = std::make_unique<XToolTip>();
};

} // namespace

TEST_CASE("whatever the order of activate, hover, click and destroy, no thread waits for ever") {
    RunClock();
    HANDLE timer = nullptr;
    ::CreateTimerQueueTimer(&timer, nullptr, GiveUp, nullptr, kLimitMs, 0, WT_EXECUTEONLYONCE);
    void* const faultHandler = ::AddVectoredExceptionHandler(1, CountFault);
    COrders orders;
    for (int i = 0; i < kOrders; ++i)
        orders.Step();
    ::RemoveVectoredExceptionHandler(faultHandler);
    ::DeleteTimerQueueTimer(nullptr, timer, INVALID_HANDLE_VALUE);
    CHECK(g_faults.load() == 0);
    CHECK(orders.shown > kOrders / 500); // else nothing was tried
    CHECK(g_callbacks.load() > kOrders / 500);
}
