#pragma once

#include "support/CFloatModes.h"

#include <windows.h>
#include <atomic>
#include <memory>
#include <type_traits>
#include <utility>

/// What ended a call into foreign code.
struct ForeignFault {
    DWORD code = 0;                ///< exception code, say EXCEPTION_ACCESS_VIOLATION
    const void* address = nullptr; ///< where it was raised
};

/// Runs body(context). A structured exception that the body does not handle itself (access violation, integer
/// divide, illegal instruction, breakpoint, floating-point fault, stack overflow, another compiler's C++ or
/// Pascal exception) ends it: false, and `fault` says which. The floating-point control modes are afterwards
/// what they were, whatever the body did.
///
/// Destructors of the frames between here and the fault do NOT run: the body makes the foreign call and
/// nothing else, and holds no lock, reference or sample of ours. Not caught: the process ending, a fault on
/// another thread, a destroyed stack or heap, and on 64-bit Windows a fault in a window procedure that the
/// system calls meanwhile (it may swallow that one). A fault costs a few microseconds, none costs
/// nanoseconds.
bool RunGuarded(void (*body)(void*), void* context, ForeignFault* fault) noexcept;

template <typename Body>
bool RunGuarded(Body&& body, ForeignFault* fault = nullptr) noexcept {
    using Plain = std::remove_reference_t<Body>;
    return RunGuarded([](void* context) { (*static_cast<Plain*>(context))(); }, &body, fault);
}

/// The same, without a look at the floating-point modes, which costs several times the rest: for a body that
/// leaves them alone, or under a CKeptModes. After a fault they are the default ones.
bool RunCaught(void (*body)(void*), void* context, ForeignFault* fault) noexcept;

template <typename Body>
bool RunCaught(Body&& body, ForeignFault* fault = nullptr) noexcept {
    using Plain = std::remove_reference_t<Body>;
    return RunCaught([](void* context) { (*static_cast<Plain*>(context))(); }, &body, fault);
}

/// For after a call that ran window procedures: where the system swallows a stack overflow in one of those,
/// the stack is left without its guard page, and the next overflow would end the process. Nothing happens
/// where the page is there.
void RestoreStackGuard() noexcept;

/// The door to one effect (its filter, its pins, its page, the graph manager acting on them): all calls into
/// them go through here. Once one has faulted the effect is not entered again: calls fail at once with
/// kFaulted, and releases are left out (what it held stays in memory, and so does this library). Shared by
/// everything that may outlive its client. Threads: any.
class CForeignGuard {
public:
    static constexpr HRESULT kFaulted = static_cast<HRESULT>(0x8007023E); // "unhandled exception"

    /// Runs `call`, which returns an HRESULT or nothing (then S_OK). Returns its result, or kFaulted.
    template <typename Action>
    HRESULT Call(Action&& call) noexcept {
        if (HasFaulted())
            return kFaulted;
        HRESULT result = S_OK;
        ForeignFault fault;
        auto body = [&] {
            if constexpr (std::is_void_v<decltype(call())>)
                call();
            else
                result = call();
        };
        if (m_modesAreKept.load(std::memory_order_relaxed) ? RunCaught(body, &fault)
                                                           : RunGuarded(body, &fault))
            return result;
        Condemn(fault);
        return kFaulted;
    }

    /// Drops the reference in `pointer` and nulls it. After a fault the reference is left where it is.
    template <typename T>
    void Release(T*& pointer) noexcept {
        if (T* const held = std::exchange(pointer, nullptr))
            Call([held] { held->Release(); });
    }

    /// For a scope with several calls in a row, on one thread: the floating-point modes are put back at its
    /// end instead of after each call.
    class CModesKept {
    public:
        explicit CModesKept(CForeignGuard& guard) : m_guard(guard) { Tell(true); }
        ~CModesKept() { Tell(false); }
        CModesKept(const CModesKept&) = delete;
        CModesKept& operator=(const CModesKept&) = delete;

    private:
        void Tell(bool kept) { m_guard.m_modesAreKept.store(kept, std::memory_order_relaxed); }

        CForeignGuard& m_guard;
        const CKeptModes m_modes;
    };

    bool HasFaulted() const { return m_faulted.load(std::memory_order_acquire); }
    ForeignFault Fault() const { return m_fault; }

    /// The effect has faulted in a call that did not go through here.
    void Condemn(const ForeignFault& fault) noexcept;

private:
    std::atomic<bool> m_faulted = false;
    std::atomic<bool> m_faultTaken = false;
    /// Another thread of the effect's may see it, too: modes that its own objects change there are its own.
    std::atomic<bool> m_modesAreKept = false;
    ForeignFault m_fault;
};

using CForeignGuardPtr = std::shared_ptr<CForeignGuard>;
