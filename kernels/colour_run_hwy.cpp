// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/colour_run_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cmath>
#include <cstdlib>

#include "kernels/colour_run_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Bytes as bytes: the absolute difference from the two saturated subtractions, over the
// tolerance or not, kept in the colour lanes; the first pixel with any such byte ends
// the run.
int32_t ColourRun8u(const uint8_t* pixels, int32_t count, uint32_t colour, uint32_t colourLanes,
                    int32_t tolerance) {
  int32_t i = 0;
#if HWY_TARGET != HWY_SCALAR  // one-lane vectors cannot hold the bytes of a pixel
  const hn::ScalableTag<uint32_t> d;
  const hn::Repartition<uint8_t, decltype(d)> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto reference = hn::BitCast(d8, hn::Set(d, colour));
  const auto keep = hn::Set(d, colourLanes);
  const auto limit = hn::Set(d8, static_cast<uint8_t>(tolerance));
  for (; i + lanes <= count; i += lanes) {
    const auto v = hn::LoadU(d8, pixels + 4 * static_cast<ptrdiff_t>(i));
    const auto difference = hn::Or(hn::SaturatedSub(v, reference), hn::SaturatedSub(reference, v));
    const auto over = hn::And(hn::BitCast(d, hn::VecFromMask(d8, hn::Gt(difference, limit))), keep);
    const auto ends = hn::Ne(over, hn::Zero(d));
    if (!hn::AllFalse(d, ends)) return i + static_cast<int32_t>(hn::FindFirstTrue(d, ends));
  }
#endif
  for (; i < count; ++i) {
    const uint8_t* px = pixels + 4 * static_cast<ptrdiff_t>(i);
    for (int32_t c = 0; c < 4; ++c) {
      if (((colourLanes >> (8 * c)) & 0xFF) == 0) continue;
      const int32_t reference = static_cast<int32_t>((colour >> (8 * c)) & 0xFF);
      if (std::abs(int32_t{px[c]} - reference) > tolerance) return i;
    }
  }
  return count;
}

// Floats as the plain comparison makes them: |pixel - colour| <= tolerance, which a NaN
// fails. A vector holds whole pixels.
int32_t ColourRun32f(const float* pixels, int32_t count, const float colour[4],
                     const uint32_t colourLanes[4], float tolerance) {
  int32_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  const hn::ScalableTag<float> d;
  const hn::RebindToUnsigned<decltype(d)> du;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  constexpr size_t kMaxLanes = HWY_MAX_BYTES / sizeof(float);
  if (lanes >= 4 && lanes % 4 == 0 && lanes <= static_cast<int32_t>(kMaxLanes)) {
    HWY_ALIGN float pattern[kMaxLanes];
    HWY_ALIGN uint32_t lanePattern[kMaxLanes];
    for (int32_t j = 0; j < lanes; ++j) {
      pattern[j] = colour[j % 4];
      lanePattern[j] = colourLanes[j % 4];
    }
    const auto reference = hn::Load(d, pattern);
    const auto keep = hn::Load(du, lanePattern);
    const auto limit = hn::Set(d, tolerance);
    const int32_t perVector = lanes / 4;
    // Lanes of colour channels beyond the tolerance, a NaN among them.
    const auto outside = [&](int32_t at) {
      const auto v = hn::LoadU(d, pixels + 4 * static_cast<ptrdiff_t>(at));
      const auto within = hn::Le(hn::Abs(hn::Sub(v, reference)), limit);
      return hn::AndNot(hn::BitCast(du, hn::VecFromMask(d, within)), keep);
    };
    // Four vectors to a test while the run goes on, which long runs make the usual case;
    // then vector by vector to the end.
    for (; i + 4 * perVector <= count; i += 4 * perVector) {
      const auto any = hn::Or(hn::Or(outside(i), outside(i + perVector)),
                              hn::Or(outside(i + 2 * perVector), outside(i + 3 * perVector)));
      if (!hn::AllFalse(du, hn::Ne(any, hn::Zero(du)))) break;
    }
    for (; i + perVector <= count; i += perVector) {
      const auto ends = hn::Ne(outside(i), hn::Zero(du));
      if (!hn::AllFalse(du, ends)) {
        return i + static_cast<int32_t>(hn::FindFirstTrue(du, ends)) / 4;
      }
    }
  }
#endif
  for (; i < count; ++i) {
    const float* px = pixels + 4 * static_cast<ptrdiff_t>(i);
    for (int32_t c = 0; c < 4; ++c) {
      if (colourLanes[c] != 0 && !(std::fabs(px[c] - colour[c]) <= tolerance)) return i;
    }
  }
  return count;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(ColourRun8u);
HWY_EXPORT(ColourRun32f);

int32_t ColourRun8u(const uint8_t* pixels, int32_t count, uint32_t colour, uint32_t colourLanes,
                    int32_t tolerance) {
  return HWY_DYNAMIC_DISPATCH(ColourRun8u)(pixels, count, colour, colourLanes, tolerance);
}

int32_t ColourRun32f(const float* pixels, int32_t count, const float colour[4],
                     const uint32_t colourLanes[4], float tolerance) {
  return HWY_DYNAMIC_DISPATCH(ColourRun32f)(pixels, count, colour, colourLanes, tolerance);
}

}  // namespace vitrella::kernels::vector
#endif
