#include "bgra_from_yuv420.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "host/bgra_from_yuv420_hwy.h"

namespace vitrella::host {
namespace {

int16_t Fixed(double value, int bits) {
  return static_cast<int16_t>(std::lround(value * static_cast<double>(1 << bits)));
}

// Luma 7 bits up times a weight of 14 fractional bits, kept from bit 15: 6 fractional bits.
// Chroma 8 bits up times one of 13, likewise.
vector::YuvWeights WeightsOf(const YuvMatrix& m, bool fullRange) {
  const double kg = 1.0 - m.kr - m.kb;
  const double luma = fullRange ? 1.0 : 255.0 / 219.0;
  const double chroma = fullRange ? 1.0 : 255.0 / 224.0;
  vector::YuvWeights w{};
  w.luma = Fixed(luma, 14);
  w.base = static_cast<int16_t>(std::lround((fullRange ? 0.0 : -16.0 * luma) * 64.0) + 32);
  w.rv = Fixed(chroma * 2.0 * (1.0 - m.kr), 13);
  w.gu = Fixed(-chroma * 2.0 * (1.0 - m.kb) * m.kb / kg, 13);
  w.gv = Fixed(-chroma * 2.0 * (1.0 - m.kr) * m.kr / kg, 13);
  w.bu = Fixed(chroma * 2.0 * (1.0 - m.kb), 13);
  return w;
}

// How each output row or column weighs its nearer chroma sample (of 4; the other sample
// takes the rest), on even and odd positions.
struct Taps {
  int even;
  int odd;
};

// Half way between two samples (left, MPEG's rows, JPEG): 3/4 and 1/4 either side.
// Level with the even positions: the sample itself, then the mean of two.
// Level with the odd positions: the mean of two, then the sample itself.
Taps HorizontalTaps(ChromaSiting siting) {
  switch (siting) {
    case ChromaSiting::kCenter:
    case ChromaSiting::kTop:
    case ChromaSiting::kBottom:
      return {3, 3};
    default:
      return {4, 2};
  }
}

Taps VerticalTaps(ChromaSiting siting) {
  switch (siting) {
    case ChromaSiting::kTopLeft:
    case ChromaSiting::kTop:
      return {4, 2};
    case ChromaSiting::kBottomLeft:
    case ChromaSiting::kBottom:
      return {2, 4};
    default:
      return {3, 3};
  }
}

}  // namespace

void BgraFromYuv420(const Yuv420Source& planes, int width, int height, const YuvMatrix& matrix,
                    bool fullRange, ChromaSiting siting, uint8_t* bgra, ptrdiff_t pitch) {
  if (bgra == nullptr || planes.y == nullptr || planes.u == nullptr || planes.v == nullptr ||
      width <= 0 || height <= 0) {
    return;
  }
  const vector::YuvWeights weights = WeightsOf(matrix, fullRange);
  const Taps across = HorizontalTaps(siting);
  const Taps down = VerticalTaps(siting);
  const int chromaWidth = (width + 1) / 2;
  const int chromaHeight = (height + 1) / 2;
  // Blended rows with a repeated sample at each end, then the widened rows.
  const size_t blended = static_cast<size_t>(chromaWidth) + 2;
  const size_t wide = 2 * static_cast<size_t>(chromaWidth);
  std::vector<uint16_t> rows(2 * blended);
  std::vector<int16_t> widened(2 * wide);
  uint16_t* const rowU = rows.data() + 1;
  uint16_t* const rowV = rowU + blended;
  int16_t* const wideU = widened.data();
  int16_t* const wideV = wideU + wide;
  for (int y = 0; y < height; ++y) {
    // The nearer chroma row and the one the other side of this row.
    const int k = y / 2;
    const bool odd = (y & 1) != 0;
    const int weight = odd ? down.odd : down.even;
    const int other = std::clamp(odd ? k + 1 : k - 1, 0, chromaHeight - 1);
    vector::ChromaRow(planes.u + planes.uPitch * k, planes.u + planes.uPitch * other, chromaWidth,
                      weight, across.even, across.odd, rowU, wideU);
    vector::ChromaRow(planes.v + planes.vPitch * k, planes.v + planes.vPitch * other, chromaWidth,
                      weight, across.even, across.odd, rowV, wideV);
    vector::PixelRow(planes.y + planes.yPitch * y, wideU, wideV, width, weights, bgra + pitch * y);
  }
}

}  // namespace vitrella::host
