#include "kernels/band_mix.h"

#include <algorithm>

#include "kernels/band_mix_hwy.h"
#include "kernels/colour_adjust.h"
#include "kernels/dispatch.h"

namespace vitrella::kernels {
namespace {

float Row(const float m[4], float c0, float c1, float c2) {
  return m[0] * c0 + m[1] * c1 + m[2] * c2 + m[3];
}

void MixRow(const float* in, float* out, int32_t width, ColourPositions at, int32_t first,
            const BandMix& mix) {
  const int32_t alpha = first == 0 ? 3 : 0;
  for (int32_t x = 0; x < width; ++x, in += 4, out += 4) {
    const float luma = 0.298f * in[at.red] + 0.586f * in[at.green] + 0.113f * in[at.blue];
    const float m = LimitToUnit((luma - mix.centre) * mix.steepness + mix.centre);
    const float c0 = in[first], c1 = in[first + 1], c2 = in[first + 2];
    const float a = in[alpha];
    const float under = std::min(1.0f, LimitToUnit(a) * (1.0f - m));
    for (int i = 0; i < 3; ++i) {
      const float light = LimitToUnit(Row(mix.light[i], c0, c1, c2));
      const float dark = LimitToUnit(Row(mix.dark[i], c0, c1, c2));
      out[first + i] = std::min(1.0f, light * m + dark * under);
    }
    out[alpha] = a;
  }
}

}  // namespace

Status MixBands32f_C4(ConstImageView src, ImageView dst, ColourPositions at, int32_t first,
                      const BandMix& mix) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (mix.light == nullptr || mix.dark == nullptr) return kNullPointer;
  const auto valid = [](int32_t c) { return c >= 0 && c <= 3; };
  if ((first != 0 && first != 1) || !valid(at.red) || !valid(at.green) || !valid(at.blue)) {
    return kBadChannel;
  }
  const Size size = MinSize(src.Extent(), dst.Extent());
  const bool plain = UseReferenceKernels();
  for (int32_t y = 0; y < size.height; ++y) {
    const float* in = src.Row<const float>(y);
    float* out = dst.Row<float>(y);
    const int32_t done = plain ? 0 : vector::MixBandsPixels32f(in, out, size.width, at, first, mix);
    MixRow(in + 4 * done, out + 4 * done, size.width - done, at, first, mix);
  }
  return kOk;
}

}  // namespace vitrella::kernels
