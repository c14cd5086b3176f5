// Kernels that are two boxes applied one after the other: boxes, triangles and the
// trapezoids between them. Such a kernel is filtered with running sums, at a cost per
// pixel that does not grow with its length.
#pragma once

#include <cstdint>

namespace vitrella::kernels {

// The weights scale * min(i + 1, shortBox, length - i), i = 0 .. length - 1: a box of
// shortBox ones convolved with a box of longBox = length + 1 - shortBox ones. shortBox 1
// is a plain box; shortBox (length + 1) / 2 a triangle (its peak twice for even lengths).
struct Trapezoid {
  int32_t shortBox = 0;
  int32_t longBox = 0;
  int32_t Length() const { return shortBox + longBox - 1; }
};

// Recognises an integer kernel that is exactly scale times a trapezoid.
bool FindTrapezoid(const int32_t* kernel, int32_t length, Trapezoid* shape, int32_t* scale);

// Recognises a float kernel whose weights lie within a relative 1e-6 of a trapezoid's
// multiples, as a normalised kernel rounded to floats does. scale is the kernel's sum over
// the trapezoid's, so that the filter keeps the kernel's gain.
bool FindTrapezoid(const float* kernel, int32_t length, Trapezoid* shape, double* scale);

}  // namespace vitrella::kernels
