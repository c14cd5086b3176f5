// Vector loops of the running sums that filter boxes, triangles and trapezoids at a cost
// per pixel independent of their length, one build per processor family. Each has a plain
// twin in linear_filter.cpp and gives the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/byte_division.h"
#include "kernels/trapezoid.h"

namespace vitrella::kernels {

// The row filters' running sums take a group of rows at once: pixel x of every row of the
// group, all channels, forms one line of this many values, and recent lines wait in a ring
// on the stack, so that one vector advances several rows.
inline constexpr int32_t kByteRowLine = 32;
inline constexpr int32_t kFloatRowLine = 8;
inline constexpr int32_t kRingLines = 1024;
inline constexpr int32_t kGatherAhead = 8;
// A running sum reads two pixels behind its window and gathers ahead of it, so the ring
// holds kernels this long.
inline constexpr int32_t kRingLongestKernel = kRingLines - 2 - kGatherAhead;

}  // namespace vitrella::kernels

namespace vitrella::kernels::vector {

// Running sums down columns: output row k of `rows` gets the trapezoid over input rows k to
// k + length - 1, `values` values per row, times scale. Bytes need
// 255 * scale * (the trapezoid's sum) + divisor below 2^30.
void TrapezoidColumns8u(const uint8_t* in, ptrdiff_t inPitch, uint8_t* out, ptrdiff_t outPitch,
                        int32_t values, int32_t rows, const Trapezoid& shape, int32_t scale,
                        const ByteDivision& division);
void TrapezoidColumns32f(const float* in, ptrdiff_t inPitch, float* out, ptrdiff_t outPitch,
                         int32_t values, int32_t rows, const Trapezoid& shape, double scale);

// Running sums down the columns of four-byte pixels, written transposed: pixel y of row x
// of out, for x < width and y < height, gets the trapezoid over pixel x of rows[y] ..
// rows[y + length - 1]; rows may repeat. keptChannel (or -1) is copied from rows[y + anchor]
// instead. Same bounds as TrapezoidColumns8u.
void TrapezoidColumnsTransposed8u(const uint8_t* const* rows, int32_t width, int32_t height,
                                  uint8_t* out, ptrdiff_t outPitch, const Trapezoid& shape,
                                  int32_t scale, const ByteDivision& division, int32_t anchor,
                                  int32_t keptChannel);

// The same for four-float pixels, rows given by their byte addresses; sums in double.
void TrapezoidColumnsTransposed32f(const uint8_t* const* rows, int32_t width, int32_t height,
                                   uint8_t* out, ptrdiff_t outPitch, const Trapezoid& shape,
                                   double scale, int32_t anchor, int32_t keptChannel);

// Running sums along kByteRowLine / channels (kFloatRowLine / channels) rows: pixel x of
// out[r] gets the trapezoid over pixels x to x + length - 1 of in[r], for x < count.
// Rows may repeat. The trapezoid is at most kRingLongestKernel long.
void TrapezoidRows8u(const uint8_t* const* in, uint8_t* const* out, int32_t channels, int32_t count,
                     const Trapezoid& shape, int32_t scale, const ByteDivision& division);
void TrapezoidRows32f(const float* const* in, float* const* out, int32_t channels, int32_t count,
                      const Trapezoid& shape, double scale);

}  // namespace vitrella::kernels::vector
