#include "yuv420_from_bgra.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/vector_clones.h"

namespace vitrella::host {
namespace {

// Fixed point: weights carry 16 fractional bits; chroma weighs the sums of four pixels, so
// its results carry two more.
constexpr int kLumaBits = 16;
constexpr int kChromaBits = kLumaBits + 2;

struct Weights {
  int32_t yr, yg, yb, yBase;
  int32_t ur, ug, ub;
  int32_t vr, vg, vb;
  int32_t cBase;
};

int32_t Fixed(double value) {
  return static_cast<int32_t>(std::lround(value * static_cast<double>(1 << kLumaBits)));
}

Weights WeightsOf(const YuvMatrix& m, bool fullRange) {
  const double kg = 1.0 - m.kr - m.kb;
  const double luma = fullRange ? 1.0 : 219.0 / 255.0;
  const double chroma = fullRange ? 1.0 : 224.0 / 255.0;
  const double u = chroma / (2.0 * (1.0 - m.kb));
  const double v = chroma / (2.0 * (1.0 - m.kr));
  Weights w{};
  w.yr = Fixed(luma * m.kr);
  w.yg = Fixed(luma * kg);
  w.yb = Fixed(luma * m.kb);
  w.yBase = ((fullRange ? 0 : 16) << kLumaBits) + (1 << (kLumaBits - 1));
  w.ur = -Fixed(u * m.kr);
  w.ug = -Fixed(u * kg);
  w.ub = Fixed(u * (1.0 - m.kb));
  w.vr = Fixed(v * (1.0 - m.kr));
  w.vg = -Fixed(v * kg);
  w.vb = -Fixed(v * m.kb);
  w.cBase = (128 << kChromaBits) + (1 << (kChromaBits - 1));
  return w;
}

inline uint8_t Clamped(int32_t value) {
  return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

inline int32_t Channel(uint32_t pixel, int shift) {
  return static_cast<int32_t>((pixel >> shift) & 0xFFu);
}

// Plain loops over whole pixels, one output each, which the compiler vectorises.
// The weights are taken into locals first: a byte store may alias them, and the compiler
// would read them again for every pixel instead of vectorising.
VITRELLA_VECTOR_CLONES void LumaRow(const uint8_t* bgra, int width, const Weights& w,
                                    uint8_t* luma) {
  const int32_t yr = w.yr, yg = w.yg, yb = w.yb, base = w.yBase;
  for (int x = 0; x < width; ++x) {
    uint32_t pixel;
    std::memcpy(&pixel, bgra + 4 * x, 4);
    luma[x] = Clamped(
        (yr * Channel(pixel, 16) + yg * Channel(pixel, 8) + yb * Channel(pixel, 0) + base) >>
        kLumaBits);
  }
}

// One row of each chroma plane from two rows of pixels (the same row twice at the bottom
// of an odd height), for `pairs` pairs of columns.
VITRELLA_VECTOR_CLONES void ChromaRow(const uint8_t* top, const uint8_t* bottom, int pairs,
                                      const Weights& w, uint8_t* u, uint8_t* v) {
  constexpr uint64_t kEvenBytes = 0x00FF00FF00FF00FFull;
  const int32_t ur = w.ur, ug = w.ug, ub = w.ub, vr = w.vr, vg = w.vg, vb = w.vb;
  const int32_t base = w.cBase;
  for (int i = 0; i < pairs; ++i) {
    uint64_t a;
    uint64_t b;
    std::memcpy(&a, top + 8 * i, 8);
    std::memcpy(&b, bottom + 8 * i, 8);
    // Two pixels a word: blue and red, then green and alpha, summed in 16-bit lanes over
    // the two rows, then over the two pixels into the low half.
    uint64_t blueRed = (a & kEvenBytes) + (b & kEvenBytes);
    uint64_t greenAlpha = ((a >> 8) & kEvenBytes) + ((b >> 8) & kEvenBytes);
    blueRed += blueRed >> 32;
    greenAlpha += greenAlpha >> 32;
    const auto blue = static_cast<int32_t>(blueRed & 0xFFFF);
    const auto red = static_cast<int32_t>((blueRed >> 16) & 0xFFFF);
    const auto green = static_cast<int32_t>(greenAlpha & 0xFFFF);
    u[i] = Clamped((ur * red + ug * green + ub * blue + base) >> kChromaBits);
    v[i] = Clamped((vr * red + vg * green + vb * blue + base) >> kChromaBits);
  }
}

}  // namespace

void Yuv420FromBgra(const uint8_t* bgra, ptrdiff_t pitch, int width, int height,
                    const YuvMatrix& matrix, bool fullRange, const Yuv420Planes& planes) {
  if (bgra == nullptr || planes.y == nullptr || planes.u == nullptr || planes.v == nullptr ||
      width <= 0 || height <= 0) {
    return;
  }
  const Weights w = WeightsOf(matrix, fullRange);
  const int pairs = width / 2;
  // An odd width's last column goes through a copy of its pixel doubled.
  uint8_t lastTop[8];
  uint8_t lastBottom[8];
  for (int row = 0; row < height; row += 2) {
    const int below = std::min(row + 1, height - 1);
    const uint8_t* top = bgra + pitch * row;
    const uint8_t* bottom = bgra + pitch * below;
    uint8_t* u = planes.u + planes.uPitch * (row / 2);
    uint8_t* v = planes.v + planes.vPitch * (row / 2);
    LumaRow(top, width, w, planes.y + planes.yPitch * row);
    if (below != row) LumaRow(bottom, width, w, planes.y + planes.yPitch * below);
    ChromaRow(top, bottom, pairs, w, u, v);
    if (width % 2 != 0) {
      const int last = width - 1;
      std::memcpy(lastTop, top + 4 * last, 4);
      std::memcpy(lastTop + 4, top + 4 * last, 4);
      std::memcpy(lastBottom, bottom + 4 * last, 4);
      std::memcpy(lastBottom + 4, bottom + 4 * last, 4);
      ChromaRow(lastTop, lastBottom, 1, w, u + pairs, v + pairs);
    }
  }
}

}  // namespace vitrella::host
