// The per-pixel arithmetic of the warps, written plainly. The reference path runs it,
// and the vector rows finish their tails with it and follow its order of operations, so
// that both give the same values.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kernels/image.h"

namespace vitrella::kernels {

// The pixels that a warp may read: the source rectangle, with positions counted from its
// top-left pixel.
struct WarpSource {
  const uint8_t* origin = nullptr;
  ptrdiff_t pitch = 0;
  int32_t width = 0;
  int32_t height = 0;
};

// The inverse map along one destination row: the pixel i places right of the row's base
// pixel samples the source at ((a + b i) / (e + f i), (c + d i) / (e + f i)). Both
// numerators and the denominator are linear in i.
struct WarpRowMap {
  float a, b, c, d, e, f;
};

// Row maps of strips side by side along one destination row: column x takes the row map
// of strip owner[x], at place[x] along it (x less the map's base pixel). The maps are
// held a field to an array, by strip. Vector code reads a vector's width (HWY_MAX_BYTES
// / 4 values) past the last column of a run and past the last strip, and needs the owners
// of any vector's lanes to lie within its width of the first lane's.
struct StripRowMaps {
  const float* a;
  const float* b;
  const float* c;
  const float* d;
  const float* e;
  const float* f;
  const int32_t* owner;
  const float* place;
};

struct WarpPosition {
  float u, v;
};

inline WarpPosition MapAlongRow(const WarpRowMap& m, int32_t i) {
  const float x = static_cast<float>(i);
  const float inverse = 1.0f / (m.e + m.f * x);
  return {(m.a + m.b * x) * inverse, (m.c + m.d * x) * inverse};
}

// Keeps a position within 0..last, so that every tap lies in the source rectangle. NaN,
// which a row grazing the map's vanishing line can give, goes to 0.
inline float ClampPosition(float p, float last) {
  p = p >= 0.0f ? p : 0.0f;
  return p <= last ? p : last;
}

template <typename T>
inline float ChannelOf(const uint8_t* pixel, int c) {
  T value;
  std::memcpy(&value, pixel + c * sizeof(T), sizeof(T));
  return static_cast<float>(value);
}

// kChannels is 4 for colour pictures and 1 for masks.
template <typename T, int kChannels = 4>
inline const uint8_t* SourcePixel(const WarpSource& s, int32_t x, int32_t y) {
  return s.origin + static_cast<ptrdiff_t>(y) * s.pitch +
         static_cast<ptrdiff_t>(x) * kChannels * sizeof(T);
}

// The pixel whose centre is nearest: pixel i holds the positions i - 1/2 to i + 1/2.
template <typename T, int kChannels = 4>
inline void SampleNearest(const WarpSource& s, WarpPosition p, float out[4]) {
  const float u = ClampPosition(p.u, static_cast<float>(s.width - 1));
  const float v = ClampPosition(p.v, static_cast<float>(s.height - 1));
  const uint8_t* pixel = SourcePixel<T, kChannels>(s, static_cast<int32_t>(std::floor(u + 0.5f)),
                                                   static_cast<int32_t>(std::floor(v + 0.5f)));
  for (int c = 0; c < kChannels; ++c)
    out[c] = ChannelOf<T>(pixel, c);
}

// Eight-bit bilinear works in fixed point, two channels to a 32-bit word in vector code:
// weights in 1/32768, values with 7 fractional bits, each product rounded as the
// processors' rounding 16-bit multiply does ((a * b + 2^14) >> 15).
inline int32_t FixedWeight(float w) {
  const int32_t q = static_cast<int32_t>(std::nearbyint(w * 32768.0f));
  return q < 32767 ? q : 32767;  // a 16-bit lane holds at most 32767
}
inline int32_t MulFixed15(int32_t a, int32_t b) {
  return (a * b + 16384) >> 15;
}
inline int32_t LerpFixed7(int32_t a, int32_t b, int32_t w) {
  return a * 128 + MulFixed15((b - a) * 128, w);  // bytes to 7 fractional bits
}

// The pixel at or before the position, the fractions beyond it, and the steps to the
// taps right and below, which stay on the last pixel (where the fraction is 0).
struct BilinearTaps {
  const uint8_t* p00;
  ptrdiff_t stepX;
  ptrdiff_t stepY;
  float wx;
  float wy;
};

template <typename T, int kChannels = 4>
inline BilinearTaps BilinearTapsAt(const WarpSource& s, WarpPosition p) {
  const float u = ClampPosition(p.u, static_cast<float>(s.width - 1));
  const float v = ClampPosition(p.v, static_cast<float>(s.height - 1));
  const float fu = std::floor(u);
  const float fv = std::floor(v);
  const int32_t x = static_cast<int32_t>(fu);
  const int32_t y = static_cast<int32_t>(fv);
  return {SourcePixel<T, kChannels>(s, x, y),
          x < s.width - 1 ? static_cast<ptrdiff_t>(kChannels * sizeof(T)) : 0,
          y < s.height - 1 ? s.pitch : 0, u - fu, v - fv};
}

// Bilinear between the four pixels around the position; bytes in the fixed point above.
template <typename T, int kChannels = 4>
inline void SampleBilinear(const WarpSource& s, WarpPosition p, float out[4]) {
  const BilinearTaps t = BilinearTapsAt<T, kChannels>(s, p);
  const uint8_t* p10 = t.p00 + t.stepY;
  if constexpr (sizeof(T) == 1) {
    const int32_t wx = FixedWeight(t.wx);
    const int32_t wy = FixedWeight(t.wy);
    for (int c = 0; c < kChannels; ++c) {
      const int32_t top = LerpFixed7(t.p00[c], t.p00[t.stepX + c], wx);
      const int32_t bottom = LerpFixed7(p10[c], p10[t.stepX + c], wx);
      out[c] = static_cast<float>((top + MulFixed15(bottom - top, wy) + 64) >> 7);
    }
  } else {
    for (int c = 0; c < kChannels; ++c) {
      const float a = ChannelOf<T>(t.p00, c);
      const float top = a + (ChannelOf<T>(t.p00 + t.stepX, c) - a) * t.wx;
      const float d = ChannelOf<T>(p10, c);
      const float bottom = d + (ChannelOf<T>(p10 + t.stepX, c) - d) * t.wx;
      out[c] = top + (bottom - top) * t.wy;
    }
  }
}

// Catmull-Rom weights of the taps before, after and two after the pixel at or before the
// position, t beyond it; the taps are taken relative to that pixel, whose own weight is
// then not needed and a constant picture stays exact.
inline void CubicWeights(float t, float w[3]) {
  w[0] = ((-t + 2.0f) * t - 1.0f) * t * 0.5f;
  w[1] = ((-3.0f * t + 4.0f) * t + 1.0f) * t * 0.5f;
  w[2] = (t - 1.0f) * t * t * 0.5f;
}

inline float CubicBlend(const float v[4], const float w[3]) {
  float sum = v[1] + (v[0] - v[1]) * w[0];
  sum = sum + (v[2] - v[1]) * w[1];
  return sum + (v[3] - v[1]) * w[2];
}

// Catmull-Rom over the 4 by 4 pixels around the position, taps clamped to the rectangle.
template <typename T, int kChannels = 4>
inline void SampleCubic(const WarpSource& s, WarpPosition p, float out[4]) {
  const float u = ClampPosition(p.u, static_cast<float>(s.width - 1));
  const float v = ClampPosition(p.v, static_cast<float>(s.height - 1));
  const float fu = std::floor(u);
  const float fv = std::floor(v);
  float wx[3], wy[3];
  CubicWeights(u - fu, wx);
  CubicWeights(v - fv, wy);
  ptrdiff_t columns[4];
  const uint8_t* rows[4];
  for (int k = 0; k < 4; ++k) {
    const int32_t x = static_cast<int32_t>(fu) + k - 1;
    const int32_t y = static_cast<int32_t>(fv) + k - 1;
    columns[k] = static_cast<ptrdiff_t>(x < 0          ? 0
                                        : x >= s.width ? s.width - 1
                                                       : x) *
                 kChannels * sizeof(T);
    rows[k] = SourcePixel<T, kChannels>(s, 0, y < 0 ? 0 : y >= s.height ? s.height - 1 : y);
  }
  for (int c = 0; c < kChannels; ++c) {
    float down[4];
    for (int r = 0; r < 4; ++r) {
      float along[4];
      for (int k = 0; k < 4; ++k)
        along[k] = ChannelOf<T>(rows[r] + columns[k], c);
      down[r] = CubicBlend(along, wx);
    }
    out[c] = CubicBlend(down, wy);
  }
}

template <typename T, int kChannels = 4>
inline void SampleAt(const WarpSource& s, WarpPosition p, int32_t mode, float out[4]) {
  if (mode == kInterNearest) {
    SampleNearest<T, kChannels>(s, p, out);
  } else if (mode == kInterLinear) {
    SampleBilinear<T, kChannels>(s, p, out);
  } else {
    SampleCubic<T, kChannels>(s, p, out);
  }
}

// Rounds to nearest, ties to even as vector code does, and saturates; NaN becomes 0.
inline uint8_t SampleToByte(float value) {
  const float rounded = std::nearbyint(value);
  return static_cast<uint8_t>(!(rounded > 0.0f) ? 0.0f : rounded >= 255.0f ? 255.0f : rounded);
}

template <int kChannels = 4>
inline void StoreSample(const float value[4], uint8_t* out, uint8_t /*type*/) {
  for (int c = 0; c < kChannels; ++c)
    out[c] = SampleToByte(value[c]);
}
template <int kChannels = 4>
inline void StoreSample(const float value[4], uint8_t* out, float /*type*/) {
  std::memcpy(out, value, kChannels * sizeof(float));
}

// Lays the sample over what the pixel held, by coverage 0..1.
template <int kChannels = 4>
inline void BlendSample(const float value[4], float coverage, uint8_t* out, uint8_t /*type*/) {
  for (int c = 0; c < kChannels; ++c) {
    const float held = out[c];
    const float sample = value[c] < 0.0f ? 0.0f : value[c] > 255.0f ? 255.0f : value[c];
    out[c] = SampleToByte(held + (sample - held) * coverage);
  }
}
template <int kChannels = 4>
inline void BlendSample(const float value[4], float coverage, uint8_t* out, float /*type*/) {
  float held[4];
  std::memcpy(held, out, kChannels * sizeof(float));
  for (int c = 0; c < kChannels; ++c)
    held[c] = held[c] + (value[c] - held[c]) * coverage;
  std::memcpy(out, held, kChannels * sizeof(float));
}

// Samples pixels [first, end) of a destination row, counted from the row map's base
// pixel, which `base` points at.
template <typename T, int32_t kMode, int kChannels = 4>
void WarpRowWith(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                 uint8_t* base) {
  for (int32_t i = first; i < end; ++i) {
    float value[4];
    SampleAt<T, kChannels>(s, MapAlongRow(m, i), kMode, value);
    StoreSample<kChannels>(value, base + static_cast<ptrdiff_t>(i) * kChannels * sizeof(T), T{});
  }
}

template <typename T, int kChannels = 4>
void WarpRow(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end, uint8_t* base,
             int32_t mode) {
  if (mode == kInterNearest) {
    WarpRowWith<T, kInterNearest, kChannels>(s, m, first, end, base);
  } else if (mode == kInterLinear) {
    WarpRowWith<T, kInterLinear, kChannels>(s, m, first, end, base);
  } else {
    WarpRowWith<T, kInterCubic, kChannels>(s, m, first, end, base);
  }
}

// Samples columns [first, end) of a destination row across strips; `row` points at the
// row's pixel 0.
template <typename T>
void WarpStripRow(const WarpSource& s, const StripRowMaps& m, int32_t first, int32_t end,
                  uint8_t* row, int32_t mode) {
  for (int32_t x = first; x < end; ++x) {
    const int32_t k = m.owner[x];
    const WarpRowMap map{m.a[k], m.b[k], m.c[k], m.d[k], m.e[k], m.f[k]};
    const auto i = static_cast<int32_t>(m.place[x]);
    WarpRow<T>(s, map, i, i + 1, row + static_cast<ptrdiff_t>(x - i) * 4 * sizeof(T), mode);
  }
}

}  // namespace vitrella::kernels
