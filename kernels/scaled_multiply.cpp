#include "kernels/scaled_multiply.h"

#include <algorithm>
#include <cstring>

namespace vitrella::kernels {
namespace {

Status Multiply(ConstImageView src, ImageView dst, void (*row)(const uint8_t*, uint8_t*, int32_t)) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  const int32_t width = std::min(src.width, dst.width);
  const int32_t height = std::min(src.height, dst.height);
  for (int32_t y = 0; y < height; ++y)
    row(src.Row(y), dst.Row(y), width);
  return kOk;
}

// round(a * b / 255) for products up to 255 * 255, in 16-bit steps that compilers keep in
// vectors: t = a b + 128, then (t + (t >> 8)) >> 8.
void ByteRow(const uint8_t* a, uint8_t* b, int32_t width) {
  for (int32_t x = 0; x < width; ++x) {
    const auto t = static_cast<uint16_t>(a[x] * b[x] + 128);
    b[x] = static_cast<uint8_t>((t + (t >> 8)) >> 8);
  }
}

// Rows of floats need not be aligned: they move through memcpy in blocks.
void FloatRow(const uint8_t* a, uint8_t* b, int32_t width) {
  constexpr int32_t kBlock = 64;
  float x[kBlock];
  float y[kBlock];
  for (int32_t begin = 0; begin < width; begin += kBlock) {
    const int32_t count = std::min(kBlock, width - begin);
    std::memcpy(x, a + sizeof(float) * static_cast<size_t>(begin),
                sizeof(float) * static_cast<size_t>(count));
    std::memcpy(y, b + sizeof(float) * static_cast<size_t>(begin),
                sizeof(float) * static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i)
      y[i] *= x[i];
    std::memcpy(b + sizeof(float) * static_cast<size_t>(begin), y,
                sizeof(float) * static_cast<size_t>(count));
  }
}

}  // namespace

Status MultiplyScaled8u_C1(ConstImageView src, ImageView dst) {
  return Multiply(src, dst, ByteRow);
}

Status MultiplyScaled32f_C1(ConstImageView src, ImageView dst) {
  return Multiply(src, dst, FloatRow);
}

}  // namespace vitrella::kernels
