// The arithmetic of a glow over the bright parts of a picture: dimming all four channels,
// a mask of the bright areas with two thresholds, and the blurred mask added back in a
// colour. Four-channel pictures of bytes or floats, one-channel masks of the same depth.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// The colour channels times a factor: bytes (c q + 127) / 255 with q = trunc(m 255), so
// that q = 255 keeps the pixel; floats c m. Alpha (channel 0 or 3) is copied as it is, so
// that src and dst may be one view.
Status DimChannels8u_C4(ConstImageView src, ImageView dst, int32_t alpha, int32_t q);
Status DimChannels32f_C4(ConstImageView src, ImageView dst, int32_t alpha, float m);

// The thresholds of the bright mask, on the sum s of a pixel's three colour channels.
struct ByteThresholds {
  int32_t low;   // trunc((1 - Ambience) 320)
  int32_t high;  // trunc((1 - Glow) 385 + 321)
};
struct FloatThresholds {
  float low;   // (1 - Ambience) 320.999 / 255
  float high;  // ((1 - Glow) 385 + 321) / 255
};

// v = 0 below low, s - low below high, else 2 s - high (floats: (s - high) 2 + high), a
// step up at s = high. Bytes: mask = min(v / 3, 255), truncating; floats: min(v 0.33333, 1),
// a NaN giving 0. Alpha does not count. The extent must be the mask's.
Status BrightMask8u_C4(ConstImageView src, ImageView mask, int32_t alpha, ByteThresholds t);
Status BrightMask32f_C4(ConstImageView src, ImageView mask, int32_t alpha, FloatThresholds t);

// Each colour channel of dst gains (mask scaled by the strength) times its gain (0 to 3,
// given for dst's channels in memory order, alpha's ignored), limited from above to 255 or
// 1 and not from below. Bytes scale the mask by (mask strength + 128) >> 8 with strength =
// trunc(Glow 255); floats by mask Glow. Alpha stays.
Status AddGlow8u_C4(ConstImageView mask, ImageView dst, int32_t alpha, int32_t strength,
                    const int32_t gains[4]);
Status AddGlow32f_C4(ConstImageView mask, ImageView dst, int32_t alpha, float strength,
                     const int32_t gains[4]);

}  // namespace vitrella::kernels
