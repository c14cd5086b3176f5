// The triangular blur of whole frames that Auto Contrast and Spotlight use.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"

namespace vitrella {

// Blurs src into dst with triangular kernels (weights 1, 2, ..., m, ..., 2, 1) of sizeX
// columns and sizeY rows, the frame's edges repeated outwards. Sizes are truncated and
// capped at 1000; a size below 1 copies src as it is. The frames must have the same pixel
// size; dst's format decides the arithmetic, and a source of format 1 or 4 meets a
// destination of format 0 or 3 with its channels reversed. Its scratch frames (two, or
// one for long kernels on four-channel bytes) come from `allocator` (the kernels' memory
// when null). src and dst may be the same frame. blurAlpha zero leaves alpha as the source
// has it.
//
// Both passes repeat the third pixel from each edge over the outer two, as this blur has
// always done; frames narrower (or lower) than five pixels repeat their middle one or two.
[[nodiscard]] bool FrameBlur(const FrameBuffer& src, FrameBuffer& dst, float sizeX, float sizeY,
                             MemoryAllocator* allocator, uint8_t blurAlpha);

}  // namespace vitrella
