#include "kernels/trapezoid.h"

#include <algorithm>
#include <cmath>

namespace vitrella::kernels {
namespace {

// The trapezoid's weight at tap i, before scaling.
int64_t Step(int32_t i, int32_t shortBox, int32_t length) {
  return std::min({i + 1, shortBox, length - i});
}

// The short box of a kernel whose middle weight is `ratio` times its first, when that
// gives a trapezoid of this length; 0 otherwise.
int32_t ShortBox(double ratio, int32_t length) {
  const int32_t widest = (length + 1) / 2;
  // A float kernel normalised by its sum holds its ratios only to rounding: the widest
  // triangle's may come out a hair above `widest`. The taps are checked one by one after.
  if (!(ratio >= 0.5 && ratio < widest + 0.5)) return 0;
  return static_cast<int32_t>(std::lround(ratio));
}

}  // namespace

bool FindTrapezoid(const int32_t* kernel, int32_t length, Trapezoid* shape, int32_t* scale) {
  if (kernel == nullptr || length < 1 || kernel[0] == 0) return false;
  const int64_t c = kernel[0];
  const int64_t middle = kernel[length / 2];
  if (middle % c != 0) return false;
  // Exact: middle is a multiple of c.
  const int32_t shortBox = ShortBox(static_cast<double>(middle / c), length);  // NOLINT

  if (shortBox == 0) return false;
  for (int32_t i = 0; i < length; ++i) {
    if (kernel[i] != c * Step(i, shortBox, length)) return false;
  }
  *shape = {shortBox, length + 1 - shortBox};
  *scale = static_cast<int32_t>(c);
  return true;
}

bool FindTrapezoid(const float* kernel, int32_t length, Trapezoid* shape, double* scale) {
  if (kernel == nullptr || length < 1) return false;
  const double c = kernel[0];
  if (c == 0.0 || !std::isfinite(c)) return false;
  const int32_t shortBox = ShortBox(kernel[length / 2] / c, length);
  if (shortBox == 0) return false;
  double sum = 0.0;
  double steps = 0.0;
  for (int32_t i = 0; i < length; ++i) {
    const double expected = c * static_cast<double>(Step(i, shortBox, length));
    if (!(std::fabs(kernel[i] - expected) <= 1e-6 * std::fabs(expected))) return false;
    sum += kernel[i];
    steps += static_cast<double>(Step(i, shortBox, length));
  }
  *shape = {shortBox, length + 1 - shortBox};
  *scale = sum / steps;
  return true;
}

}  // namespace vitrella::kernels
