#include "dxhost/CDxMemory.h"

#include <new>

std::shared_ptr<CDxMemory> CDxMemory::Make(std::size_t bytes) {
    auto* const block = static_cast<BYTE*>(::VirtualAlloc(nullptr, bytes, MEM_COMMIT, PAGE_READWRITE));
    if (block == nullptr)
        return nullptr;
    try {
        return std::make_shared<CDxMemory>(block);
    } catch (const std::bad_alloc&) {
        ::VirtualFree(block, 0, MEM_RELEASE);
        return nullptr;
    }
}
