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
