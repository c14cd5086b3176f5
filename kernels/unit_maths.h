// Logarithms and powers of 2 on floats by polynomials in plain multiplies and adds, for
// kernels whose vector code must give the same bits as their plain loops: unit_maths-inl.h
// takes the same steps lane by lane. Each is within a few float steps of the exact value,
// over the ranges stated.
#pragma once

#include <bit>
#include <cstdint>

namespace vitrella::kernels::unit_maths {

// log2 of a mantissa m in [sqrt(1/2), sqrt(2)): t = (m - 1) / (m + 1), and
// log2 m = t 2 / ln 2 (1 + t^2 / 3 + t^4 / 5 + t^6 / 7 + t^8 / 9).
inline constexpr float kLog[5] = {2.8853900817779268f, 1.0f / 3, 1.0f / 5, 1.0f / 7, 1.0f / 9};
// Mantissas above sqrt(2) are halved, and their exponent raised by one.
inline constexpr int32_t kSqrt2Mantissa = 0x3504F3;
// 2^f for f in [-1/2, 1/2]: sum of (f ln 2)^i / i! to i = 7.
inline constexpr float kExp[8] = {1.0f,
                                  0.69314718055994531f,
                                  0.24022650695910071f,
                                  0.055504108664821580f,
                                  0.0096181291076284772f,
                                  0.0013333558146428443f,
                                  0.00015403530393381609f,
                                  1.5252733804059841e-05f};
// Adding it rounds a float of magnitude below 2^22 to a whole number, ties to even, and
// leaves that number in the low bits of the sum.
inline constexpr float kRound = 12582912.0f;  // 1.5 * 2^23
inline constexpr int32_t kRoundBits = 0x4B400000;
// Powers below 2^-125 are taken as 0.
inline constexpr float kLowestExponent = -125.0f;

// log2 u for u in (0, 1]; u must be a normal float.
inline float Log2(float u) {
  const auto bits = std::bit_cast<int32_t>(u);
  const int32_t mantissa = bits & 0x7FFFFF;
  const int32_t halve = mantissa > kSqrt2Mantissa ? 1 : 0;
  const float m = std::bit_cast<float>(mantissa | (0x3F800000 - (halve << 23)));
  const auto k = static_cast<float>((bits >> 23) - 127 + halve);
  const float t = (m - 1.0f) / (m + 1.0f);
  const float t2 = t * t;
  const float series = t2 * (kLog[1] + t2 * (kLog[2] + t2 * (kLog[3] + t2 * kLog[4])));
  return k + t * kLog[0] * (1.0f + series);
}

// 2^y for y <= 0; 0 below 2^-125.
inline float Exp2(float y) {
  const float rounded = y + kRound;
  const float f = y - (rounded - kRound);
  float e2 = kExp[7];
  for (int i = 6; i >= 0; --i)
    e2 = kExp[i] + f * e2;
  if (!(y >= kLowestExponent)) return 0.0f;
  const int32_t n = std::bit_cast<int32_t>(rounded) - kRoundBits;
  return std::bit_cast<float>(std::bit_cast<int32_t>(e2) + n * (1 << 23));
}

}  // namespace vitrella::kernels::unit_maths
