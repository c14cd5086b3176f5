// The soft ellipse's rows on every code path give, pixel for pixel, what the formula gives:
// the byte rows with their table of bands, the float rows, on shapes from round to thin,
// hard-edged to wide feathers.
#include "kernels/soft_ellipse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/kernel_variants.h"

namespace vitrella::kernels {
namespace {

std::vector<SoftEllipseShape> Shapes() {
  std::vector<SoftEllipseShape> shapes;
  std::mt19937 random(11);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  for (int i = 0; i < 24; ++i) {
    SoftEllipseShape s;
    s.centreX = static_cast<int32_t>(unit(random) * 300.0f) - 50;
    s.centreY = static_cast<int32_t>(unit(random) * 200.0f) - 30;
    s.xScale = i % 5 == 0 ? 0.3f : 1.0f / (0.5f + unit(random));
    s.yScale = i % 2 == 0 ? 1.0f : 2.0f;
    const float theta = unit(random) * 6.2831855f;
    s.cosTheta = std::cos(theta);
    s.sinTheta = std::sin(theta);
    const auto a = static_cast<int32_t>(unit(random) * 400.0f);
    const auto b = i == 3 ? 0 : static_cast<int32_t>(unit(random) * 120.0f);
    s.a2 = static_cast<float>(a * a);
    s.b2 = static_cast<float>(b * b);
    s.b = static_cast<float>(b);
    s.feather = i % 7 == 0 ? 0.0f : unit(random) * unit(random) * 300.0f;
    s.falloff = s.feather > 0.0f ? 2.0f / (s.feather * 1.5f) : 0.0f;
    shapes.push_back(s);
  }
  return shapes;
}

class SoftEllipseRows : public OnEveryKernelPath {};

TEST_P(SoftEllipseRows, GiveWhatTheFormulaGivesToTheBit) {
  for (const SoftEllipseShape& shape : Shapes()) {
    const SoftEllipseBands bands(shape);
    std::vector<uint8_t> bytes(301);
    std::vector<float> values(301);
    for (int32_t y = -5; y < 230; y += 3) {
      const int32_t begin = y % 17;
      ASSERT_EQ(SoftEllipseRow8u(shape, bands, y, begin, begin + 301, bytes.data()), kOk);
      ASSERT_EQ(SoftEllipseRow32f(shape, y, begin, begin + 301, values.data()), kOk);
      const float yy = static_cast<float>(y - shape.centreY) * shape.yScale;
      for (int32_t i = 0; i < 301; ++i) {
        const float distance = SoftEllipseDistance(shape, begin + i, yy);
        ASSERT_EQ(bytes[static_cast<size_t>(i)], SoftEllipseByte(shape, distance))
            << "row " << y << " pixel " << begin + i << " feather " << shape.feather;
        const float want = SoftEllipseValue(shape, distance);
        ASSERT_EQ(std::memcmp(&values[static_cast<size_t>(i)], &want, sizeof want), 0)
            << "row " << y << " pixel " << begin + i;
      }
    }
  }
}

// The float mask's own power against the maths library's across the band of feathers from
// a pixel to a frame's width; the bound is two steps of a float at 1.
TEST(SoftEllipseValue, FollowsTheLibrarysFalloffAcrossTheBand) {
  for (float feather : {1.0f, 7.5f, 120.0f, 1344.0f}) {
    SoftEllipseShape shape;
    shape.feather = feather;
    shape.falloff = 2.0f / (feather * 1.5f);
    double worst = 0;
    for (int i = 0; i <= 100000; ++i) {
      const float distance = feather * (-0.5f + 1.5f * static_cast<float>(i) / 100000.0f);
      if (!(distance < feather) || distance <= -0.5f * feather) continue;
      worst = std::max(worst, std::abs(static_cast<double>(SoftEllipseValue(shape, distance)) -
                                       SoftEllipseFalloff(shape, distance)));
    }
    EXPECT_LE(worst, 2.4e-7) << "feather " << feather;
    EXPECT_EQ(SoftEllipseValue(shape, feather), 0.0f);
    EXPECT_EQ(SoftEllipseValue(shape, -0.5f * feather), 1.0f);
    EXPECT_EQ(SoftEllipseValue(shape, std::numeric_limits<float>::quiet_NaN()), 0.0f);
  }
}

TEST(SoftEllipseBands, CoverTheBandAndAskForTheBinsThatStraddleAByte) {
  SoftEllipseShape shape;
  shape.feather = 40.0f;
  shape.falloff = 2.0f / (shape.feather * 1.5f);
  const SoftEllipseBands bands(shape);
  ASSERT_EQ(bands.bytes.size(), 480u);  // eight to a pixel across 60 pixels
  size_t settled = 0;
  for (size_t i = 0; i < bands.bytes.size(); ++i) {
    const int32_t byte = bands.bytes[i];
    if (byte == 255) continue;
    ++settled;
    // Every distance inside a settled bin gives its byte.
    for (int k = 1; k < 8; ++k) {
      const float distance =
          bands.start + (static_cast<float>(i) + static_cast<float>(k) / 8.0f) / bands.binsPerPixel;
      EXPECT_EQ(SoftEllipseByte(shape, distance), byte) << i;
    }
  }
  // About 250 bytes change across the band's 480 bins.
  EXPECT_GT(settled, bands.bytes.size() / 3);
  SoftEllipseShape hard = shape;
  hard.feather = 0.0f;
  EXPECT_TRUE(SoftEllipseBands(hard).bytes.empty());
  EXPECT_EQ(SoftEllipseRow8u(shape, bands, 0, 0, 4, nullptr), kNullPointer);
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(SoftEllipseRows);

}  // namespace
}  // namespace vitrella::kernels
