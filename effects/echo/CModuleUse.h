#pragma once

#include <atomic>

/// Counts what keeps the DLL loaded: every COM object holds one of these, and so does a server lock. Threads:
/// any.
class CModuleUse {
public:
    CModuleUse() { Add(); }
    ~CModuleUse() { Drop(); }
    CModuleUse(const CModuleUse&) = delete;
    CModuleUse& operator=(const CModuleUse&) = delete;

    static void Add() { ++s_count; }
    static void Drop() { --s_count; }
    static bool IsNone() { return s_count == 0; }

private:
    static inline std::atomic<long> s_count = 0;
};
