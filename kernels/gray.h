// Gray from colour: 0.114 blue + 0.587 green + 0.299 red, alpha ignored.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Where blue, green and red sit in the source pixel.
struct ColourPositions {
  int32_t blue = 0;
  int32_t green = 1;
  int32_t red = 2;
};

// Three different channels of a four-channel pixel.
constexpr bool AreThreeChannels(ColourPositions at) {
  const auto valid = [](int32_t c) { return c >= 0 && c <= 3; };
  return valid(at.blue) && valid(at.green) && valid(at.red) && at.blue != at.green &&
         at.blue != at.red && at.green != at.red;
}

// Byte sources of 3 or 4 bytes per pixel. Into bytes the weights are 15-bit fixed point,
// rounded to nearest; into floats the gray is scaled to 0..1.
Status ToGray8u(ConstImageView src, int32_t srcPixelBytes, ColourPositions at, ImageView dst);
Status ToGray8uTo32f(ConstImageView src, int32_t srcPixelBytes, ColourPositions at, ImageView dst);
// Four-float sources: into floats as they are, into bytes times 255, rounded, saturated.
Status ToGray32f(ConstImageView src, ColourPositions at, ImageView dst);
Status ToGray32fTo8u(ConstImageView src, ColourPositions at, ImageView dst);

// The fixed-point gray of one pixel, shared by the plain and the vector rows.
inline uint8_t GrayOf(uint32_t blue, uint32_t green, uint32_t red) {
  return static_cast<uint8_t>((blue * 3735u + green * 19235u + red * 9798u + 16384u) >> 15);
}

}  // namespace vitrella::kernels
