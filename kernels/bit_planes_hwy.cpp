// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/bit_planes_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/bit_planes_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Each plane's bits as a mask over a vector of bytes, and that plane's bit where it holds.
bool PackBitPlanes(const uint64_t* const* planes, int32_t planeCount, ptrdiff_t words,
                   uint8_t* bytes) {
  const hn::ScalableTag<uint8_t> d;
  const auto lanes = static_cast<int32_t>(hn::Lanes(d));
  if (lanes < 8 || 64 % lanes != 0) return false;
  for (ptrdiff_t w = 0; w < words; ++w) {
    for (int32_t part = 0; part < 64; part += lanes) {
      auto packed = hn::Zero(d);
      for (int32_t k = 0; k < planeCount; ++k) {
        const auto* bits = reinterpret_cast<const uint8_t*>(planes[k] + w) + part / 8;
        packed = hn::Or(packed, hn::IfThenElseZero(hn::LoadMaskBits(d, bits),
                                                   hn::Set(d, static_cast<uint8_t>(1U << k))));
      }
      hn::StoreU(packed, d, bytes + 64 * w + part);
    }
  }
  return true;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(PackBitPlanes);

bool PackBitPlanes(const uint64_t* const* planes, int32_t planeCount, ptrdiff_t words,
                   uint8_t* bytes) {
  return HWY_DYNAMIC_DISPATCH(PackBitPlanes)(planes, planeCount, words, bytes);
}

}  // namespace vitrella::kernels::vector
#endif
