// The recognition of box, triangle and trapezoid kernels, which decides whether a filter
// runs on running sums: normalised float triangles of any length must count.
#include "kernels/trapezoid.h"

#include <gtest/gtest.h>

#include <vector>

namespace vitrella::kernels {
namespace {

TEST(FindTrapezoid, NormalisedFloatTrianglesOfAnyLengthAreTriangles) {
  for (int32_t n : {9, 10, 101, 279, 575, 576, 1001}) {
    std::vector<int32_t> weights(static_cast<size_t>(n));
    int32_t sum = 0;
    for (int32_t i = 0; i < n; ++i) {
      weights[static_cast<size_t>(i)] = i < (n + 1) / 2 ? i + 1 : n - i;
      sum += weights[static_cast<size_t>(i)];
    }
    std::vector<float> floats(static_cast<size_t>(n));
    for (int32_t i = 0; i < n; ++i)
      floats[static_cast<size_t>(i)] =
          static_cast<float>(weights[static_cast<size_t>(i)]) / static_cast<float>(sum);
    Trapezoid shape;
    double scale = 0.0;
    ASSERT_TRUE(FindTrapezoid(floats.data(), n, &shape, &scale)) << n;
    EXPECT_EQ(shape.shortBox, (n + 1) / 2) << n;
    EXPECT_EQ(shape.Length(), n);
    EXPECT_NEAR(scale * sum, 1.0, 1e-6);
    int32_t intScale = 0;
    ASSERT_TRUE(FindTrapezoid(weights.data(), n, &shape, &intScale)) << n;
    EXPECT_EQ(intScale, 1);
  }
  const float notOne[5] = {1.0f, 2.0f, 3.0f, 2.5f, 1.0f};
  Trapezoid shape;
  double scale = 0.0;
  EXPECT_FALSE(FindTrapezoid(notOne, 5, &shape, &scale));
}

}  // namespace
}  // namespace vitrella::kernels
