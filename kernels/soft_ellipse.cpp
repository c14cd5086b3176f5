#include "kernels/soft_ellipse.h"

#include <algorithm>

#include "kernels/dispatch.h"
#include "kernels/soft_ellipse_hwy.h"

namespace vitrella::kernels {
namespace {

// Pixels at a time: the distances of a run wait on the stack for their bytes.
constexpr int32_t kRun = 256;

}  // namespace

SoftEllipseBands::SoftEllipseBands(const SoftEllipseShape& shape) {
  if (!(shape.feather > 0.0f) || !std::isfinite(shape.feather)) return;
  const float length = shape.feather * 1.5f;
  const auto bins = static_cast<int32_t>(std::clamp(length * 8.0f, 64.0f, 8192.0f));
  start = -0.5f * shape.feather;
  binsPerPixel = static_cast<float>(bins) / length;
  bytes.assign(static_cast<size_t>(bins), 255);
  float endValue = SoftEllipseFalloff(shape, start) * 255.0f;
  for (int32_t i = 0; i < bins; ++i) {
    const float startValue = endValue;
    endValue = SoftEllipseFalloff(shape, start + static_cast<float>(i + 1) / binsPerPixel) * 255.0f;
    // Both ends in one byte and clear of its bounds: every distance between gives it.
    const float level = std::floor(startValue);
    if (level == std::floor(endValue) && startValue - level < 0.999f && endValue - level > 0.001f &&
        level < 255.0f) {
      bytes[static_cast<size_t>(i)] = static_cast<int32_t>(level);
    }
  }
}

Status SoftEllipseRow8u(const SoftEllipseShape& shape, const SoftEllipseBands& bands, int32_t y,
                        int32_t begin, int32_t end, uint8_t* out) {
  if (out == nullptr) return kNullPointer;
  const float yy = static_cast<float>(y - shape.centreY) * shape.yScale;
  if (UseReferenceKernels()) {
    for (int32_t x = begin; x < end; ++x)
      out[x - begin] = SoftEllipseByte(shape, SoftEllipseDistance(shape, x, yy));
    return kOk;
  }
  float distances[kRun];
  uint8_t unsure[kRun];
  for (int32_t x = begin; x < end; x += kRun) {
    const int32_t count = std::min(kRun, end - x);
    uint8_t* row = out + (x - begin);
    vector::SoftEllipseDistances(shape, yy, x, count, distances);
    vector::SoftEllipseBytes(shape, bands, distances, count, row, unsure);
    vector::SoftEllipseSettle(shape, distances, count, row, unsure);
    for (int32_t i = 0; i < count; ++i) {
      if (unsure[i] != 0) row[i] = SoftEllipseByte(shape, distances[i]);
    }
  }
  return kOk;
}

Status SoftEllipseRow32f(const SoftEllipseShape& shape, int32_t y, int32_t begin, int32_t end,
                         float* out) {
  if (out == nullptr) return kNullPointer;
  const float yy = static_cast<float>(y - shape.centreY) * shape.yScale;
  if (UseReferenceKernels()) {
    for (int32_t x = begin; x < end; ++x)
      out[x - begin] = SoftEllipseValue(shape, SoftEllipseDistance(shape, x, yy));
    return kOk;
  }
  for (int32_t x = begin; x < end; x += kRun) {
    const int32_t count = std::min(kRun, end - x);
    float* row = out + (x - begin);
    vector::SoftEllipseDistances(shape, yy, x, count, row);
    vector::SoftEllipseValues(shape, row, count);
  }
  return kOk;
}

}  // namespace vitrella::kernels
