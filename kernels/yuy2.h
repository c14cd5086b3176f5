// Packed 4:2:2 (Y0, Cb, Y1, Cr for every two pixels) to and from four-byte BGRA, with the
// studio-range coefficients in 16.16 fixed point. Widths count pixels on both sides.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Both pixels of a pair share Cb and Cr; an odd last pixel carries Y and Cb only and is
// decoded with a neutral Cr. Widths below 2 are refused.
Status YUY2ToBGRA(ConstImageView src, ImageView dst, uint8_t alpha);
// An odd last pixel writes its Y and a Cb of its own.
Status BGRAToYUY2(ConstImageView src, ImageView dst);

// One decoded pixel, shared by the plain and the vector rows: blue, green, red.
struct Bgr {
  uint8_t blue, green, red;
};
inline uint8_t ClampShift16(int32_t v) {
  v >>= 16;
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}
inline Bgr DecodeYCbCr(int32_t y, int32_t cb, int32_t cr) {
  const int32_t luma = y * 76284;
  return {ClampShift16(luma + cb * 132186 - 18140365),
          ClampShift16(luma - cb * 25690 - cr * 53281 + 8887730),
          ClampShift16(luma + cr * 104595 - 14608761)};
}

}  // namespace vitrella::kernels
