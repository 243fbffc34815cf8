#pragma once

#include <cstddef>

/// The limit that conversions are measured against: a copy through 256-bit registers. bytes: a multiple of
/// 128. AVX only: ask the processor first.
void Copy256(void* to, const void* from, std::size_t bytes);
