#include "kernels/convert.h"

#include <algorithm>
#include <cmath>

namespace vitrella::kernels {
namespace {

constexpr float kByteToUnit = 0.003921569f;

inline uint8_t UnitToByte(float v) {
  // NaN fails both comparisons and lands on 0.
  const float clamped = v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;
  // Non-negative here, so adding a half and truncating rounds as the format asks.
  return static_cast<uint8_t>(clamped * 255.0f + 0.5f);  // NOLINT(bugprone-incorrect-roundings)
}

// Runs `convert` on each pixel's four values, in order or reversed.
template <typename In, typename Out, typename Convert>
Status EachPixel_C4(ConstImageView src, ImageView dst, bool reverse, Convert convert) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  const Size size = MinSize(src.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const In* in = src.Row<const In>(y);
    Out* out = dst.Row<Out>(y);
    if (reverse) {
      for (int32_t x = 0; x < size.width; ++x) {
        for (int c = 0; c < 4; ++c)
          out[4 * x + c] = convert(in[4 * x + 3 - c]);
      }
    } else {
      for (int32_t i = 0; i < size.width * 4; ++i)
        out[i] = convert(in[i]);
    }
  }
  return kOk;
}

}  // namespace

Status BytesToUnitFloats_C4(ConstImageView src, ImageView dst, bool reverse) {
  return EachPixel_C4<uint8_t, float>(src, dst, reverse, [](uint8_t v) { return v * kByteToUnit; });
}

Status UnitFloatsToBytes_C4(ConstImageView src, ImageView dst, bool reverse) {
  return EachPixel_C4<float, uint8_t>(src, dst, reverse, UnitToByte);
}

Status FloatToByte(ConstImageView src, ImageView dst, int32_t valuesPerPixel, int32_t roundMode) {
  if (roundMode == 1) return ScaledFloatToByte(src, dst, valuesPerPixel, 1.0f);
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (valuesPerPixel != 1 && valuesPerPixel != 4) return kBadSize;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t count = size.width * valuesPerPixel;
  for (int32_t y = 0; y < size.height; ++y) {
    const float* in = src.Row<const float>(y);
    uint8_t* out = dst.Row(y);
    for (int32_t i = 0; i < count; ++i) {
      const float v = in[i] > 0.0f ? (in[i] < 255.0f ? in[i] : 255.0f) : 0.0f;
      out[i] = static_cast<uint8_t>(v);
    }
  }
  return kOk;
}

Status ScaledFloatToByte(ConstImageView src, ImageView dst, int32_t valuesPerPixel, float factor) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (valuesPerPixel != 1 && valuesPerPixel != 4) return kBadSize;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t count = size.width * valuesPerPixel;
  // Adding and taking away 2^23 rounds a float of 0..255 to nearest, ties to even, as
  // nearbyint does in the default rounding mode, and the loop vectorises. A factor of 1
  // changes no value.
  constexpr float kRound = 8388608.0f;
  for (int32_t y = 0; y < size.height; ++y) {
    const float* in = src.Row<const float>(y);
    uint8_t* out = dst.Row(y);
    for (int32_t i = 0; i < count; ++i) {
      const float scaled = in[i] * factor;
      const float v = scaled > 0.0f ? (scaled < 255.0f ? scaled : 255.0f) : 0.0f;
      out[i] = static_cast<uint8_t>((v + kRound) - kRound);
    }
  }
  return kOk;
}

Status ByteToFloat(ConstImageView src, ImageView dst, int32_t valuesPerPixel) {
  return ByteToDividedFloat(src, dst, valuesPerPixel, 1.0f);
}

Status ByteToDividedFloat(ConstImageView src, ImageView dst, int32_t valuesPerPixel,
                          float divisor) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (valuesPerPixel != 1 && valuesPerPixel != 4) return kBadSize;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t count = size.width * valuesPerPixel;
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* in = src.Row(y);
    float* out = dst.Row<float>(y);
    for (int32_t i = 0; i < count; ++i)
      out[i] = static_cast<float>(in[i]) / divisor;
  }
  return kOk;
}

}  // namespace vitrella::kernels
