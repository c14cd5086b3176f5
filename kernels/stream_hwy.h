// Vector copies that write past the caches, one build per processor family.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::kernels::vector {

// Copies `bytes` bytes from src to dst, the aligned whole vectors of dst with stores that
// bypass the caches and the rest with plain ones, and makes the stores visible before it
// returns. False where the family has no such stores, and nothing is copied.
bool StreamBytes(const uint8_t* src, uint8_t* dst, size_t bytes);

}  // namespace vitrella::kernels::vector
