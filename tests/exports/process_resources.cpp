#include "tests/exports/process_resources.h"

#include <dshow.h>
#include <psapi.h>
#include <winternl.h>
#include <wrl/client.h>
#include <vector>

namespace {

std::size_t BusyHeapBytes() {
    HANDLE heaps[256];
    const DWORD count = ::GetProcessHeaps(256, heaps);
    std::size_t bytes = 0;
    for (DWORD i = 0; i < count; ++i) {
        PROCESS_HEAP_ENTRY entry{};
        while (::HeapWalk(heaps[i], &entry))
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
                bytes += entry.cbData;
    }
    return bytes;
}

// SystemHandleInformation: a count, then 16 bytes a handle that begin with its process.
std::size_t OpenHandles() {
    std::vector<BYTE> buffer(1 << 20);
    ULONG used = 0;
    const auto kind = static_cast<SYSTEM_INFORMATION_CLASS>(16);
    while (::NtQuerySystemInformation(kind, buffer.data(), static_cast<ULONG>(buffer.size()), &used) != 0)
        buffer.resize(buffer.size() * 2);
    const auto* const count = reinterpret_cast<const ULONG*>(buffer.data());
    std::size_t mine = 0;
    for (ULONG i = 0; i < *count; ++i)
        if (count[1 + i * 4] == ::GetCurrentProcessId())
            ++mine;
    return mine;
}

BOOL CALLBACK CountWindow(HWND, LPARAM count) {
    ++*reinterpret_cast<std::size_t*>(count);
    return TRUE;
}

} // namespace

ProcessResources CountResources() {
    ProcessResources resources{};
    resources.heapBytes = BusyHeapBytes();
    resources.handles = OpenHandles();
    ::EnumThreadWindows(::GetCurrentThreadId(), CountWindow, reinterpret_cast<LPARAM>(&resources.windows));
    return resources;
}

// By the call, not from /proc/self: files are opened by the server's process, which would show itself.
std::size_t ResidentBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    return ::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters) ? counters.WorkingSetSize
                                                                                     : 0;
}

void PlainGraph() {
    Microsoft::WRL::ComPtr<IMediaControl> control;
    ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&control));
    control->Pause();
    control->Run();
    control->Stop();
}

GraphShare MeasureGraphShare() {
    constexpr int kGraphs = 200;
    for (int i = 0; i < 10; ++i)
        PlainGraph();
    const ProcessResources before = CountResources();
    for (int i = 0; i < kGraphs; ++i)
        PlainGraph();
    const ProcessResources after = CountResources();
    const auto each = [](std::size_t from, std::size_t to) {
        return static_cast<double>(static_cast<std::ptrdiff_t>(to - from)) / kGraphs;
    };
    return {each(before.heapBytes, after.heapBytes), each(before.handles, after.handles)};
}
