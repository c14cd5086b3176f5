// Vector rows of the channel grade, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels {
struct FloatGradeSpec;
}  // namespace vitrella::kernels

namespace vitrella::kernels::vector {

// Four-byte pixels graded from in to out (which may be one); the shifts say where blue,
// green and red lie in the little-endian 32-bit pixel. The tables hold 256 entries each
// as 32-bit integers, null for no lookup, and `narrow` holds the same three tables one
// after another in 16 bits, for families that look up by permuting lanes; `move` for the
// move towards luma by `amount`.
void GradeRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, int32_t blueShift,
                   int32_t greenShift, int32_t redShift, bool move, int32_t amount,
                   const int32_t weights[3], const int32_t* const tables[3],
                   const uint16_t* narrow);

// Four-float pixels graded from in to out (which may be one); blue, green and red are the
// channels' indices within a pixel.
void GradeRow32f_C4(const float* in, float* out, int32_t width, int32_t blue, int32_t green,
                    int32_t red, const FloatGradeSpec& grade);

}  // namespace vitrella::kernels::vector
