// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/transpose_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/transpose_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {

#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL

// Blocks of 4 x 4 pixels: four rows of four in four registers, turned by two rounds of
// 128-bit lane shuffles. Every store writes one whole cache line of a destination row.
vector::Covered TransposePixels16(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst,
                                  ptrdiff_t dstPitch, int32_t width, int32_t height) {
  const int32_t columns = width / 4 * 4;
  const int32_t rows = height / 4 * 4;
  for (int32_t y = 0; y < rows; y += 4) {
    const uint8_t* in = src + y * srcPitch;
    for (int32_t x = 0; x < columns; x += 4) {
      const uint8_t* from = in + static_cast<ptrdiff_t>(x) * 16;
      const __m512i r0 = _mm512_loadu_si512(from);
      const __m512i r1 = _mm512_loadu_si512(from + srcPitch);
      const __m512i r2 = _mm512_loadu_si512(from + 2 * srcPitch);
      const __m512i r3 = _mm512_loadu_si512(from + 3 * srcPitch);
      // Pixels 0 and 1 of rows 0 and 1, then 2 and 3 of them; the same of rows 2 and 3.
      const __m512i a = _mm512_shuffle_i64x2(r0, r1, 0x44);
      const __m512i b = _mm512_shuffle_i64x2(r0, r1, 0xEE);
      const __m512i c = _mm512_shuffle_i64x2(r2, r3, 0x44);
      const __m512i d = _mm512_shuffle_i64x2(r2, r3, 0xEE);
      uint8_t* to = dst + x * dstPitch + static_cast<ptrdiff_t>(y) * 16;
      _mm512_storeu_si512(to, _mm512_shuffle_i64x2(a, c, 0x88));
      _mm512_storeu_si512(to + dstPitch, _mm512_shuffle_i64x2(a, c, 0xDD));
      _mm512_storeu_si512(to + 2 * dstPitch, _mm512_shuffle_i64x2(b, d, 0x88));
      _mm512_storeu_si512(to + 3 * dstPitch, _mm512_shuffle_i64x2(b, d, 0xDD));
    }
  }
  return {columns, rows};
}

#elif HWY_TARGET == HWY_AVX2

// Blocks of 2 x 2 pixels in two 256-bit registers, turned by one 128-bit lane permute.
vector::Covered TransposePixels16(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst,
                                  ptrdiff_t dstPitch, int32_t width, int32_t height) {
  const int32_t columns = width / 2 * 2;
  const int32_t rows = height / 2 * 2;
  for (int32_t y = 0; y < rows; y += 2) {
    const uint8_t* in = src + y * srcPitch;
    for (int32_t x = 0; x < columns; x += 2) {
      const uint8_t* from = in + static_cast<ptrdiff_t>(x) * 16;
      const __m256i r0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
      const __m256i r1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + srcPitch));
      uint8_t* to = dst + x * dstPitch + static_cast<ptrdiff_t>(y) * 16;
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm256_permute2x128_si256(r0, r1, 0x20));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + dstPitch),
                          _mm256_permute2x128_si256(r0, r1, 0x31));
    }
  }
  return {columns, rows};
}

#else

// A 16-byte pixel fills this family's whole register: the caller's loops are as good.
vector::Covered TransposePixels16(const uint8_t*, ptrdiff_t, uint8_t*, ptrdiff_t, int32_t,
                                  int32_t) {
  return {0, 0};
}

#endif

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(TransposePixels16);

Covered TransposePixels16(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst, ptrdiff_t dstPitch,
                          int32_t width, int32_t height) {
  return HWY_DYNAMIC_DISPATCH(TransposePixels16)(src, srcPitch, dst, dstPitch, width, height);
}

}  // namespace vitrella::kernels::vector
#endif
