// The colour adjustment's matrix and its frame operation: the neutral darkening that stays,
// the saturation exponent, the weights on stored order and the byte offset.
#include "core/colour_adjust.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

constexpr float kDarkening = 0.9953638f;

TEST(ColourAdjustMatrix, CentredControlsDarkenByTheFixedFactor) {
  uint32_t bits = 0;
  std::memcpy(&bits, &kDarkening, 4);
  EXPECT_EQ(bits, 0x3F7ED029u);
  for (bool bytes : {false, true}) {
    const ColourMatrix m = ColourAdjustMatrix(0.5f, 0.5f, bytes);
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j)
        EXPECT_NEAR(m.m[i][j], i == j ? kDarkening : 0.0f, 1e-5) << i << j;  // S is 1 to 2e-6
      EXPECT_EQ(m.m[i][3], 0.0f);
    }
  }
}

TEST(ColourAdjustMatrix, NoColourGivesTheWeightedNeutralOnStoredOrder) {
  const ColourMatrix m = ColourAdjustMatrix(0.5f, 0.0f, false);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FLOAT_EQ(m.m[i][0], kDarkening * 0.3086f);
    EXPECT_FLOAT_EQ(m.m[i][1], kDarkening * 0.6094f);
    EXPECT_FLOAT_EQ(m.m[i][2], kDarkening * 0.082f);
  }
}

TEST(ColourAdjustMatrix, FullColourTriplesAndBrightnessOffsetsOnTheSampleScale) {
  const ColourMatrix m = ColourAdjustMatrix(1.0f, 1.0f, true);
  // S = 3: 3 on the own channel, -2 times the weight on each.
  EXPECT_NEAR(m.m[0][0], kDarkening * (3.0f - 2.0f * 0.3086f), 1e-5);
  EXPECT_NEAR(m.m[0][2], kDarkening * (-2.0f * 0.082f), 1e-5);
  EXPECT_FLOAT_EQ(m.m[1][3], kDarkening * 255.0f);
  EXPECT_FLOAT_EQ(ColourAdjustMatrix(0.0f, 0.5f, false).m[2][3], -kDarkening);
  // 0.25^1.58496 is a third of 0.5^1.58496's 1/3: S = 3 * 3^-2... checked against pow.
  const float s = 3.0f * std::pow(0.25f, 1.58496f);
  EXPECT_NEAR(ColourAdjustMatrix(0.5f, 0.25f, false).m[1][1], kDarkening * (s + (1 - s) * 0.6094f),
              1e-6);
}

TEST(ColourAdjustFrame, CentredBytesAndFloatsComeOutDarker) {
  FrameBuffer bytes;
  ASSERT_TRUE(bytes.Allocate(3, 2, 4, nullptr, PixelFormat8ARGB, false));
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 12; ++x)
      bytes.Row(y)[x] = 200;
  }
  ASSERT_TRUE(ColourAdjustFrame(bytes, bytes, 0.5f, 0.5f));
  EXPECT_EQ(bytes.Row(1)[0], 200);  // alpha, first in ARGB
  EXPECT_EQ(bytes.Row(1)[1], 199);  // 199.07
  EXPECT_EQ(bytes.Row(1)[3], 199);

  FrameBuffer floats;
  ASSERT_TRUE(floats.Allocate(2, 1, 16, nullptr, PixelFormat32FBGRA, false));
  float* p = floats.Row<float>(0);
  const float values[8] = {1.0f, 0.5f, 0.25f, 1.5f, -1.0f, 0.0f, 0.0f, 0.5f};
  std::memcpy(p, values, sizeof(values));
  ASSERT_TRUE(ColourAdjustFrame(floats, floats, 0.5f, 0.5f));
  EXPECT_NEAR(p[0], kDarkening, 1e-6);
  EXPECT_NEAR(p[1], 0.5f * kDarkening, 1e-6);
  EXPECT_EQ(p[3], 1.0f);  // alpha limited too
  EXPECT_EQ(p[4], 0.0f);
  EXPECT_EQ(p[7], 0.5f);

  FrameBuffer gray;
  ASSERT_TRUE(gray.Allocate(3, 2, 1, nullptr, PixelFormat8Gray, false));
  EXPECT_FALSE(ColourAdjustFrame(bytes, gray, 0.5f, 0.5f));
  EXPECT_FALSE(ColourAdjustFrame(bytes, floats, 0.5f, 0.5f));
}

}  // namespace
}  // namespace vitrella
