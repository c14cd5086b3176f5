// The last step of an integer filter on bytes: a weighted sum divided by the divisor,
// rounded to nearest with halves going up, saturated to a byte. Vector code has no
// integer division; the constants here let it divide exactly by multiplication.
#pragma once

#include <cstdint>

namespace vitrella::kernels {

struct ByteDivision {
  // How vector code divides a 32-bit sum t, cut first to 0 .. 256 * divisor - 1 (a larger
  // sum gives 255 as well). The quotient, at most 255, comes out of a float whose
  // integer part fills the low mantissa bits after adding 2^23.
  enum Method {
    // Divisors below 2^14: (t + 0.5) / divisor in float is never closer than the float
    // error to an integer, so rounding it less a half gives the quotient.
    kQuick,
    // Divisors below 2^16: t / divisor rounded is the quotient or one more, and the
    // remainder, exact in float below 2^24, says which.
    kResidual,
    // Larger divisors: an estimate corrected by one either way with integer remainders.
    kCorrected,
  };

  int32_t divisor = 1;
  int32_t half = 0;   // divisor / 2, added to every sum
  int32_t limit = 0;  // 256 * divisor - 1, capped to the 32-bit range
  float reciprocal = 1.0f;
  Method method = kQuick;
  // Set by a caller whose sums (with the half) never leave 0 .. limit, which need then no
  // cutting.
  bool inRange = false;
  // 16-bit sums divide by a shift when the divisor is a power of two, else by
  // multiplication (Granlund and Montgomery): the quotient is
  // (h + ((t - h) >> shift1)) >> shift2 with h the high half of magic * t.
  int32_t shift = -1;
  uint16_t magic = 0;
  int32_t shift1 = 0;
  int32_t shift2 = 0;
};

// For a divisor of at least 1.
ByteDivision MakeByteDivision(int32_t divisor);

// The reference rounding, for any sum.
inline uint8_t RoundToByte(int64_t sum, const ByteDivision& division) {
  const int64_t quotient = (sum + division.half) / division.divisor;
  return static_cast<uint8_t>(quotient < 0 ? 0 : quotient > 255 ? 255 : quotient);
}

}  // namespace vitrella::kernels
