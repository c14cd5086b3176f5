// The global motion between two frames, measured by tracking corners with pyramidal
// Lucas-Kanade optical flow on small gray images.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"
#include "effects/rs_info.h"
#include "effects/rs_state.h"

namespace vitrella {

// Analysis images are this wide whatever the frame, so an analysis costs the same on any
// frame size, and motion is measured in pixels of this width.
inline constexpr int32_t kRsAnalysisWidth = 640;

// The gray analysis image of frame: 640 columns, the height scaled alike and truncated,
// sampled nearest-neighbour. Allocated from memory; false when that fails.
bool MakeRsAnalysisImage(const FrameBuffer& frame, FrameBuffer& image, MemoryAllocator* memory);

// The motion from frame a to the gray image b, in pixels of b, measured with `quality`
// (0 to 1: window and grid of the tracker) for frame number `frameNumber`. a may be any
// of the host's four formats and any size. Afterwards b holds a's gray image, so a next
// call measures between two older frames. A result that could not be measured keeps
// `invalid` set and no motion. Estimates are appended to `history`, which also guards
// against a sudden reversal of a large horizontal motion.
RsMotionResult EstimateRsMotion(const FrameBuffer& a, FrameBuffer& b, MemoryAllocator* memory,
                                float quality, int32_t frameNumber, RsMotionHistory& history);

}  // namespace vitrella
