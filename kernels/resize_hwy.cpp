// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/resize_hwy.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/resize_hwy.h"
#include "kernels/resize_rows.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

// One lane holds less than a pixel: the plain rows are the vector rows.
void ResampleRow8u_C4(const uint8_t* row, const ResizeTaps& taps, float* out) {
  ResampleRow<uint8_t, 4>(row, taps, out, 0, taps.count);
}
void ResampleRow32f_C4(const uint8_t* row, const ResizeTaps& taps, float* out) {
  ResampleRow<float, 4>(row, taps, out, 0, taps.count);
}

#else

// The taps of a row, held in locals so that stores to the output cannot be taken to
// change them.
template <int kTaps>
struct TapRows {
  explicit TapRows(const ResizeTaps& taps, int32_t channels) {
    for (int k = 0; k < kTaps; ++k) {
      offset[k] = taps.offset + static_cast<ptrdiff_t>(k) * taps.count;
      weight[k] = taps.weight + static_cast<ptrdiff_t>(k) * taps.count * channels;
    }
  }
  static constexpr int kCentre = kTaps == 2 ? 0 : 1;
  const int32_t* offset[kTaps];
  const float* weight[kTaps];
};

// Fetches the source pixels that a column some way ahead will read, so that a row not yet
// in the cache arrives while the columns before it are worked on.
HWY_INLINE void PrefetchAhead(const uint8_t* row, const int32_t* offsets, int32_t x,
                              int32_t count) {
  constexpr int32_t kAhead = 32;
  hwy::Prefetch(row + offsets[x + kAhead < count ? x + kAhead : count - 1]);
}

// A vector of bytes whose 128-bit blocks are the 16 bytes at row + offsets[0], row +
// offsets[1], and so on: one block per destination pixel.
template <class D8>
HWY_INLINE hn::Vec<D8> LoadBlocks(D8 d8, const uint8_t* HWY_RESTRICT row,
                                  const int32_t* HWY_RESTRICT offsets) {
  if constexpr (hn::MaxLanes(D8()) <= 16) {
    return hn::LoadU(d8, row + offsets[0]);
  } else {
    const hn::Half<D8> half;
    constexpr size_t kBlocks = hn::MaxLanes(D8()) / 32;
    return hn::Combine(d8, LoadBlocks(half, row, offsets + kBlocks),
                       LoadBlocks(half, row, offsets));
  }
}

// Byte indices that pick channel c of neighbour `tap` out of a pixel's 16-byte block into
// the low byte of 32-bit lane c, zeroing the rest.
alignas(16) constexpr uint8_t kPickTap[4][16] = {
    {0, 128, 128, 128, 1, 128, 128, 128, 2, 128, 128, 128, 3, 128, 128, 128},
    {4, 128, 128, 128, 5, 128, 128, 128, 6, 128, 128, 128, 7, 128, 128, 128},
    {8, 128, 128, 128, 9, 128, 128, 128, 10, 128, 128, 128, 11, 128, 128, 128},
    {12, 128, 128, 128, 13, 128, 128, 128, 14, 128, 128, 128, 15, 128, 128, 128}};

// A row of four-channel bytes, each 128-bit block one destination pixel: its taps are
// neighbouring source pixels, loaded as one 16-byte piece and spread into the channel
// lanes by a byte shuffle. Columns outside that run go through the plain row.
template <int kTaps>
HWY_INLINE void ResampleRow8uWith(const uint8_t* HWY_RESTRICT row, const ResizeTaps& taps,
                                  float* HWY_RESTRICT out) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  const hn::Repartition<uint8_t, decltype(df)> d8;
  const int32_t pixels = static_cast<int32_t>(hn::Lanes(df)) / 4;
  const TapRows<kTaps> t(taps, 4);
  hn::Vec<decltype(d8)> pick[kTaps];
  for (int k = 0; k < kTaps; ++k)
    pick[k] = hn::LoadDup128(d8, kPickTap[k]);
  const auto tap = [&](hn::Vec<decltype(d8)> block, int k) {
    return hn::ConvertTo(df, hn::BitCast(di, hn::TableLookupBytesOr0(block, pick[k])));
  };
  int32_t x = taps.runFirst;
  for (; x + pixels <= taps.runEnd; x += pixels) {
    PrefetchAhead(row, t.offset[0], x, taps.count);
    const auto block = LoadBlocks(d8, row, t.offset[0] + x);
    const auto middle = tap(block, t.kCentre);
    auto value = middle;
    for (int k = 0; k < kTaps; ++k) {
      if (k == t.kCentre) continue;
      const auto weight = hn::LoadU(df, t.weight[k] + x * 4);
      value = hn::Add(value, hn::Mul(hn::Sub(tap(block, k), middle), weight));
    }
    hn::StoreU(value, df, out + x * 4);
  }
  ResampleRow<uint8_t, 4>(row, taps, out, 0, taps.runFirst);
  ResampleRow<uint8_t, 4>(row, taps, out, x, taps.count);
}

void ResampleRow8u_C4(const uint8_t* HWY_RESTRICT row, const ResizeTaps& taps,
                      float* HWY_RESTRICT out) {
  if (taps.taps == 2) {
    ResampleRow8uWith<2>(row, taps, out);
  } else {
    ResampleRow8uWith<4>(row, taps, out);
  }
}

// A row of four-channel floats, one pixel per 128-bit vector: a pixel is four
// neighbouring floats, which a plain load fetches.
template <int kTaps>
HWY_INLINE void ResampleRow32fWith(const uint8_t* HWY_RESTRICT row, const ResizeTaps& taps,
                                   float* HWY_RESTRICT out) {
  const hn::Full128<float> d;
  const int32_t count = taps.count;
  const TapRows<kTaps> t(taps, 4);
  const auto pixel = [&](int k, int32_t x) {
    return hn::LoadU(d, reinterpret_cast<const float*>(row + t.offset[k][x]));
  };
  for (int32_t x = 0; x < count; ++x) {
    PrefetchAhead(row, t.offset[0], x, count);
    const auto middle = pixel(t.kCentre, x);
    auto value = middle;
    for (int k = 0; k < kTaps; ++k) {
      if (k == t.kCentre) continue;
      value =
          hn::Add(value, hn::Mul(hn::Sub(pixel(k, x), middle), hn::LoadU(d, t.weight[k] + x * 4)));
    }
    hn::StoreU(value, d, out + x * 4);
  }
}

void ResampleRow32f_C4(const uint8_t* HWY_RESTRICT row, const ResizeTaps& taps,
                       float* HWY_RESTRICT out) {
  if (taps.taps == 2) {
    ResampleRow32fWith<2>(row, taps, out);
  } else {
    ResampleRow32fWith<4>(row, taps, out);
  }
}

#endif

// The blend of two or four rows, then rounding to bytes or a plain store.
template <typename Out, class Store>
HWY_INLINE void BlendRowsWith(const float* const* rows, const float* weights, int32_t taps,
                              Out* out, int32_t count, Store store) {
  const hn::ScalableTag<float> df;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  const int32_t centre = CentreTap(taps);
  const float* HWY_RESTRICT middleRow = rows[centre];
  int32_t i = 0;
  if (taps == 2) {
    const float* HWY_RESTRICT other = rows[1 - centre];
    const auto w = hn::Set(df, weights[1 - centre]);
    for (; i + lanes <= count; i += lanes) {
      const auto middle = hn::LoadU(df, middleRow + i);
      store(hn::Add(middle, hn::Mul(hn::Sub(hn::LoadU(df, other + i), middle), w)), out + i);
    }
  } else {
    const auto w0 = hn::Set(df, weights[0]);
    const auto w2 = hn::Set(df, weights[2]);
    const auto w3 = hn::Set(df, weights[3]);
    for (; i + lanes <= count; i += lanes) {
      const auto middle = hn::LoadU(df, middleRow + i);
      auto value = hn::Add(middle, hn::Mul(hn::Sub(hn::LoadU(df, rows[0] + i), middle), w0));
      value = hn::Add(value, hn::Mul(hn::Sub(hn::LoadU(df, rows[2] + i), middle), w2));
      value = hn::Add(value, hn::Mul(hn::Sub(hn::LoadU(df, rows[3] + i), middle), w3));
      store(value, out + i);
    }
  }
  BlendRows(rows, weights, taps, out, i, count);
}

void BlendRows8u(const float* const* rows, const float* weights, int32_t taps,
                 uint8_t* HWY_RESTRICT out, int32_t count) {
  const hn::ScalableTag<float> df;
  const hn::Rebind<uint8_t, decltype(df)> d8;
  // Rounds to nearest even, then saturates to 0..255 on the way down to bytes.
  BlendRowsWith(rows, weights, taps, out, count, [&](auto value, uint8_t* to) {
    hn::StoreU(hn::DemoteTo(d8, hn::NearestInt(value)), d8, to);
  });
}

void BlendRows32f(const float* const* rows, const float* weights, int32_t taps,
                  float* HWY_RESTRICT out, int32_t count) {
  const hn::ScalableTag<float> df;
  BlendRowsWith(rows, weights, taps, out, count,
                [&](auto value, float* to) { hn::StoreU(value, df, to); });
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(ResampleRow8u_C4);
HWY_EXPORT(ResampleRow32f_C4);
HWY_EXPORT(BlendRows8u);
HWY_EXPORT(BlendRows32f);

void ResampleRow8u_C4(const uint8_t* row, const ResizeTaps& taps, float* out) {
  HWY_DYNAMIC_DISPATCH(ResampleRow8u_C4)(row, taps, out);
}

void ResampleRow32f_C4(const uint8_t* row, const ResizeTaps& taps, float* out) {
  HWY_DYNAMIC_DISPATCH(ResampleRow32f_C4)(row, taps, out);
}

void BlendRows8u(const float* const* rows, const float* weights, int32_t taps, uint8_t* out,
                 int32_t count) {
  HWY_DYNAMIC_DISPATCH(BlendRows8u)(rows, weights, taps, out, count);
}

void BlendRows32f(const float* const* rows, const float* weights, int32_t taps, float* out,
                  int32_t count) {
  HWY_DYNAMIC_DISPATCH(BlendRows32f)(rows, weights, taps, out, count);
}

}  // namespace vitrella::kernels::vector
#endif
