// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/transpose_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/transpose_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {

// Every whole block of kBlock x kBlock pixels: block(from, to) with its first pixel in src
// and where that pixel goes in dst. Returns the columns and rows the blocks covered.
template <int32_t kBlock, int32_t kPixelBytes, typename Block>
vector::Covered EveryBlock(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst, ptrdiff_t dstPitch,
                           int32_t width, int32_t height, Block block) {
  const int32_t columns = width / kBlock * kBlock;
  const int32_t rows = height / kBlock * kBlock;
  for (int32_t y = 0; y < rows; y += kBlock) {
    for (int32_t x = 0; x < columns; x += kBlock) {
      block(src + y * srcPitch + static_cast<ptrdiff_t>(x) * kPixelBytes,
            dst + x * dstPitch + static_cast<ptrdiff_t>(y) * kPixelBytes);
    }
  }
  return {columns, rows};
}

#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL

// Blocks of 4 x 4 pixels: four rows of four in four registers, turned by two rounds of
// 128-bit lane shuffles. Every store writes one whole cache line of a destination row.
vector::Covered TransposePixels16(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst,
                                  ptrdiff_t dstPitch, int32_t width, int32_t height) {
  return EveryBlock<4, 16>(
      src, srcPitch, dst, dstPitch, width, height, [&](const uint8_t* from, uint8_t* to) {
        const __m512i r0 = _mm512_loadu_si512(from);
        const __m512i r1 = _mm512_loadu_si512(from + srcPitch);
        const __m512i r2 = _mm512_loadu_si512(from + 2 * srcPitch);
        const __m512i r3 = _mm512_loadu_si512(from + 3 * srcPitch);
        // Pixels 0 and 1 of rows 0 and 1, then 2 and 3 of them; the
        // same of rows 2 and 3.
        const __m512i a = _mm512_shuffle_i64x2(r0, r1, 0x44);
        const __m512i b = _mm512_shuffle_i64x2(r0, r1, 0xEE);
        const __m512i c = _mm512_shuffle_i64x2(r2, r3, 0x44);
        const __m512i d = _mm512_shuffle_i64x2(r2, r3, 0xEE);
        _mm512_storeu_si512(to, _mm512_shuffle_i64x2(a, c, 0x88));
        _mm512_storeu_si512(to + dstPitch, _mm512_shuffle_i64x2(a, c, 0xDD));
        _mm512_storeu_si512(to + 2 * dstPitch, _mm512_shuffle_i64x2(b, d, 0x88));
        _mm512_storeu_si512(to + 3 * dstPitch, _mm512_shuffle_i64x2(b, d, 0xDD));
      });
}

#elif HWY_TARGET == HWY_AVX2

// Blocks of 2 x 2 pixels in two 256-bit registers, turned by one 128-bit lane permute.
vector::Covered TransposePixels16(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst,
                                  ptrdiff_t dstPitch, int32_t width, int32_t height) {
  return EveryBlock<2, 16>(
      src, srcPitch, dst, dstPitch, width, height, [&](const uint8_t* from, uint8_t* to) {
        const __m256i r0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
        const __m256i r1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + srcPitch));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to),
                            _mm256_permute2x128_si256(r0, r1, 0x20));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + dstPitch),
                            _mm256_permute2x128_si256(r0, r1, 0x31));
      });
}

#else

// A 16-byte pixel fills this family's whole register: the caller's loops are as good.
vector::Covered TransposePixels16(const uint8_t*, ptrdiff_t, uint8_t*, ptrdiff_t, int32_t,
                                  int32_t) {
  return {0, 0};
}

#endif

#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL || HWY_TARGET == HWY_AVX2

// Blocks of 8 x 8 four-byte pixels in eight 256-bit registers: pairs of pixels, then
// pairs of pairs within each 128-bit half, then the halves.
vector::Covered TransposePixels4(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst,
                                 ptrdiff_t dstPitch, int32_t width, int32_t height) {
  return EveryBlock<8, 4>(
      src, srcPitch, dst, dstPitch, width, height, [&](const uint8_t* from, uint8_t* to) {
        __m256i r[8];
        for (int32_t i = 0; i < 8; ++i)
          r[i] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i * srcPitch));
        __m256i t[8];
        for (int32_t i = 0; i < 8; i += 2) {
          t[i] = _mm256_unpacklo_epi32(r[i], r[i + 1]);
          t[i + 1] = _mm256_unpackhi_epi32(r[i], r[i + 1]);
        }
        // Columns c and c + 4 of four rows in each: 0 and 4, 1 and 5, 2 and 6, 3 and 7.
        __m256i u[8];
        for (int32_t i = 0; i < 8; i += 4) {
          u[i] = _mm256_unpacklo_epi64(t[i], t[i + 2]);
          u[i + 1] = _mm256_unpackhi_epi64(t[i], t[i + 2]);
          u[i + 2] = _mm256_unpacklo_epi64(t[i + 1], t[i + 3]);
          u[i + 3] = _mm256_unpackhi_epi64(t[i + 1], t[i + 3]);
        }
        for (int32_t c = 0; c < 4; ++c) {
          _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + c * dstPitch),
                              _mm256_permute2x128_si256(u[c], u[c + 4], 0x20));
          _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + (c + 4) * dstPitch),
                              _mm256_permute2x128_si256(u[c], u[c + 4], 0x31));
        }
      });
}

#elif HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_SSSE3

// Blocks of 4 x 4 four-byte pixels in four 128-bit registers.
vector::Covered TransposePixels4(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst,
                                 ptrdiff_t dstPitch, int32_t width, int32_t height) {
  return EveryBlock<4, 4>(
      src, srcPitch, dst, dstPitch, width, height, [&](const uint8_t* from, uint8_t* to) {
        __m128i r[4];
        for (int32_t i = 0; i < 4; ++i)
          r[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i * srcPitch));
        const __m128i t0 = _mm_unpacklo_epi32(r[0], r[1]);
        const __m128i t1 = _mm_unpackhi_epi32(r[0], r[1]);
        const __m128i t2 = _mm_unpacklo_epi32(r[2], r[3]);
        const __m128i t3 = _mm_unpackhi_epi32(r[2], r[3]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_unpacklo_epi64(t0, t2));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + dstPitch), _mm_unpackhi_epi64(t0, t2));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 2 * dstPitch), _mm_unpacklo_epi64(t1, t3));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 3 * dstPitch), _mm_unpackhi_epi64(t1, t3));
      });
}

#else

vector::Covered TransposePixels4(const uint8_t*, ptrdiff_t, uint8_t*, ptrdiff_t, int32_t, int32_t) {
  return {0, 0};
}

#endif

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(TransposePixels16);
HWY_EXPORT(TransposePixels4);

Covered TransposePixels4(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst, ptrdiff_t dstPitch,
                         int32_t width, int32_t height) {
  return HWY_DYNAMIC_DISPATCH(TransposePixels4)(src, srcPitch, dst, dstPitch, width, height);
}

Covered TransposePixels16(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst, ptrdiff_t dstPitch,
                          int32_t width, int32_t height) {
  return HWY_DYNAMIC_DISPATCH(TransposePixels16)(src, srcPitch, dst, dstPitch, width, height);
}

}  // namespace vitrella::kernels::vector
#endif
