#pragma once

#include <windows.h>
#include <unknwn.h>
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

/// Answers a QueryInterface with `object` and a reference to it.
template <typename T>
HRESULT HandOut(T* object, void** out) {
    object->AddRef();
    *out = object;
    return S_OK;
}
