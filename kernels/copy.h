// Copies of pixels between views, and the replication of edge pixels into margins.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Copies the common extent of the two views, pixelBytes per pixel.
Status CopyPixels(ConstImageView src, ImageView dst, int32_t pixelBytes);

// The same copy, its stores past the caches where the processor has such stores: for a
// destination that nothing reads soon, which then neither fetches its lines first nor
// pushes out what the caches hold. The views must not overlap.
Status StreamPixels(ConstImageView src, ImageView dst, int32_t pixelBytes);

// Fills the margins of a view from the rectangle inside them by repeating the nearest
// edge pixel of that rectangle.
Status ReplicateBorder(ImageView frame, int32_t pixelBytes, int32_t left, int32_t top,
                       int32_t right, int32_t bottom);

// Copies src into dst at (left, top) and fills all four margins around it by repeating
// the nearest edge pixel. The copied extent is cut to what fits.
Status CopyWithBorder(ConstImageView src, ImageView dst, int32_t pixelBytes, int32_t left,
                      int32_t top);

// Writes pixel x of row y of src as pixel y of row x of dst, over the src extent that
// dst's transposed extent holds: columns become rows, for walks down columns that read
// along memory.
Status TransposePixels(ConstImageView src, ImageView dst, int32_t pixelBytes);

// Sets every byte of the view's pixels to zero.
Status ClearPixels(ImageView frame, int32_t pixelBytes);

// Exchanges row i with row height - 1 - i over rowBytes bytes of each row.
Status FlipRowsInPlace(ImageView frame, int32_t rowBytes);

// Copies row i of src to row n - 1 - i of dst, n the smaller height, rowBytes per row.
Status CopyRowsFlipped(ConstImageView src, ImageView dst, int32_t rowBytes);

}  // namespace vitrella::kernels
