// A soft ellipse mask: full inside a rotated ellipse, falling off across a feathered band
// outside it, 0 beyond. Each pixel's distance from the edge is computed in single
// precision with every step rounded as written, and so is the falloff: the plain loops and
// the vector code give the same bits.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "kernels/image.h"
#include "kernels/unit_maths.h"

namespace vitrella::kernels {

struct SoftEllipseShape {
  int32_t centreX = 0;
  int32_t centreY = 0;
  float xScale = 1.0f;  // X = (x - centreX) xScale, Y = (y - centreY) yScale
  float yScale = 1.0f;
  float cosTheta = 1.0f;
  float sinTheta = 0.0f;
  float a2 = 0.0f;  // the squared semi-axes
  float b2 = 0.0f;
  float b = 0.0f;  // the semi-axis that the distance is measured against
  float feather = 0.0f;
  float falloff = 0.0f;  // 2 / (1.5 feather), 0 without a feather
};

// The signed distance of pixel x of the row whose Y is yy: with u = X cos - Y sin and
// v = X sin + Y cos, sqrt(b2 u u / a2 + v v) - b. NaN or infinity where it has none.
inline float SoftEllipseDistance(const SoftEllipseShape& s, int32_t x, float yy) {
  const float xx = static_cast<float>(x - s.centreX) * s.xScale;
  const float u = xx * s.cosTheta - yy * s.sinTheta;
  const float v = xx * s.sinTheta + yy * s.cosTheta;
  return std::sqrt(s.b2 * u * u / s.a2 + v * v) - s.b;
}

// The falloff across the band, 2.71828^-(t t) with t = (distance + feather / 2) falloff
// 1.1, through the maths library's power, which the byte mask's bands are settled against.
inline float SoftEllipseFalloff(const SoftEllipseShape& s, float distance) {
  const float t = (distance + s.feather * 0.5f) * s.falloff * 1.1f;
  return std::pow(2.71828f, -(t * t));
}
// The byte mask: 255 inside, 0 from the feather on (and for NaN), the falloff times 255
// truncated between.
inline uint8_t SoftEllipseByte(const SoftEllipseShape& s, float distance) {
  if (!(distance < s.feather)) return 0;
  if (distance <= -0.5f * s.feather) return 255;
  return static_cast<uint8_t>(SoftEllipseFalloff(s, distance) * 255.0f);
}

// log2 of 2.71828f, the falloff's base.
inline constexpr float kSoftEllipseLog2Base = 1.4426941113127627f;

// The float mask's value at a distance: 0 from the feather on (and for NaN), 1 up to minus
// half the feather, and between the same falloff as 2^-(t t log2 2.71828), by the
// polynomials that its vector rows compute alike, within 2e-7 of it.
inline float SoftEllipseValue(const SoftEllipseShape& s, float distance) {
  if (!(distance < s.feather)) return 0.0f;
  if (distance <= -0.5f * s.feather) return 1.0f;
  const float t = (distance + s.feather * 0.5f) * s.falloff * 1.1f;
  return unit_maths::Exp2(-(t * t) * kSoftEllipseLog2Base);
}

// The byte mask's values by distance across the band, in bins of a fraction of a pixel:
// a bin whose two ends give one byte, with room to spare before the next, gives that byte
// for every distance in it, since the falloff only falls; the other bins (255 here) are
// computed pixel by pixel.
struct SoftEllipseBands {
  explicit SoftEllipseBands(const SoftEllipseShape& shape);
  float start = 0.0f;
  float binsPerPixel = 0.0f;
  std::vector<int32_t> bytes;  // 32-bit, for vector gathers
};

// Pixels [begin, end) of row y into out[0 .. end - begin).
Status SoftEllipseRow8u(const SoftEllipseShape& shape, const SoftEllipseBands& bands, int32_t y,
                        int32_t begin, int32_t end, uint8_t* out);
Status SoftEllipseRow32f(const SoftEllipseShape& shape, int32_t y, int32_t begin, int32_t end,
                         float* out);

}  // namespace vitrella::kernels
