// One-dimensional filters along rows or along columns, for four-channel and one-channel
// pictures of bytes or floats.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// copiedChannel value that filters every channel.
inline constexpr int32_t kFilterAllChannels = -1;

// Each pixel (x, y) of the common extent of src and dst becomes
//   RowFilter:    sum over i of kernel[i] * src(x - anchor + i, y)
//   ColumnFilter: sum over i of kernel[i] * src(x, y - anchor + i)
// per channel, so kernel[anchor] weighs the pixel itself. The filters read `anchor`
// pixels before the extent and length - 1 - anchor after it, along their direction: the
// caller provides them. src and dst must not overlap.
//
// Bytes: integer weights, and the result is (sum + divisor / 2) / divisor rounded down,
// saturated to 0..255, i.e. the nearest integer with halves going up.
// Floats: the kernel is normalised already; sums are formed in float, or in double where
// running sums are used.
//
// Boxes, triangles and trapezoids (kernel[i] = c * min(i + 1, s, length - i)) of more than
// a few taps are filtered with running sums, at a cost per pixel independent of the
// length; on bytes the result is exactly that of the plain sum, and a float kernel within
// a relative 1e-6 of such a shape counts as one. The vector code gives the same bytes as
// the plain loops.
//
// copiedChannel, on four-channel pictures: kFilterAllChannels, or a channel 0 to 3 whose
// values are copied from src instead of filtered (the alpha channel, when a caller keeps
// it). One-channel pictures ignore it.
//
// Status: kNullPointer for a null view or kernel, kBadSize, kBadPitch, kBadMaskSize for a
// length below 1, an anchor outside the kernel or a divisor below 1, kBadChannel for a
// copiedChannel outside -1..3.
Status RowFilter8u_C4(ConstImageView src, ImageView dst, const int32_t* kernel, int32_t length,
                      int32_t anchor, int32_t divisor, int32_t copiedChannel);
Status RowFilter8u_C1(ConstImageView src, ImageView dst, const int32_t* kernel, int32_t length,
                      int32_t anchor, int32_t divisor);
Status RowFilter32f_C4(ConstImageView src, ImageView dst, const float* kernel, int32_t length,
                       int32_t anchor, int32_t copiedChannel);
Status RowFilter32f_C1(ConstImageView src, ImageView dst, const float* kernel, int32_t length,
                       int32_t anchor);

Status ColumnFilter8u_C4(ConstImageView src, ImageView dst, const int32_t* kernel, int32_t length,
                         int32_t anchor, int32_t divisor, int32_t copiedChannel);
Status ColumnFilter8u_C1(ConstImageView src, ImageView dst, const int32_t* kernel, int32_t length,
                         int32_t anchor, int32_t divisor);
Status ColumnFilter32f_C4(ConstImageView src, ImageView dst, const float* kernel, int32_t length,
                          int32_t anchor, int32_t copiedChannel);
Status ColumnFilter32f_C1(ConstImageView src, ImageView dst, const float* kernel, int32_t length,
                          int32_t anchor);

// The column filter of four-channel pictures given as a table of row addresses, written
// transposed:
//   dst(y, x) = sum over i of kernel[i] * rows[y + i](x),  x < width, y < height,
// so row x of dst holds column x of the result. The table holds height + length - 1 rows
// and may repeat rows, which repeats edges without margins; filtering rows is this applied
// to the transposed picture. copiedChannel's values come from rows[y + anchor]. Results
// as the column filters above give them. Only trapezoids longer than a few taps go this
// way, in the vector code: for others, the plain loops, or bad arguments these return
// false and write nothing. The Takes functions say beforehand whether a kernel goes.
bool TakesTransposedColumnFilter8u(const int32_t* kernel, int32_t length, int32_t divisor);
bool TransposedColumnFilter8u_C4(const uint8_t* const* rows, int32_t width, int32_t height,
                                 ImageView dst, const int32_t* kernel, int32_t length,
                                 int32_t anchor, int32_t divisor, int32_t copiedChannel);
bool TakesTransposedColumnFilter32f(const float* kernel, int32_t length);
bool TransposedColumnFilter32f_C4(const uint8_t* const* rows, int32_t width, int32_t height,
                                  ImageView dst, const float* kernel, int32_t length,
                                  int32_t anchor, int32_t copiedChannel);

}  // namespace vitrella::kernels
