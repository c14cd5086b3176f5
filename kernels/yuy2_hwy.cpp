// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/yuy2_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/yuy2.h"
#include "kernels/yuy2_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// One channel of a pixel, (sum >> 16) clamped to 0..255, placed at `shift`.
template <class D>
HWY_INLINE hn::Vec<D> Channel(D d, hn::Vec<D> sum, int shift) {
  const auto clamped = hn::Min(hn::Max(hn::ShiftRight<16>(sum), hn::Zero(d)), hn::Set(d, 255));
  return hn::ShiftLeftSame(clamped, shift);
}

// Each 32-bit lane holds one pair (Y0, Cb, Y1, Cr) and yields two BGRA pixels, which
// StoreInterleaved2 writes back in pixel order. Returns the pixels done, a multiple of
// two vectors' lanes; the caller finishes the row.
int32_t YUY2ToBGRAPairs(const uint8_t* HWY_RESTRICT in, uint8_t* HWY_RESTRICT out, int32_t width,
                        uint8_t alpha) {
  const hn::ScalableTag<int32_t> d;
  const hn::RebindToUnsigned<decltype(d)> du;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto byte = hn::Set(d, 0xFF);
  const auto alphaBits = hn::Set(d, static_cast<int32_t>(uint32_t{alpha} << 24));
  int32_t x = 0;
  for (; x + 2 * lanes <= width; x += 2 * lanes) {
    const auto pairs = hn::LoadU(d, reinterpret_cast<const int32_t*>(in + 2 * x));
    const auto y0 = hn::Mul(hn::And(pairs, byte), hn::Set(d, 76284));
    const auto cb = hn::And(hn::ShiftRight<8>(pairs), byte);
    const auto y1 = hn::Mul(hn::And(hn::ShiftRight<16>(pairs), byte), hn::Set(d, 76284));
    const auto cr = hn::And(hn::BitCast(d, hn::ShiftRight<24>(hn::BitCast(du, pairs))), byte);
    const auto blue = hn::Sub(hn::Mul(cb, hn::Set(d, 132186)), hn::Set(d, 18140365));
    const auto green = hn::Sub(hn::Set(d, 8887730), hn::Add(hn::Mul(cb, hn::Set(d, 25690)),
                                                            hn::Mul(cr, hn::Set(d, 53281))));
    const auto red = hn::Sub(hn::Mul(cr, hn::Set(d, 104595)), hn::Set(d, 14608761));
    const auto first =
        hn::Or(hn::Or(Channel(d, hn::Add(y0, blue), 0), Channel(d, hn::Add(y0, green), 8)),
               hn::Or(Channel(d, hn::Add(y0, red), 16), alphaBits));
    const auto second =
        hn::Or(hn::Or(Channel(d, hn::Add(y1, blue), 0), Channel(d, hn::Add(y1, green), 8)),
               hn::Or(Channel(d, hn::Add(y1, red), 16), alphaBits));
    hn::StoreInterleaved2(first, second, d, reinterpret_cast<int32_t*>(out + 4 * x));
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(YUY2ToBGRAPairs);

int32_t YUY2ToBGRAPairs(const uint8_t* in, uint8_t* out, int32_t width, uint8_t alpha) {
  return HWY_DYNAMIC_DISPATCH(YUY2ToBGRAPairs)(in, out, width, alpha);
}

}  // namespace vitrella::kernels::vector
#endif
