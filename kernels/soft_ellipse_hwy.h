// Vector rows of the soft ellipse, one build per processor family.
#pragma once

#include <cstdint>

#include "kernels/soft_ellipse.h"

namespace vitrella::kernels::vector {

// The distances of count pixels from x = begin on, of the row whose Y is yy.
void SoftEllipseDistances(const SoftEllipseShape& shape, float yy, int32_t begin, int32_t count,
                          float* out);

// Bytes from the distances by the bands; unsure[i] is set (and out[i] left to the caller)
// where the band's bin cannot say.
void SoftEllipseBytes(const SoftEllipseShape& shape, const SoftEllipseBands& bands,
                      const float* distances, int32_t count, uint8_t* out, uint8_t* unsure);

// Settles unsure bytes (clears their unsure flag and writes out) where a vector
// exponential within a few millionths of the formula's value leaves its byte beyond
// doubt: more than 1/500 of a byte from the next step up or down. The rest stay unsure.
void SoftEllipseSettle(const SoftEllipseShape& shape, const float* distances, int32_t count,
                       uint8_t* out, uint8_t* unsure);

// The float mask's values from the distances, in place, as SoftEllipseValue gives them.
void SoftEllipseValues(const SoftEllipseShape& shape, float* distances, int32_t count);

}  // namespace vitrella::kernels::vector
