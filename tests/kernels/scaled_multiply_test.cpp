// The product of two masks: every pair of bytes against a * b / 255 rounded, and floats
// on rows that are not aligned to a float.
#include "kernels/scaled_multiply.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace vitrella::kernels {
namespace {

TEST(MultiplyScaled, BytesRoundTheProductOverFull) {
  // Row a holds a, row by row; the other picture holds every b along each row.
  std::vector<uint8_t> left(256 * 257);
  std::vector<uint8_t> right(256 * 259);
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      left[static_cast<size_t>(a) * 257 + b] = static_cast<uint8_t>(b);
      right[static_cast<size_t>(a) * 259 + b] = static_cast<uint8_t>(a);
    }
  }
  ASSERT_EQ(MultiplyScaled8u_C1({left.data(), 257, 256, 256}, {right.data(), 259, 256, 256}), kOk);
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const auto expected = static_cast<int>(std::lround(a * b / 255.0));
      ASSERT_EQ(right[static_cast<size_t>(a) * 259 + b], expected) << a << " * " << b;
    }
  }
}

TEST(MultiplyScaled, FloatsMultiplyOnUnalignedRows) {
  std::vector<uint8_t> a(1 + 4 * 70 * 2);
  std::vector<uint8_t> b(3 + 4 * 70 * 2);
  for (int i = 0; i < 140; ++i) {
    const float x = static_cast<float>(i) / 140.0f;
    const float y = 0.5f + static_cast<float>(i % 7) / 14.0f;
    std::memcpy(a.data() + 1 + 4 * i, &x, 4);
    std::memcpy(b.data() + 3 + 4 * i, &y, 4);
  }
  ASSERT_EQ(MultiplyScaled32f_C1({a.data() + 1, 280, 70, 2}, {b.data() + 3, 280, 70, 2}), kOk);
  for (int i = 0; i < 140; ++i) {
    float got = 0.0f;
    std::memcpy(&got, b.data() + 3 + 4 * i, 4);
    EXPECT_EQ(got, (static_cast<float>(i) / 140.0f) * (0.5f + static_cast<float>(i % 7) / 14.0f));
  }
  EXPECT_EQ(MultiplyScaled8u_C1({nullptr, 4, 1, 1}, {b.data(), 4, 1, 1}), kNullPointer);
}

}  // namespace
}  // namespace vitrella::kernels
