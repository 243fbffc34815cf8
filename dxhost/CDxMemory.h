#pragma once

#include <windows.h>
#include <cstddef>
#include <memory>

/// One zeroed block of pages. Samples share it with their allocator, so that an effect which keeps a sample
/// beyond its time does not read freed memory.
class CDxMemory {
public:
    /// Null when memory is short.
    static std::shared_ptr<CDxMemory> Make(std::size_t bytes);

    explicit CDxMemory(BYTE* block) : m_block(block) {}
    ~CDxMemory() { ::VirtualFree(m_block, 0, MEM_RELEASE); }
    CDxMemory(const CDxMemory&) = delete;
    CDxMemory& operator=(const CDxMemory&) = delete;

    BYTE* Block() const { return m_block; }

private:
    BYTE* const m_block;
};
