// Guards of function-local statics, in place of the C++ run-time's: those make a semaphore that is never
// closed, one handle each time that the library is loaded and used.

#include <windows.h>
#include <cstdint>

namespace {

/// What the compiler sets aside for each static; it looks at the first byte itself and calls only when that
/// is 0.
struct Guard {
    volatile std::uint8_t isMade;
    std::uint8_t unused[3];
    volatile LONG isBeingMade;
};
static_assert(sizeof(Guard) == sizeof(std::uint64_t));

void Leave(Guard* guard) {
    ::InterlockedExchange(&guard->isBeingMade, 0);
}

} // namespace

extern "C" {

int __cxa_guard_acquire(Guard* guard) {
    while (::InterlockedExchange(&guard->isBeingMade, 1) != 0)
        ::Sleep(1); // another thread makes it
    if (guard->isMade == 0)
        return 1;
    Leave(guard);
    return 0;
}

void __cxa_guard_release(Guard* guard) {
    guard->isMade = 1;
    Leave(guard);
}

void __cxa_guard_abort(Guard* guard) {
    Leave(guard);
}
}
