// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/bgra_from_yuv420_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "host/bgra_from_yuv420_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::host::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Chroma enters the blend as a byte and leaves the widening with 4 fractional bits; the
// matrix takes it with 8.
constexpr int kZero = 128 << 4;
constexpr int kShift = 4;

void ChromaRow(const uint8_t* nearer, const uint8_t* other, int count, int weight, int even,
               int odd, uint16_t* blended, int16_t* out) {
  const hn::ScalableTag<uint16_t> d16;
  const hn::RebindToSigned<decltype(d16)> di16;
  const hn::Rebind<uint8_t, decltype(d16)> d8;
  const int lanes = static_cast<int>(hn::Lanes(d16));
  const auto weightNear = hn::Set(d16, static_cast<uint16_t>(weight));
  const auto weightOther = hn::Set(d16, static_cast<uint16_t>(4 - weight));
  int i = 0;
  for (; i + lanes <= count; i += lanes) {
    const auto a = hn::PromoteTo(d16, hn::LoadU(d8, nearer + i));
    const auto b = hn::PromoteTo(d16, hn::LoadU(d8, other + i));
    hn::StoreU(hn::Add(hn::Mul(a, weightNear), hn::Mul(b, weightOther)), d16, blended + i);
  }
  for (; i < count; ++i)
    blended[i] = static_cast<uint16_t>(weight * nearer[i] + (4 - weight) * other[i]);
  blended[-1] = blended[0];
  blended[count] = blended[count - 1];

  const auto evenNear = hn::Set(d16, static_cast<uint16_t>(even));
  const auto evenOther = hn::Set(d16, static_cast<uint16_t>(4 - even));
  const auto oddNear = hn::Set(d16, static_cast<uint16_t>(odd));
  const auto oddOther = hn::Set(d16, static_cast<uint16_t>(4 - odd));
  const auto zero = hn::Set(d16, static_cast<uint16_t>(kZero));
  i = 0;
  for (; i + lanes <= count; i += lanes) {
    const auto here = hn::LoadU(d16, blended + i);
    const auto left = hn::LoadU(d16, blended + i - 1);
    const auto right = hn::LoadU(d16, blended + i + 1);
    // Wrapping arithmetic: the centred values are signed.
    const auto evens = hn::Sub(hn::Add(hn::Mul(here, evenNear), hn::Mul(left, evenOther)), zero);
    const auto odds = hn::Sub(hn::Add(hn::Mul(here, oddNear), hn::Mul(right, oddOther)), zero);
    hn::StoreInterleaved2(hn::BitCast(di16, hn::ShiftLeft<kShift>(evens)),
                          hn::BitCast(di16, hn::ShiftLeft<kShift>(odds)), di16, out + 2 * i);
  }
  for (; i < count; ++i) {
    const int evenValue = even * blended[i] + (4 - even) * blended[i - 1] - kZero;
    const int oddValue = odd * blended[i] + (4 - odd) * blended[i + 1] - kZero;
    out[2 * i] = static_cast<int16_t>(evenValue * (1 << kShift));
    out[2 * i + 1] = static_cast<int16_t>(oddValue * (1 << kShift));
  }
}

// 16-bit lanes throughout: a multiply-high per term, saturating sums (a sum past the top
// is over 255 anyway), and the narrowing to bytes clamps.
void PixelRow(const uint8_t* luma, const int16_t* u, const int16_t* v, int width,
              const vector::YuvWeights& w, uint8_t* bgra) {
  const hn::ScalableTag<int16_t> d16;
  const hn::Rebind<uint8_t, decltype(d16)> d8;
  const int lanes = static_cast<int>(hn::Lanes(d16));
  const auto yw = hn::Set(d16, w.luma);
  const auto base = hn::Set(d16, w.base);
  const auto rv = hn::Set(d16, w.rv);
  const auto gu = hn::Set(d16, w.gu);
  const auto gv = hn::Set(d16, w.gv);
  const auto bu = hn::Set(d16, w.bu);
  const auto alpha = hn::Set(d8, uint8_t{255});
  const auto pixels = [&](const uint8_t* y8, const int16_t* u16, const int16_t* v16, uint8_t* out) {
    const auto y =
        hn::BitCast(d16, hn::PromoteTo(hn::Rebind<uint16_t, decltype(d16)>(), hn::LoadU(d8, y8)));
    const auto lumaTerm = hn::SaturatedAdd(hn::MulFixedPoint15(hn::ShiftLeft<7>(y), yw), base);
    const auto cu = hn::LoadU(d16, u16);
    const auto cv = hn::LoadU(d16, v16);
    const auto b = hn::SaturatedAdd(lumaTerm, hn::MulFixedPoint15(cu, bu));
    const auto r = hn::SaturatedAdd(lumaTerm, hn::MulFixedPoint15(cv, rv));
    const auto g = hn::SaturatedAdd(hn::SaturatedAdd(lumaTerm, hn::MulFixedPoint15(cu, gu)),
                                    hn::MulFixedPoint15(cv, gv));
    hn::StoreInterleaved4(hn::DemoteTo(d8, hn::ShiftRight<6>(b)),
                          hn::DemoteTo(d8, hn::ShiftRight<6>(g)),
                          hn::DemoteTo(d8, hn::ShiftRight<6>(r)), alpha, d8, out);
  };
  int x = 0;
  for (; x + lanes <= width; x += lanes)
    pixels(luma + x, u + x, v + x, bgra + 4 * x);
  if (x == width) return;
  // The last pixels through a vector's worth of local memory, so that no row is read or
  // written past its end.
  HWY_ALIGN uint8_t y8[HWY_MAX_BYTES / 2] = {};
  HWY_ALIGN int16_t u16[HWY_MAX_BYTES / 2] = {};
  HWY_ALIGN int16_t v16[HWY_MAX_BYTES / 2] = {};
  HWY_ALIGN uint8_t out[2 * HWY_MAX_BYTES] = {};
  // Fewer than a vector's lanes; the modulo tells the compiler so.
  const size_t rest = static_cast<size_t>(width - x) % (HWY_MAX_BYTES / 2);
  std::memcpy(y8, luma + x, rest);
  std::memcpy(u16, u + x, rest * sizeof(int16_t));
  std::memcpy(v16, v + x, rest * sizeof(int16_t));
  pixels(y8, u16, v16, out);
  std::memcpy(bgra + 4 * x, out, 4 * rest);
}

}  // namespace vitrella::host::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::host::vector {

HWY_EXPORT(ChromaRow);
HWY_EXPORT(PixelRow);

void ChromaRow(const uint8_t* nearer, const uint8_t* other, int count, int weight, int even,
               int odd, uint16_t* blended, int16_t* out) {
  HWY_DYNAMIC_DISPATCH(ChromaRow)(nearer, other, count, weight, even, odd, blended, out);
}

void PixelRow(const uint8_t* luma, const int16_t* u, const int16_t* v, int width,
              const YuvWeights& weights, uint8_t* bgra) {
  HWY_DYNAMIC_DISPATCH(PixelRow)(luma, u, v, width, weights, bgra);
}

}  // namespace vitrella::host::vector
#endif  // HWY_ONCE
