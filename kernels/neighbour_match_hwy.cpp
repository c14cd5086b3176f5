// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/neighbour_match_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstdlib>

#include "kernels/neighbour_match.h"
#include "kernels/neighbour_match_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Bytes compared as bytes: the absolute difference of each byte from the two saturated
// subtractions, over the tolerance or not; then per 32-bit pixel, whether any (or every)
// colour byte lies beyond it.
void NeighbourMatchRow8u(const uint8_t* centre, ptrdiff_t pitch, int32_t width,
                         uint32_t colourBytes, int32_t tolerance, uint16_t* masks) {
  int32_t x = 0;
#if HWY_TARGET != HWY_SCALAR  // one-lane vectors cannot hold the bytes of a pixel
  const hn::ScalableTag<uint32_t> d;
  const hn::Repartition<uint8_t, decltype(d)> d8;
  const hn::RebindToSigned<decltype(d)> di;
  const hn::Rebind<uint16_t, decltype(di)> d16;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto limit = hn::Set(d8, static_cast<uint8_t>(tolerance < 0     ? 0
                                                      : tolerance > 255 ? 255
                                                                        : tolerance));
  const auto colour = hn::Set(d, colourBytes);
  const auto zero = hn::Zero(d);
  // Bytes beyond the tolerance, as 0xFF, kept in the colour channels only.
  const auto beyond = [&](const uint8_t* a, const uint8_t* b) {
    const auto va = hn::LoadU(d8, a);
    const auto vb = hn::LoadU(d8, b);
    const auto difference = hn::Or(hn::SaturatedSub(va, vb), hn::SaturatedSub(vb, va));
    const auto over = hn::VecFromMask(d8, hn::Gt(difference, limit));
    return hn::And(hn::BitCast(d, over), colour);
  };
  // A negative tolerance matches nothing, which the bytes cannot say: the plain loops do it.
  if (tolerance >= 0) {
    for (; x + lanes <= width; x += lanes) {
      const uint8_t* here = centre + 4 * x;
      auto mask = zero;
      for (int32_t i = 0; i < kNeighbourOffsets; ++i) {
        const auto over = beyond(here, here + kNeighbourDy[i] * pitch + 4 * kNeighbourDx[i]);
        mask = hn::Or(mask, hn::IfThenElseZero(hn::Eq(over, zero), hn::Set(d, 1U << i)));
      }
      const auto right = beyond(here, here + 4);
      const auto below = beyond(here, here + pitch);
      mask = hn::Or(mask,
                    hn::IfThenElseZero(hn::Eq(right, colour), hn::Set(d, 1U << kDiffersRightBit)));
      mask = hn::Or(mask,
                    hn::IfThenElseZero(hn::Eq(below, colour), hn::Set(d, 1U << kDiffersBelowBit)));
      // Twelve bits: the signed demotion never saturates.
      hn::StoreU(hn::DemoteTo(d16, hn::BitCast(di, mask)), d16, masks + x);
    }
  }
#endif
  for (; x < width; ++x) {
    const uint8_t* here = centre + 4 * x;
    const auto within = [&](const uint8_t* other) {
      int32_t count = 0;
      for (int32_t c = 0; c < 4; ++c) {
        if (((colourBytes >> (8 * c)) & 0xFF) == 0) continue;
        count += std::abs(int32_t{here[c]} - int32_t{other[c]}) <= tolerance ? 1 : 0;
      }
      return count;
    };
    uint32_t mask = 0;
    for (int32_t i = 0; i < kNeighbourOffsets; ++i) {
      if (within(here + kNeighbourDy[i] * pitch + 4 * kNeighbourDx[i]) == 3) mask |= 1U << i;
    }
    if (within(here + 4) == 0) mask |= 1U << kDiffersRightBit;
    if (within(here + pitch) == 0) mask |= 1U << kDiffersBelowBit;
    masks[x] = static_cast<uint16_t>(mask);
  }
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(NeighbourMatchRow8u);

void NeighbourMatchRow8u(const uint8_t* centre, ptrdiff_t pitch, int32_t width,
                         uint32_t colourBytes, int32_t tolerance, uint16_t* masks) {
  HWY_DYNAMIC_DISPATCH(NeighbourMatchRow8u)(centre, pitch, width, colourBytes, tolerance, masks);
}

}  // namespace vitrella::kernels::vector
#endif
