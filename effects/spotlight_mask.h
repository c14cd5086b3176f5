// Spotlight's soft ellipse: its shape from the effect's values, and, row by row, where the
// mask is certainly empty or certainly full, so that only the feathered band is computed.
#pragma once

#include <cstdint>

#include "kernels/soft_ellipse.h"

namespace vitrella {

// The ellipse as the effect gives it: centre as fractions of the picture, radii as the
// effect computes them, tilt, feather in pixels, field flags and pixel aspect.
struct Ellipse {
  float cx, cy, rx, ry, theta, feather;
  bool field, secondField;
  float aspect;
};

// The parts of one row: pixels before `outerBegin` and from `outerEnd` on are 0, pixels
// in [fullBegin, fullEnd) are full, and the others must be computed.
struct MaskSpans {
  int32_t outerBegin = 0;
  int32_t outerEnd = 0;
  int32_t fullBegin = 0;
  int32_t fullEnd = 0;
};

class SoftEllipse {
 public:
  SoftEllipse(const Ellipse& e, int32_t width, int32_t height);

  // The value at (x, y), 0 to 1, and the byte mask's value, exactly as the formula gives
  // them pixel by pixel.
  float Value(int32_t x, int32_t y) const;
  uint8_t Byte(int32_t x, int32_t y) const;

  // Where row y is certainly 0 and certainly full. The spans are found in double
  // precision and widened by a margin of pixels that are computed instead, so that they
  // agree with Value to the bit.
  MaskSpans Spans(int32_t y) const;

  // Row y over the whole width, with the spans of that row: each pixel as Value or Byte
  // gives it.
  bool Row(int32_t y, const MaskSpans& spans, float* out) const;
  bool Row(int32_t y, const MaskSpans& spans, uint8_t* out) const;

 private:
  bool Set(int32_t y) const { return !empty_ && y >= firstRow_; }

  kernels::SoftEllipseShape shape_;
  kernels::SoftEllipseBands bands_;
  int32_t width_, height_;
  int32_t a_, b_;
  bool empty_;  // no pixel can be set
  int32_t firstRow_;
};

}  // namespace vitrella
