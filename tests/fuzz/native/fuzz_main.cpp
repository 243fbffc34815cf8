// One fuzz target; DXW_AGREES names its comparison.

#include "tests/fuzz/decoders.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

// A block of the heap of just that size: the sanitizer watches both ends.
void* Place(const void* bytes, std::size_t count) {
    static std::unique_ptr<char[]> copy;
    copy.reset(new char[count]);
    std::memcpy(copy.get(), bytes, count);
    return copy.get();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (!DXW_AGREES(std::string(reinterpret_cast<const char*>(data), size), Place))
        std::abort();
    return 0;
}
