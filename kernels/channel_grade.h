// A colour grade of four-channel bytes in one pass: the colour channels moved towards (or
// away from) the pixel's luma, then each through a table of its own. Alpha is copied.
#pragma once

#include <cstdint>

#include "kernels/gray.h"
#include "kernels/image.h"

namespace vitrella::kernels {

struct ByteGradeSpec {
  // The move towards luma, when `move` is set: each colour c becomes clamp((c * (127 -
  // amount) + luma * amount) >> 7, 0, 255), shifted arithmetically, with luma = (blue *
  // weightBlue + green * weightGreen + red * weightRed) >> 8 (weights summing to at most
  // 256, amount within -127..127). A negative amount moves away from luma; an amount of 0
  // still scales by 127/128.
  bool move = false;
  int32_t amount = 0;
  int32_t weightBlue = 0;
  int32_t weightGreen = 0;
  int32_t weightRed = 0;
  // Then blue, green and red through their tables of 256 entries, each 0 to 255 (held in
  // 32 bits, which vector code gathers from, or permutes 16-bit copies of on AVX-512);
  // null skips the step.
  const int32_t* blueTable = nullptr;
  const int32_t* greenTable = nullptr;
  const int32_t* redTable = nullptr;
};

// src and dst may be one view; the common extent is graded.
Status GradeChannels8u_C4(ConstImageView src, ImageView dst, ColourPositions at,
                          const ByteGradeSpec& grade);

// The grade of one pixel's blue, green and red in place, shared by the plain and the
// vector rows.
inline void GradePixel(int32_t& blue, int32_t& green, int32_t& red, const ByteGradeSpec& grade) {
  if (grade.move) {
    const int32_t luma =
        (blue * grade.weightBlue + green * grade.weightGreen + red * grade.weightRed) >> 8;
    const int32_t keep = 127 - grade.amount;
    const auto move = [&](int32_t c) {
      const int32_t moved = (c * keep + luma * grade.amount) >> 7;
      return moved < 0 ? 0 : moved > 255 ? 255 : moved;
    };
    blue = move(blue);
    green = move(green);
    red = move(red);
  }
  if (grade.blueTable != nullptr) {
    blue = grade.blueTable[blue];
    green = grade.greenTable[green];
    red = grade.redTable[red];
  }
}

}  // namespace vitrella::kernels
