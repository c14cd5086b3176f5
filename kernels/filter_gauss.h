// Fixed Gaussian filters of four-channel pictures.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Mask codes of the fixed filters.
inline constexpr int32_t kMask3x3 = 33;
inline constexpr int32_t kMask5x5 = 55;

// Filters the common extent of src and dst with the 3 by 3 kernel 1 2 1 / 2 4 2 / 1 2 1
// over 16 (mask 33) or the 5 by 5 binomial kernel over 256 (mask 55), on all four
// channels. Reads one (or two) pixels beyond the extent on every side: the caller
// provides that border. Eight-bit results round to nearest, ties to even.
Status FilterGauss8u_C4(ConstImageView src, ImageView dst, int32_t maskCode);
Status FilterGauss32f_C4(ConstImageView src, ImageView dst, int32_t maskCode);

// Divides by 2^shift, rounding to nearest with ties to even: adding the bit just above
// the fraction lifts the tie of an odd quotient and leaves that of an even one.
inline uint8_t RoundShiftEven(uint32_t sum, int shift) {
  const uint32_t half = (1u << (shift - 1)) - 1;
  return static_cast<uint8_t>((sum + ((sum >> shift) & 1u) + half) >> shift);
}

// One channel of the 3 by 3 filter at one pixel: r0, r1 and r2 point at that channel in
// the rows above, at and below the pixel, whose neighbours lie four values away. The
// frame filter and the effects that blur single pixels share it, so they agree exactly.
inline uint8_t Gauss3x3Tap(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2) {
  const uint32_t a = r0[-4] + 2u * r0[0] + r0[4];
  const uint32_t b = r1[-4] + 2u * r1[0] + r1[4];
  const uint32_t c = r2[-4] + 2u * r2[0] + r2[4];
  return RoundShiftEven(a + 2u * b + c, 4);
}

inline float Gauss3x3Tap(const float* r0, const float* r1, const float* r2) {
  const float a = r0[-4] + 2.0f * r0[0] + r0[4];
  const float b = r1[-4] + 2.0f * r1[0] + r1[4];
  const float c = r2[-4] + 2.0f * r2[0] + r2[4];
  return (a + 2.0f * b + c) * 0.0625f;
}

}  // namespace vitrella::kernels
