#include "dsp/CLockObj.h"
#include "support/handles.h"

#include <doctest/doctest.h>
#include <atomic>
#include <optional>

namespace {

constexpr DWORD kHoldMs = 50;
constexpr DWORD kSoonMs = 10'000;

// Holds a lock for a while, once, on a thread of its own; before it leaves it asks a window for its text.
struct Visitor {
    explicit Visitor(CLockObj& visited, HWND asked = nullptr)
        : lock(visited), window(asked), thread(::CreateThread(nullptr, 0, Visit, this, 0, nullptr)) {}
    ~Visitor() { ::WaitForSingleObject(thread.Get(), INFINITE); }
    bool GotIn(DWORD waitMs) { return ::WaitForSingleObject(holds.Get(), waitMs) == WAIT_OBJECT_0; }

    static DWORD WINAPI Visit(void* visitor) {
        auto* const self = static_cast<Visitor*>(visitor);
        self->lock.Lock();
        ::SetEvent(self->holds.Get());
        ::Sleep(kHoldMs);
        ::SendMessageTimeoutW(self->window, WM_GETTEXTLENGTH, 0, 0, SMTO_NORMAL, kSoonMs, &self->answer);
        self->leaving = true;
        self->lock.Unlock();
        return 0;
    }

    CLockObj& lock;
    const HWND window;
    DWORD_PTR answer = 0;
    std::atomic<bool> leaving = false;
    const CKernelHandle holds{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const CKernelHandle thread;
};

} // namespace

TEST_CASE("the holding thread enters again, others wait until it has left as often") {
    CLockObj lock;
    REQUIRE(lock.Create());
    std::optional<CLockObj> guard(&lock);
    CHECK_FALSE(guard->Create());
    lock.Lock();
    Visitor visitor(lock);
    CHECK_FALSE(visitor.GotIn(kHoldMs));
    lock.Unlock();
    CHECK_FALSE(visitor.GotIn(kHoldMs));
    guard.reset();
    CHECK(visitor.GotIn(kSoonMs));
}

TEST_CASE("replacing or destroying a lock waits for the thread that holds it") {
    for (const bool replace : {true, false}) {
        std::optional<CLockObj> lock(std::in_place);
        REQUIRE(lock->Create());
        Visitor visitor(*lock);
        REQUIRE(visitor.GotIn(kSoonMs));
        if (replace)
            CHECK(lock->Create());
        else
            lock.reset();
        CHECK(visitor.leaving);
    }
}

TEST_CASE("a thread that waits answers what the holder sends to its windows") {
    CLockObj lock;
    REQUIRE(lock.Create());
    const HWND window =
        ::CreateWindowExW(0, L"STATIC", L"four", 0, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    Visitor visitor(lock, window);
    REQUIRE(visitor.GotIn(kSoonMs));
    lock.Lock();
    lock.Unlock();
    CHECK(visitor.answer == 4);
    ::DestroyWindow(window);
}
