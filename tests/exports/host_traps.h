#pragma once

#include <windows.h>
#include <cstdint>
#include <cstring>

/// The same numbers for the same seed everywhere.
class CRandom {
public:
    explicit CRandom(std::uint32_t seed) : m_state(seed == 0 ? 1 : seed) {}

    std::uint32_t Next() {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 17;
        m_state ^= m_state << 5;
        return m_state;
    }
    int Below(int limit) { return static_cast<int>(Next() % static_cast<std::uint32_t>(limit)); }
    bool Chance(int percent) { return Below(100) < percent; }

private:
    std::uint32_t m_state;
};

/// Memory that a host should not hand over: usable bytes that end at a page nobody can touch, and a page that
/// can't be written.
class CHostTraps {
public:
    static constexpr SIZE_T kPage = 4096;
    static constexpr SIZE_T kUsable = 16 * kPage;

    CHostTraps()
        : m_pages(static_cast<BYTE*>(
              ::VirtualAlloc(nullptr, kUsable + 2 * kPage, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE))) {
        DWORD old = 0;
        ::VirtualProtect(m_pages + kUsable, kPage, PAGE_NOACCESS, &old);
        ::VirtualProtect(m_pages + kUsable + kPage, kPage, PAGE_READONLY, &old);
    }
    ~CHostTraps() { ::VirtualFree(m_pages, 0, MEM_RELEASE); }
    CHostTraps(const CHostTraps&) = delete;
    CHostTraps& operator=(const CHostTraps&) = delete;

    BYTE* Usable() const { return m_pages; }
    BYTE* NoAccess() const { return m_pages + kUsable; }
    BYTE* ReadOnly() const { return m_pages + kUsable + kPage; }
    /// A copy of `bytes` bytes whose last is the last usable one.
    BYTE* AtEnd(const void* source, SIZE_T bytes) const {
        return static_cast<BYTE*>(std::memcpy(NoAccess() - bytes, source, bytes));
    }

private:
    BYTE* const m_pages;
};
