#include "kernels/byte_division.h"

#include <algorithm>
#include <limits>

namespace vitrella::kernels {

ByteDivision MakeByteDivision(int32_t divisor) {
  ByteDivision division;
  divisor = std::max(divisor, 1);
  division.divisor = divisor;
  division.half = divisor / 2;
  division.limit = static_cast<int32_t>(
      std::min<int64_t>(int64_t{256} * divisor - 1, std::numeric_limits<int32_t>::max()));
  division.reciprocal = 1.0f / static_cast<float>(divisor);
  division.method = divisor < (1 << 14)   ? ByteDivision::kQuick
                    : divisor < (1 << 16) ? ByteDivision::kResidual
                                          : ByteDivision::kCorrected;
  if (divisor <= 0xFFFF) {
    int32_t bits = 0;  // ceil(log2(divisor))
    while ((1 << bits) < divisor)
      ++bits;
    if ((1 << bits) == divisor) division.shift = bits;
    division.magic =
        static_cast<uint16_t>((int64_t{1} << 16) * ((int64_t{1} << bits) - divisor) / divisor + 1);
    division.shift1 = std::min(bits, 1);
    division.shift2 = std::max(bits - 1, 0);
  }
  return division;
}

}  // namespace vitrella::kernels
