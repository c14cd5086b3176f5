// The two steps of an automatic levels stretch: the histogram of a picture's colour
// channels, and the stretch of each pixel's levels with a move toward or away from its
// own grey.
#pragma once

#include <cstdint>

#include "kernels/gray.h"
#include "kernels/image.h"

namespace vitrella::kernels {

inline constexpr int32_t kLevelBuckets = 256;

struct RgbHistogram {
  uint32_t red[kLevelBuckets];
  uint32_t green[kLevelBuckets];
  uint32_t blue[kLevelBuckets];
};

// Counts red, green and blue of four-channel bytes, one bucket per value.
Status HistogramRgb8u_C4(ConstImageView src, ColourPositions at, RgbHistogram* out);

// The width of one bucket of float levels: 257 boundaries k * step, k = 0..256, so that
// the last bucket ends just below 1. Values outside, and NaN, are not counted.
inline constexpr float kFloatLevelStep = 0.0038910506f;
Status HistogramRgb32f_C4(ConstImageView src, ColourPositions at, RgbHistogram* out);

// Bytes: c = ((channel - lo) * gain) >> 8 for red, green and blue; with mean = (c_r + c_g +
// c_b) / 3 truncated toward zero, and delta = ((c - mean) * strength) >> 10, the result is
// c + delta when `away`, else c - delta, limited to 0..255. Shifts are arithmetic, and the
// stretched values take part in the mean unlimited.
struct ByteLevels {
  int32_t lo = 0;
  int32_t gain = 256;    // 65280 / (hi - lo), which may be negative
  int32_t strength = 0;  // 0..512
  bool away = false;
};
// Floats: c = (channel - lo) / range, mean = (c_r + c_g + c_b) * 0.33333 in doubles,
// delta = (c - mean) * strength, c + delta or c - delta, limited to 0..1 (NaN gives 0).
struct FloatLevels {
  float lo = 0.0f;
  float range = 1.0f;
  float strength = 0.0f;
  bool away = false;
};

// src's pixels stretched into dst over the common extent; each view has its own channel
// positions, and alpha is copied from src's alpha to dst's. src and dst may be one view.
Status StretchLevels8u_C4(ConstImageView src, ColourPositions srcAt, ImageView dst,
                          ColourPositions dstAt, const ByteLevels& levels);
Status StretchLevels32f_C4(ConstImageView src, ColourPositions srcAt, ImageView dst,
                           ColourPositions dstAt, const FloatLevels& levels);

// One pixel of each, shared by the plain and the vector loops.
inline void StretchPixel8u(const int32_t in[3], int32_t out[3], const ByteLevels& levels) {
  int32_t c[3];
  for (int i = 0; i < 3; ++i)
    c[i] = ((in[i] - levels.lo) * levels.gain) >> 8;
  const int32_t mean = (c[0] + c[1] + c[2]) / 3;
  for (int i = 0; i < 3; ++i) {
    const int32_t delta = ((c[i] - mean) * levels.strength) >> 10;
    const int32_t v = levels.away ? c[i] + delta : c[i] - delta;
    out[i] = v < 0 ? 0 : v > 255 ? 255 : v;
  }
}

inline void StretchPixel32f(const float in[3], float out[3], const FloatLevels& levels) {
  float c[3];
  for (int i = 0; i < 3; ++i)
    c[i] = (in[i] - levels.lo) / levels.range;
  const auto mean = static_cast<float>(
      (static_cast<double>(c[0]) + static_cast<double>(c[1]) + static_cast<double>(c[2])) *
      0.33333);
  for (int i = 0; i < 3; ++i) {
    const float delta = (c[i] - mean) * levels.strength;
    const float v = levels.away ? c[i] + delta : c[i] - delta;
    out[i] = v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;
  }
}

}  // namespace vitrella::kernels
