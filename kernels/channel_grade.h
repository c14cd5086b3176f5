// A colour grade of four-channel pixels in one pass. Bytes: the colour channels moved
// towards (or away from) the pixel's luma, then each through a table of its own. Floats:
// the same move, a curve and a tint, computed per value. Alpha is copied.
#pragma once

#include <cmath>
#include <cstdint>

#include "kernels/gray.h"
#include "kernels/image.h"
#include "kernels/unit_maths.h"

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

struct FloatGradeSpec {
  // The move towards luma, when `move` is set: each colour c becomes (c * keep + luma *
  // toward) * 2, with luma = blue * weightBlue + green * weightGreen + red * weightRed.
  bool move = false;
  float keep = 0.5f;
  float toward = 0.0f;
  float weightBlue = 0.0f;
  float weightGreen = 0.0f;
  float weightRed = 0.0f;
  // Then, when `curve` is set, each colour through UnitClarityCurve.
  bool curve = false;
  float exponent = 1.0f;
  float clarity = 0.0f;
  // Then, when `tint` is set, each colour through TintValue by its own amount.
  bool tint = false;
  float tintBlue = 0.0f;
  float tintGreen = 0.0f;
  float tintRed = 0.0f;
};

// Each stage's result is limited to 0..1, as std::clamp does (a NaN stays one).
Status GradeChannels32f_C4(ConstImageView src, ImageView dst, ColourPositions at,
                           const FloatGradeSpec& grade);

// A power curve blended with a half sine wave over it, which deepens the shadows and lifts
// the highlights as clarity rises: p = x^exponent, then
// (sin(p pi - pi / 2) + 1) / 2 * clarity + (1 - clarity) p. Through the maths library; the
// byte grades build their tables from it.
inline float ClarityCurve(float x, float exponent, float clarity) {
  const float p = std::pow(x, exponent);
  return (std::sin(p * 3.1415927f - 1.5707964f) + 1.0f) * 0.5f * clarity + (1.0f - clarity) * p;
}

// The same curve as the float grade computes it, for x limited to 0..1 first (NaN taken as
// 0): the power and the sine by polynomials in plain multiplies and adds, which the vector
// rows compute alike lane by lane, so that every path gives the same bits. Within 2e-7 of
// the exact curve for exponents of 0.5 to 2.
// sin z for z in [-pi/2, pi/2]: sum of (-1)^i z^(2i+1) / (2i+1)! to z^13.
inline constexpr float kCurveSine[7] = {1.0f,
                                        -0.16666666666666667f,
                                        0.0083333333333333333f,
                                        -0.00019841269841269841f,
                                        2.7557319223985891e-06f,
                                        -2.5052108385441719e-08f,
                                        1.6059043836821613e-10f};

inline float UnitClarityCurve(float x, float exponent, float clarity) {
  const float u = x > 0.0f ? (1.0f < x ? 1.0f : x) : 0.0f;
  const float y = exponent * unit_maths::Log2(u);
  const float p = u > 0.0f ? unit_maths::Exp2(y) : 0.0f;
  const float z = p * 3.1415927f - 1.5707964f;
  const float z2 = z * z;
  float s = kCurveSine[6];
  for (int i = 5; i >= 0; --i)
    s = kCurveSine[i] + z2 * s;
  return (z * s + 1.0f) * 0.5f * clarity + (1.0f - clarity) * p;
}

// A tint by amount a: a positive one lifts the value towards 1 by a / 2, a negative one
// cuts -a / 2 off the bottom and stretches the rest over the whole range.
inline float TintValue(float in, float a) {
  if (a >= 0.0f) return (1.0f - a * 0.5f) * in + a * 0.5f;
  const float h = a * -0.5f;
  if (in < h) return 0.0f;
  const float room = 1.0f - h;
  return (in - h) * (1.0f / (room == 0.0f ? 0.0000001f : room));
}

// The grade of one float pixel's blue, green and red in place, shared by the plain and the
// vector rows.
inline void GradePixel(float& blue, float& green, float& red, const FloatGradeSpec& grade) {
  const auto limit = [](float v) { return v < 0.0f ? 0.0f : 1.0f < v ? 1.0f : v; };
  if (grade.move) {
    const float luma = blue * grade.weightBlue + green * grade.weightGreen + red * grade.weightRed;
    const auto move = [&](float c) { return limit((c * grade.keep + luma * grade.toward) * 2.0f); };
    blue = move(blue);
    green = move(green);
    red = move(red);
  }
  if (grade.curve) {
    blue = limit(UnitClarityCurve(blue, grade.exponent, grade.clarity));
    green = limit(UnitClarityCurve(green, grade.exponent, grade.clarity));
    red = limit(UnitClarityCurve(red, grade.exponent, grade.clarity));
  }
  if (grade.tint) {
    blue = limit(TintValue(blue, grade.tintBlue));
    green = limit(TintValue(green, grade.tintGreen));
    red = limit(TintValue(red, grade.tintRed));
  }
}

}  // namespace vitrella::kernels
