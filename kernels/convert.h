// Conversions between byte and float pictures.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Four-channel bytes to floats 0..1 (times 0.003921569), reversing the channels when asked.
Status BytesToUnitFloats_C4(ConstImageView src, ImageView dst, bool reverse);

// Four-channel floats to bytes: clamped to 0..1, times 255, plus 0.5, truncated; reversing
// the channels when asked.
Status UnitFloatsToBytes_C4(ConstImageView src, ImageView dst, bool reverse);

// Value by value, without scaling: floats saturate to 0..255 and are truncated, or rounded
// to nearest when roundMode is 1. valuesPerPixel is 1 or 4.
Status FloatToByte(ConstImageView src, ImageView dst, int32_t valuesPerPixel, int32_t roundMode);
Status ByteToFloat(ConstImageView src, ImageView dst, int32_t valuesPerPixel);
// The same in one pass with a scale: FloatToByte (rounded) of each value times factor, and
// ByteToFloat of each value divided by divisor, bit for bit the two steps.
Status ScaledFloatToByte(ConstImageView src, ImageView dst, int32_t valuesPerPixel, float factor);
Status ByteToDividedFloat(ConstImageView src, ImageView dst, int32_t valuesPerPixel, float divisor);

}  // namespace vitrella::kernels
