// Vector rows of the separable resizes, one build per processor family. Same arguments
// and the same values as ResampleRow and BlendRows of resize_rows.h, over whole rows.
#pragma once

#include <cstdint>

#include "kernels/resize_rows.h"

namespace vitrella::kernels::vector {

void ResampleRow8u_C4(const uint8_t* row, const ResizeTaps& taps, float* out);
void ResampleRow32f_C4(const uint8_t* row, const ResizeTaps& taps, float* out);

void BlendRows8u(const float* const* rows, const float* weights, int32_t taps, uint8_t* out,
                 int32_t count);
void BlendRows32f(const float* const* rows, const float* weights, int32_t taps, float* out,
                  int32_t count);

}  // namespace vitrella::kernels::vector
