#pragma once

#include <windows.h>

/// What the process holds now, counted exactly (Windows' own totals always read 0 under Wine).
struct ProcessResources {
    std::size_t heapBytes;  ///< in busy blocks of all heaps
    std::size_t handles;    ///< kernel handles
    std::size_t windows;    ///< of this thread
    std::size_t gdiAndUser; ///< objects, where the system counts them
};

ProcessResources CountResources();
