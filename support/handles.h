#pragma once

#include <windows.h>

/// Owns one handle of the kind that `Close` closes. A raw handle elsewhere is borrowed.
template <typename T, auto Close>
class CHandle {
public:
    CHandle() = default;
    explicit CHandle(T handle) : m_handle(handle) {}
    CHandle(CHandle&& other) noexcept : m_handle(other.Detach()) {}
    CHandle& operator=(CHandle&& other) noexcept {
        if (this != &other)
            Reset(other.Detach());
        return *this;
    }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;
    ~CHandle() { Reset(); }

    T Get() const { return m_handle; }
    explicit operator bool() const { return m_handle != T{}; }

    /// For an API that hands a handle out; what was held is closed first.
    T* Put() {
        Reset();
        return &m_handle;
    }
    T Detach() {
        const T handle = m_handle;
        m_handle = T{};
        return handle;
    }
    void Reset(T handle = T{}) {
        if (m_handle != T{})
            Close(m_handle);
        m_handle = handle;
    }

private:
    T m_handle{};
};

using CKernelHandle = CHandle<HANDLE, ::CloseHandle>;
using CRegHandle = CHandle<HKEY, ::RegCloseKey>;
