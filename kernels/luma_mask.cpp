#include "kernels/luma_mask.h"

#include "kernels/colour_adjust.h"

namespace vitrella::kernels {
namespace {

bool ValidPositions(ColourPositions at) {
  const auto valid = [](int32_t c) { return c >= 0 && c <= 3; };
  return valid(at.blue) && valid(at.green) && valid(at.red);
}

template <typename T, typename Pixel>
Status EachPixel(ConstImageView src, ImageView mask, ColourPositions at, Pixel pixel) {
  if (Status s = CheckViews(src, mask); s != kOk) return s;
  if (!ValidPositions(at)) return kBadChannel;
  const Size size = MinSize(src.Extent(), mask.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const T* in = src.Row<const T>(y);
    T* out = mask.Row<T>(y);
    // Plain loops that the compiler turns into vectors at -O3.
    for (int32_t x = 0; x < size.width; ++x, in += 4)
      out[x] = pixel(in[at.red], in[at.green], in[at.blue]);
  }
  return kOk;
}

}  // namespace

Status LumaMask8u_C4(ConstImageView src, ImageView mask, ColourPositions at, int32_t centre,
                     int32_t steepness) {
  return EachPixel<uint8_t>(src, mask, at, [=](int32_t r, int32_t g, int32_t b) {
    const int32_t luma = (76 * r + 149 * g + 30 * b) >> 8;
    const int32_t m = (((luma - centre) * steepness) >> 8) + centre;
    return static_cast<uint8_t>(m < 0 ? 0 : m > 255 ? 255 : m);
  });
}

Status LumaMask32f_C4(ConstImageView src, ImageView mask, ColourPositions at, float centre,
                      float steepness) {
  return EachPixel<float>(src, mask, at, [=](float r, float g, float b) {
    const float luma = 0.298f * r + 0.586f * g + 0.113f * b;
    return LimitToUnit((luma - centre) * steepness + centre);
  });
}

}  // namespace vitrella::kernels
