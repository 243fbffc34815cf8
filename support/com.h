#pragma once

#include <windows.h>
#include <objbase.h>
#include <atomic>

/// The count of a COM object that starts without references, as objects made with `new` and then handed out
/// do.
class CRefCount {
public:
    ULONG Add() { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Drop() { return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1; }

private:
    std::atomic<ULONG> m_count = 0;
};

/// The count of an object that may have an owner beside its references. The object goes when Drop or Disown
/// gives 0. As long as it is owned it stays, however often others give back what they never took; if they
/// did, its count is wrong and it stays for good.
class COwnedCount {
public:
    LONG Add() { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    LONG Drop() { return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    void Own() { m_count.fetch_add(kOwner, std::memory_order_relaxed); }
    LONG Disown() { return m_count.fetch_sub(kOwner, std::memory_order_acq_rel) - kOwner; }

    /// What COM gets to see of such an answer.
    static ULONG Shown(LONG count) {
        const LONG references = count < kOwner / 2 ? count : count - kOwner;
        return references < 0 ? 0 : static_cast<ULONG>(references);
    }

private:
    static constexpr LONG kOwner = 0x40000000; // counts for so many references
    std::atomic<LONG> m_count = 0;
};

/// References held in reserve to an object of the platform's that an effect gets to see: one which gives back
/// what it never took does not end it under us.
inline constexpr int kReserve = 16;
inline void HoldReserve(IUnknown* object) {
    for (int n = 0; n < kReserve; ++n)
        object->AddRef();
}
/// Gives the reserve back. False when nothing is left: the object is gone, with every reference to it.
inline bool ReleaseReserve(IUnknown* object) {
    for (int n = 0; n < kReserve; ++n)
        if (object->Release() == 0)
            return false;
    return true;
}

/// Keeps COM initialised on the thread that made it, until it is destroyed on the same thread. Destroyed on
/// another one it leaves COM as it is: there it brought none.
class CComApartment {
public:
    CComApartment() : m_result(::CoInitialize(nullptr)), m_thread(::GetCurrentThreadId()) {}
    ~CComApartment() {
        if (SUCCEEDED(m_result) && m_thread == ::GetCurrentThreadId())
            ::CoUninitialize();
    }
    CComApartment(const CComApartment&) = delete;
    CComApartment& operator=(const CComApartment&) = delete;

    /// COM stays, and with it the libraries that it loaded.
    void Keep() { m_result = E_FAIL; }

private:
    HRESULT m_result;
    const DWORD m_thread;
};

/// Answers a QueryInterface with `object` and a reference to it.
template <typename T>
HRESULT HandOut(T* object, void** out) {
    object->AddRef();
    *out = object;
    return S_OK;
}
