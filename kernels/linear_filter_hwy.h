// Vector loops of the one-dimensional filters' plain sums, one build per processor family.
// Each has a plain twin in linear_filter.cpp and gives the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/byte_division.h"

namespace vitrella::kernels::vector {
// out[j] = sum over i < taps of weights[i] * tap i at j, for j < count, where tap i starts
// tapStep bytes after tap i - 1 (a pixel along a row, a pitch along a column).
// The byte form needs 255 * sum |weights| + divisor below 2^30; the narrow one
// non-negative weights with 255 * sum + divisor / 2 below 2^16.
void ConvolveLine8u(const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights, int32_t taps,
                    const ByteDivision& division, uint8_t* out, int32_t count);
void ConvolveLineNarrow8u(const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights,
                          int32_t taps, const ByteDivision& division, uint8_t* out, int32_t count);
void ConvolveLine32f(const float* first, ptrdiff_t tapStep, const float* weights, int32_t taps,
                     float* out, int32_t count);

}  // namespace vitrella::kernels::vector
