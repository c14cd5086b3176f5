// The two ways the rolling-shutter analysis finds an earlier frame to measure against:
// asking the host for it, or keeping recent frames in a cache when the host renders in
// order and cannot serve earlier ones.
#pragma once

#include "core/frame_buffer.h"
#include "effects/rs_info.h"
#include "effects/rs_state.h"
#include "vitrella/effect.h"

namespace vitrella {

struct RsAnalysisRequest {
  IEffectHost* host;
  const HostFrame* source;  // the host's record, the template of frames asked for
  const RenderInfo* info;
  float quality;
  MemoryAllocator* memory;
};

// Asks the host for up to three earlier frames, nearest first, and returns the first
// measurement of at least a pixel; no motion otherwise, or when the host has no such frame.
// current is the frame being rendered.
RsMotionResult FetchRsMotion(RsModuleState& state, const RsAnalysisRequest& request,
                             const FrameBuffer& current);

// Measures against the nearest earlier frame in the cache, going further back while the
// motion stays below half a pixel, and keeps the current frame and its result for later
// renders. Holds the cache's lock throughout. scratch is a copy of source that the search
// for older frames may overwrite; source itself is only read.
RsMotionResult CachedRsMotion(RsModuleState& state, const RsAnalysisRequest& request,
                              const FrameBuffer& source, FrameBuffer& scratch);

// The frame number to use when the host's own numbers are not trusted.
int32_t RsDerivedFrameNumber(const RenderInfo& info);

}  // namespace vitrella
