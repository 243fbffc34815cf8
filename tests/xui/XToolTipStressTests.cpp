#include "tests/xui/pump.h"
#include "xui/XButton.h"

#include <doctest/doctest.h>

#include <cstdlib>
#include <memory>
#include <random>

namespace {

constexpr int kOrders = 2000; // DXW_STRESS_ORDERS in the environment asks for another number
constexpr DWORD kLimitMs = 10000;
constexpr WORD kId = 108;
constexpr XButtonColours kColours{0xF0F0F0, 0xBEBEBE, 0xD7D7D7};

std::atomic<DWORD> g_lastStepMs{0};
std::atomic<int> g_callbacks{0};

// Asks the window thread from the tooltip thread: hangs for good if both wait for each other.
void AskForm(void* form) {
    ++g_callbacks;
    ::SendMessageW(static_cast<HWND>(form), WM_GETTEXTLENGTH, 0, 0);
}

// A deadlock ends the program with a message instead of the test run's time limit.
DWORD WINAPI Watch(void* ended) {
    while (::WaitForSingleObject(ended, 500) == WAIT_TIMEOUT) {
        if (::GetTickCount() - g_lastStepMs > kLimitMs) {
            std::fputs("no step for 10 s: deadlock\n", stderr);
            ::TerminateProcess(::GetCurrentProcess(), 3);
        }
    }
    return 0;
}

/// A form with a button and two tooltips, one bound to the form and one that shows by itself, done random
/// things to.
class COrders {
public:
    explicit COrders(unsigned seed) : m_random(seed) {}
    int shown = 0;

    void Step() {
        g_lastStepMs = ::GetTickCount();
        shown += m_tip->IsVisible() ? 1 : 0;
        // clang-format off
        switch (Pick(20)) {
        case 0: case 1: case 2: return m_tip->Activate(Items(), Options());
        case 3: return m_tip->Deactivate();
        case 4: return PutCursor(kOffForm);
        case 5: case 6: return PutCursor({420 + Pick(70), 370 + Pick(20)});
        case 7: return PutCursor({215 + Pick(180), 215 + Pick(130)}); // the button
        case 8: case 9: case 10: return Click(Pick(2) == 0);
        case 11: case 12: return NewToolTip();
        case 13: return Rebuild();
        case 14: return ::Sleep(static_cast<DWORD>(Pick(30))); // the window thread is busy
        case 15: return m_bystander->Activate(Items(), Options());
        case 16: return m_bystander->Deactivate();
        case 17: return ClickAndStall();
        default: return PumpFor(static_cast<DWORD>(Pick(8)));
        }
        // clang-format on
    }

private:
    int Pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

    void NewToolTip() {
        m_tip = std::make_unique<XToolTip>();
        m_tip->Activate(Items(), Options());
    }

    void Rebuild() {
        if (Pick(2) == 0)
            m_button = std::make_unique<XButton>();
        m_form = std::make_unique<CForm>(); // tooltips of the one before lose their owner
        m_button->Create(m_form->Window(), kId, L"?", 10, 10, 200, 150, kColours, L"", L"tip");
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
        options.delayMs = static_cast<DWORD>(1 + Pick(10));
        options.durationMs = static_cast<DWORD>(1 + Pick(400));
        options.noFade = Pick(4) == 0;
        return options;
    }

    // Sent: the window thread waits for the popup. Posted: both run on.
    void Click(bool sent) {
        const HWND popup = m_tip->Window();
        for (const UINT message : {WM_LBUTTONDOWN, WM_LBUTTONUP}) {
            if (sent)
                ::SendMessageW(popup, message, 0, MAKELPARAM(8, 8));
            else
                ::PostMessageW(popup, message, 0, MAKELPARAM(8, 8));
        }
    }

    // What comes next finds the tooltip thread holding the lock and waiting for this thread.
    void ClickAndStall() {
        PumpUntil([this] { return m_tip->IsVisible(); }, 80);
        Click(Pick(4) == 0);
        ::Sleep(60);
    }

    std::mt19937 m_random;
    std::unique_ptr<CForm> m_form = std::make_unique<CForm>();
    std::unique_ptr<XButton> m_button = std::make_unique<XButton>();
    std::unique_ptr<XToolTip> m_tip = std::make_unique<XToolTip>();
    std::unique_ptr<XToolTip> m_bystander = std::make_unique<XToolTip>();
};

} // namespace

TEST_CASE("whatever the order of activate, hover, click and destroy, no thread waits for ever") {
    const char* const asked = std::getenv("DXW_STRESS_ORDERS");
    const int orders = asked != nullptr ? std::atoi(asked) : kOrders;
    const unsigned seed = 20240607;
    CAPTURE(seed);
    g_lastStepMs = ::GetTickCount();
    const CKernelHandle ended(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const CKernelHandle watch(::CreateThread(nullptr, 0, Watch, ended.Get(), 0, nullptr));
    int shown = 0;
    {
        COrders form(seed);
        for (int i = 0; i < orders; ++i)
            form.Step();
        shown = form.shown;
    }
    ::SetEvent(ended.Get());
    ::WaitForSingleObject(watch.Get(), INFINITE);
    MESSAGE(orders << " orders, popup up at " << shown << " of them, " << g_callbacks.load() << " callbacks");
    CHECK(shown > orders / 50); // else nothing was tried
    CHECK(g_callbacks.load() > orders / 200);
}
