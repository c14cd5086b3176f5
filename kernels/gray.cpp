#include "kernels/gray.h"

#include <cstring>

#include "kernels/dispatch.h"
#include "kernels/gray_hwy.h"

namespace vitrella::kernels {
namespace {

bool ValidPositions(ColourPositions at, int32_t channels) {
  const auto inside = [channels](int32_t c) { return c >= 0 && c < channels; };
  return inside(at.blue) && inside(at.green) && inside(at.red);
}

template <typename In, typename Out, typename Gray>
Status GrayRows(ConstImageView src, int32_t channels, ColourPositions at, ImageView dst,
                Gray gray) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!ValidPositions(at, channels)) return kBadChannel;
  const Size size = MinSize(src.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const In* in = src.Row<const In>(y);
    Out* out = dst.Row<Out>(y);
    for (int32_t x = 0; x < size.width; ++x) {
      const In* px = in + static_cast<ptrdiff_t>(x) * channels;
      out[x] = gray(px[at.blue], px[at.green], px[at.red]);
    }
  }
  return kOk;
}

float UnitGray(float blue, float green, float red) {
  return 0.114f * blue + 0.587f * green + 0.299f * red;
}

}  // namespace

Status ToGray8u(ConstImageView src, int32_t srcPixelBytes, ColourPositions at, ImageView dst) {
  if (srcPixelBytes != 3 && srcPixelBytes != 4) return kBadSize;
  if (srcPixelBytes == 4 && !UseReferenceKernels()) {
    if (Status s = CheckViews(src, dst); s != kOk) return s;
    if (!ValidPositions(at, 4)) return kBadChannel;
    const Size size = MinSize(src.Extent(), dst.Extent());
    for (int32_t y = 0; y < size.height; ++y) {
      vector::GrayRow8u_C4(src.Row(y), dst.Row(y), size.width, 8 * at.blue, 8 * at.green,
                           8 * at.red);
    }
    return kOk;
  }
  return GrayRows<uint8_t, uint8_t>(
      src, srcPixelBytes, at, dst, [](uint8_t b, uint8_t g, uint8_t r) { return GrayOf(b, g, r); });
}

Status ToGray8uTo32f(ConstImageView src, int32_t srcPixelBytes, ColourPositions at, ImageView dst) {
  if (srcPixelBytes != 3 && srcPixelBytes != 4) return kBadSize;
  return GrayRows<uint8_t, float>(src, srcPixelBytes, at, dst, [](uint8_t b, uint8_t g, uint8_t r) {
    return UnitGray(b, g, r) * (1.0f / 255.0f);
  });
}

Status ToGray32f(ConstImageView src, ColourPositions at, ImageView dst) {
  return GrayRows<float, float>(src, 4, at, dst, UnitGray);
}

Status ToGray32fTo8u(ConstImageView src, ColourPositions at, ImageView dst) {
  return GrayRows<float, uint8_t>(src, 4, at, dst, [](float b, float g, float r) {
    const float v = UnitGray(b, g, r);
    const float clamped = v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;
    return static_cast<uint8_t>(clamped * 255.0f + 0.5f);  // NOLINT(bugprone-incorrect-roundings)
  });
}

}  // namespace vitrella::kernels
