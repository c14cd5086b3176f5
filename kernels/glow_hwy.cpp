// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/glow_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/glow_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Whole 32-bit pixels per lane: the three colour bytes are shifted out and summed, and the
// sum looks its mask up.
int32_t BrightMaskPixels8u(const uint8_t* in, uint8_t* mask, int32_t width, int32_t firstShift,
                           const int32_t* table) {
  const hn::ScalableTag<int32_t> d;
  const hn::Rebind<uint8_t, decltype(d)> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto byte = hn::Set(d, 0xFF);
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const auto px = hn::LoadU(d, reinterpret_cast<const int32_t*>(in + 4 * x));
    auto sum = hn::And(hn::ShiftRightSame(px, firstShift), byte);
    sum = hn::Add(sum, hn::And(hn::ShiftRightSame(px, firstShift + 8), byte));
    sum = hn::Add(sum, hn::And(hn::ShiftRightSame(px, firstShift + 16), byte));
    hn::StoreU(hn::DemoteTo(d8, hn::GatherIndex(d, table, sum)), d8, mask + x);
  }
  return x;
}

// The table holds each mask value's four added bytes in one 32-bit word, so one gather per
// pixel and one saturating add of bytes do the whole step.
int32_t AddGlowPixels8u(const uint8_t* mask, uint8_t* out, int32_t width, const int32_t* table) {
#if HWY_TARGET == HWY_SCALAR
  // One lane holds no bytes to add: the plain loop does the row.
  (void)mask;
  (void)out;
  (void)width;
  (void)table;
  return 0;
#else
  const hn::ScalableTag<int32_t> d;
  const hn::Rebind<uint8_t, decltype(d)> d8;
  const hn::Repartition<uint8_t, decltype(d)> bytes;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const auto m = hn::PromoteTo(d, hn::LoadU(d8, mask + x));
    const auto add = hn::BitCast(bytes, hn::GatherIndex(d, table, m));
    uint8_t* p = out + 4 * x;
    hn::StoreU(hn::SaturatedAdd(hn::LoadU(bytes, p), add), bytes, p);
  }
  return x;
#endif
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(BrightMaskPixels8u);
HWY_EXPORT(AddGlowPixels8u);

int32_t BrightMaskPixels8u(const uint8_t* in, uint8_t* mask, int32_t width, int32_t firstShift,
                           const int32_t* table) {
  return HWY_DYNAMIC_DISPATCH(BrightMaskPixels8u)(in, mask, width, firstShift, table);
}

int32_t AddGlowPixels8u(const uint8_t* mask, uint8_t* out, int32_t width, const int32_t* table) {
  return HWY_DYNAMIC_DISPATCH(AddGlowPixels8u)(mask, out, width, table);
}

}  // namespace vitrella::kernels::vector
#endif
