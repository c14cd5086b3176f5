// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/gray_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "kernels/gray.h"
#include "kernels/gray_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Whole 32-bit pixels per lane. Masking bytes 0 and 2, and (after a shift) bytes 1 and
// 3, spreads the four channels over 16-bit halves, and one widening multiply-add per
// half sums channel times weight in 32 bits: exact, and cheaper than 32-bit products.
void GrayRow8u_C4(const uint8_t* HWY_RESTRICT in, uint8_t* HWY_RESTRICT out, int32_t width,
                  int32_t blueShift, int32_t greenShift, int32_t redShift) {
  int32_t x = 0;
#if HWY_TARGET != HWY_SCALAR  // one-lane vectors cannot split into 16-bit halves
  const hn::ScalableTag<int32_t> d32;
  const hn::Repartition<int16_t, decltype(d32)> d16;
  const hn::Rebind<uint8_t, decltype(d32)> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d32));
  // The weight of each byte of the pixel; alpha's is 0.
  int32_t weight[4] = {0, 0, 0, 0};
  weight[blueShift / 8] = 3735;
  weight[greenShift / 8] = 19235;
  weight[redShift / 8] = 9798;
  const auto evenWeights = hn::BitCast(d16, hn::Set(d32, weight[0] | (weight[2] << 16)));
  const auto oddWeights = hn::BitCast(d16, hn::Set(d32, weight[1] | (weight[3] << 16)));
  const auto bytes02 = hn::Set(d32, 0x00FF00FF);
  const auto half = hn::Set(d32, 16384);
  for (; x + lanes <= width; x += lanes) {
    const auto px = hn::LoadU(d32, reinterpret_cast<const int32_t*>(in + 4 * x));
    const auto even = hn::BitCast(d16, hn::And(px, bytes02));
    const auto odd = hn::BitCast(d16, hn::And(hn::ShiftRight<8>(px), bytes02));
    auto spare = hn::Zero(d32);
    auto sum = hn::ReorderWidenMulAccumulate(d32, even, evenWeights, half, spare);
    sum = hn::ReorderWidenMulAccumulate(d32, odd, oddWeights, sum, spare);
    sum = hn::RearrangeToOddPlusEven(sum, spare);
    // At most 255 after the shift, so the demotion never saturates.
    hn::StoreU(hn::DemoteTo(d8, hn::ShiftRight<15>(sum)), d8, out + x);
  }
#endif
  for (; x < width; ++x) {
    uint32_t px;
    std::memcpy(&px, in + 4 * x, 4);
    out[x] = GrayOf((px >> blueShift) & 0xFF, (px >> greenShift) & 0xFF, (px >> redShift) & 0xFF);
  }
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(GrayRow8u_C4);

void GrayRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, int32_t blueShift,
                  int32_t greenShift, int32_t redShift) {
  HWY_DYNAMIC_DISPATCH(GrayRow8u_C4)(in, out, width, blueShift, greenShift, redShift);
}

}  // namespace vitrella::kernels::vector
#endif
