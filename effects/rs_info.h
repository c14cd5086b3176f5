// The analysis record of one frame and the result of one motion estimate.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella {

// A plain record, copied byte for byte into and out of the cache's slots.
struct CRsInfo {
  float motionX = 0.0f;  // motion per frame, in pixels of the analysis image
  float motionY = 0.0f;
  int32_t motionFrame = 0;
  int32_t invalid = 1;  // 1 until an estimate stands
  int32_t frameNumber = 0;
  float quality = 0.0f;  // "Quality" of the estimate; another value does not match
  int32_t reserved24 = 0;
  int32_t height = 0;
  int32_t width = 0;
  int32_t pixelBytes = 0;
  int32_t ringPosition = 0;  // used in the meta slot only
  uint8_t flipped = 0;
  int32_t format = 0;
  uint8_t used = 0;
};
static_assert(sizeof(CRsInfo) == 56);
static_assert(offsetof(CRsInfo, ringPosition) == 40);
static_assert(offsetof(CRsInfo, used) == 52);

struct RsMotionResult {
  float motionX = 0.0f;
  float motionY = 0.0f;
  int32_t motionFrame = 0;
  int32_t invalid = 1;  // no motion measured
};

}  // namespace vitrella
