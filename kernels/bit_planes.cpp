#include "kernels/bit_planes.h"

#include <algorithm>

#include "kernels/bit_planes_hwy.h"
#include "kernels/dispatch.h"

namespace vitrella::kernels {
namespace {

// Turns a 64 by 64 block of bits over in place, bit c of row r to bit r of row c: swaps
// of ever smaller squares, 32 by 32 first, each step over all rows at once.
void Transpose64(uint64_t (&block)[64]) {
  uint64_t mask = 0x00000000FFFFFFFFULL;
  for (int32_t j = 32; j != 0; j >>= 1, mask ^= mask << j) {
    for (int32_t k = 0; k < 64; k = ((k | j) + 1) & ~j) {
      const uint64_t t = ((block[k] >> j) ^ block[k | j]) & mask;
      block[k] ^= t << j;
      block[k | j] ^= t;
    }
  }
}

}  // namespace

Status LookupBitNibbles(const uint64_t* const own[8], const uint64_t* const shared[2],
                        const uint8_t tables[4][16], ptrdiff_t words, uint8_t* out) {
  if (own == nullptr || shared == nullptr || tables == nullptr || out == nullptr)
    return kNullPointer;
  if (words < 0) return kBadSize;
  for (int32_t k = 0; k < 8; ++k) {
    if (own[k] == nullptr) return kNullPointer;
  }
  if (shared[0] == nullptr || shared[1] == nullptr) return kNullPointer;
  if (!UseReferenceKernels() && vector::LookupBitNibbles(own, shared, tables, words, out))
    return kOk;
  const auto bit = [](const uint64_t* plane, ptrdiff_t p) {
    return static_cast<uint32_t>(plane[p >> 6] >> (p & 63)) & 1U;
  };
  for (ptrdiff_t p = 0; p < 64 * words; ++p) {
    const uint32_t common = bit(shared[0], p) << 2 | bit(shared[1], p) << 3;
    for (int32_t s = 0; s < 4; ++s)
      out[4 * p + s] = tables[s][common | bit(own[s], p) | bit(own[4 + s], p) << 1];
  }
  return kOk;
}

Status GatherHighBits4(const uint8_t* bytes, ptrdiff_t words, uint64_t* const planes[4]) {
  if (bytes == nullptr || planes == nullptr) return kNullPointer;
  if (words < 0) return kBadSize;
  if (!UseReferenceKernels() && vector::GatherHighBits4(bytes, words, planes)) return kOk;
  for (int32_t s = 0; s < 4; ++s) {
    if (planes[s] == nullptr) continue;
    for (ptrdiff_t w = 0; w < words; ++w) {
      uint64_t bits = 0;
      for (int32_t b = 0; b < 64; ++b)
        bits |= static_cast<uint64_t>(bytes[4 * (64 * w + b) + s] >> 7) << b;
      planes[s][w] = bits;
    }
  }
  return kOk;
}

Status PairJumps(const uint8_t* jumps, ptrdiff_t count, uint8_t* pairs) {
  if (jumps == nullptr || pairs == nullptr) return kNullPointer;
  if (count < 0) return kBadSize;
  if (!UseReferenceKernels() && vector::PairJumps(jumps, count, pairs)) return kOk;
  for (ptrdiff_t n = 0; n < count; ++n) {
    const uint8_t jump = jumps[n];
    pairs[n] = jump < 0x40 ? static_cast<uint8_t>(jump + jumps[n + jump]) : jump;
  }
  return kOk;
}

Status OrTransposedBits(const uint64_t* src, ptrdiff_t srcPitch, int32_t rows, int32_t columns,
                        uint64_t* dst, ptrdiff_t dstPitch) {
  if (src == nullptr || dst == nullptr) return kNullPointer;
  if (rows < 0 || columns < 0) return kBadSize;
  if (srcPitch < (columns + 63) / 64 || dstPitch < (rows + 63) / 64) return kBadPitch;
  uint64_t block[64];
  for (int32_t r0 = 0; r0 < rows; r0 += 64) {
    const int32_t blockRows = std::min(64, rows - r0);
    for (int32_t c0 = 0; c0 < columns; c0 += 64) {
      const int32_t blockColumns = std::min(64, columns - c0);
      const uint64_t keep = blockColumns == 64 ? ~uint64_t{0} : (uint64_t{1} << blockColumns) - 1;
      uint64_t any = 0;
      for (int32_t r = 0; r < 64; ++r) {
        block[r] = r < blockRows ? src[(r0 + r) * srcPitch + c0 / 64] & keep : 0;
        any |= block[r];
      }
      if (any == 0) continue;  // most blocks of a sparse matrix
      Transpose64(block);
      for (int32_t c = 0; c < blockColumns; ++c)
        dst[(c0 + c) * dstPitch + r0 / 64] |= block[c];
    }
  }
  return kOk;
}

}  // namespace vitrella::kernels
