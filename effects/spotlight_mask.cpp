#include "effects/spotlight_mask.h"

#include <algorithm>
#include <cmath>

namespace vitrella {
namespace {

// Pixels computed on each side of a span's edge: far more than the rounding of the float
// formula can move an edge, which is a small fraction of a pixel.
constexpr double kMargin = 3.0;

int32_t ClampToRow(double x, int32_t width) {
  return static_cast<int32_t>(std::clamp(x, 0.0, static_cast<double>(width)));
}

kernels::SoftEllipseShape ShapeOf(const Ellipse& e, int32_t width, int32_t height, int32_t* a,
                                  int32_t* b) {
  kernels::SoftEllipseShape s;
  s.centreX = static_cast<int32_t>(static_cast<float>(width) * e.cx);
  s.centreY = static_cast<int32_t>(static_cast<float>(height) * e.cy);
  s.xScale = 1.0f / e.aspect;
  s.yScale = e.field ? 2.0f : 1.0f;
  *a = static_cast<int32_t>(
      static_cast<float>(static_cast<int32_t>(static_cast<float>(width) * e.rx)) * s.xScale);
  *b = static_cast<int32_t>(
      static_cast<float>(static_cast<int32_t>(static_cast<float>(height) * e.ry)) * s.yScale);
  s.a2 = static_cast<float>(int64_t{*a} * *a);
  s.b2 = static_cast<float>(int64_t{*b} * *b);
  s.b = static_cast<float>(*b);
  s.feather = e.feather;
  s.falloff = e.feather > 0.0f ? 2.0f / (e.feather * 1.5f) : 0.0f;
  s.cosTheta = std::cos(e.theta);
  s.sinTheta = std::sin(e.theta);
  return s;
}

// Fills the certain spans of a row and has `computed` fill the two runs between them.
template <typename T, typename Rows>
bool FillRow(const MaskSpans& spans, int32_t width, T full, T* out, Rows computed) {
  std::fill(out, out + spans.outerBegin, T{0});
  std::fill(out + spans.fullBegin, out + spans.fullEnd, full);
  std::fill(out + spans.outerEnd, out + width, T{0});
  return computed(spans.outerBegin, spans.fullBegin) &&
         computed(std::max(spans.fullEnd, spans.fullBegin), spans.outerEnd);
}

}  // namespace

SoftEllipse::SoftEllipse(const Ellipse& e, int32_t width, int32_t height)
    : shape_(ShapeOf(e, width, height, &a_, &b_)),
      bands_(shape_),
      width_(width),
      height_(height),
      empty_(a_ == 0 && b_ == 0),
      // On a second field the first row stays empty.
      firstRow_(e.secondField ? 1 : 0) {}

float SoftEllipse::Value(int32_t x, int32_t y) const {
  if (!Set(y)) return 0.0f;
  const float yy = static_cast<float>(y - shape_.centreY) * shape_.yScale;
  return kernels::SoftEllipseValue(shape_, kernels::SoftEllipseDistance(shape_, x, yy));
}

uint8_t SoftEllipse::Byte(int32_t x, int32_t y) const {
  if (!Set(y)) return 0;
  const float yy = static_cast<float>(y - shape_.centreY) * shape_.yScale;
  return kernels::SoftEllipseByte(shape_, kernels::SoftEllipseDistance(shape_, x, yy));
}

bool SoftEllipse::Row(int32_t y, const MaskSpans& spans, uint8_t* out) const {
  return FillRow<uint8_t>(spans, width_, 255, out, [&](int32_t begin, int32_t end) {
    return begin >= end ||
           kernels::SoftEllipseRow8u(shape_, bands_, y, begin, end, out + begin) == kernels::kOk;
  });
}

bool SoftEllipse::Row(int32_t y, const MaskSpans& spans, float* out) const {
  return FillRow<float>(spans, width_, 1.0f, out, [&](int32_t begin, int32_t end) {
    return begin >= end ||
           kernels::SoftEllipseRow32f(shape_, y, begin, end, out + begin) == kernels::kOk;
  });
}

MaskSpans SoftEllipse::Spans(int32_t y) const {
  MaskSpans spans;
  // No pixel is set: A and B both 0, the rows before a second field's first, or A alone 0,
  // where the formula divides by zero and gives infinity or NaN on every pixel.
  if (!Set(y) || a_ == 0 || y >= height_) return spans;
  // The squared norm of the formula along the row, as a quadratic in X = (x - px) xs:
  // Q = alpha X^2 + beta X + gamma, and the distance is sqrt(Q) - B.
  const double k = static_cast<double>(shape_.b2) / static_cast<double>(shape_.a2);
  const double c = shape_.cosTheta;
  const double s = shape_.sinTheta;
  const double yy = static_cast<float>(y - shape_.centreY) * shape_.yScale;
  const double alpha = k * c * c + s * s;
  const double beta = 2.0 * c * s * yy * (1.0 - k);
  const double gamma = yy * yy * (k * s * s + c * c);
  if (!(alpha > 1e-12) || !std::isfinite(alpha) || !std::isfinite(beta) || !std::isfinite(gamma)) {
    spans.outerEnd = width_;  // compute the whole row
    return spans;
  }
  // The pixels where sqrt(Q) < radius, as a range of x.
  const auto below = [&](double radius, double* lo, double* hi) {
    if (!(radius > 0.0)) return false;
    const double disc = beta * beta - 4.0 * alpha * (gamma - radius * radius);
    if (!(disc >= 0.0)) return false;
    const double root = std::sqrt(disc);
    *lo = shape_.centreX + (-beta - root) / (2.0 * alpha) / shape_.xScale;
    *hi = shape_.centreX + (-beta + root) / (2.0 * alpha) / shape_.xScale;
    return true;
  };
  double lo = 0.0;
  double hi = 0.0;
  // Set where the distance is below the feather.
  if (!below(static_cast<double>(b_) + shape_.feather, &lo, &hi)) return spans;
  spans.outerBegin = ClampToRow(std::floor(lo) - kMargin, width_);
  spans.outerEnd = ClampToRow(std::ceil(hi) + kMargin + 1.0, width_);
  spans.fullBegin = spans.fullEnd = spans.outerBegin;
  // Full where it is at most minus half the feather.
  if (below(static_cast<double>(b_) - 0.5 * shape_.feather, &lo, &hi)) {
    const int32_t begin = std::max(spans.outerBegin, ClampToRow(std::ceil(lo) + kMargin, width_));
    const int32_t end =
        std::min(spans.outerEnd, ClampToRow(std::floor(hi) - kMargin + 1.0, width_));
    if (begin < end) {
      spans.fullBegin = begin;
      spans.fullEnd = end;
    }
  }
  return spans;
}

}  // namespace vitrella
