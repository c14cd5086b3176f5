// Vector rows of the levels stretch, one build per processor family.
#pragma once

#include <cstdint>

#include "kernels/levels.h"

namespace vitrella::kernels::vector {

// Sets of counts that neighbouring pixels take in turn, and the buckets of each: one past
// the last takes the values that are not counted.
inline constexpr int kCountSets = 4;
inline constexpr int kCountBuckets = kLevelBuckets + 1;

// Counts red, green and blue (at their float positions `at`) of as many four-float pixels
// of a row as whole vectors hold, pixel x into set x % kCountSets, by the float
// boundaries k * kFloatLevelStep, below `top`, the last. Answers how many pixels it counted.
int32_t CountRow32f_C4(const float* in, int32_t width, const int32_t at[3], float top,
                       uint32_t counts[kCountSets][3][kCountBuckets]);

// Four-byte pixels; the shifts say where red, green, blue and alpha lie in the
// little-endian 32-bit pixel, for the source and the destination each.
void StretchRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, const int32_t inShifts[4],
                     const int32_t outShifts[4], const ByteLevels& levels);
// Four-float pixels; alphaFirst says whether alpha is channel 0 (else 3), for each side.
// Answers how many pixels it did; the caller finishes the rest.
int32_t StretchRow32f_C4(const float* in, float* out, int32_t width, bool inAlphaFirst,
                         bool outAlphaFirst, const FloatLevels& levels);

}  // namespace vitrella::kernels::vector
