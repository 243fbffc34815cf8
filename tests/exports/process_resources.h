#pragma once

#include <windows.h>

/// What the process holds now, counted exactly (Windows' own totals always read 0 under Wine).
struct ProcessResources {
    std::size_t heapBytes; ///< in busy blocks of all heaps
    std::size_t handles;   ///< kernel handles
    std::size_t windows;   ///< of this thread
};

ProcessResources CountResources();

/// Bytes of physical memory that the process has now.
std::size_t ResidentBytes();

/// Builds, runs and drops a filter graph without anything of ours: the platform's graph manager leaves
/// something behind of its own each time. With COM initialised.
void PlainGraph();

/// What the platform keeps of each graph, measured.
struct GraphShare {
    double heapBytes;
    double handles;
};
GraphShare MeasureGraphShare();
