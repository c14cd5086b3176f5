// The glow's byte steps on every code path, against their formulas: the bright mask with
// its two thresholds and the step between them, and the coloured glow added with
// saturation, alpha untouched.
#include "kernels/glow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "common/kernel_variants.h"

namespace vitrella::kernels {
namespace {

class GlowKernels : public OnEveryKernelPath {};

TEST_P(GlowKernels, BrightMaskFollowsItsThresholdsOnBothOrders) {
  std::mt19937 random(3);
  const ByteThresholds t{240, 475};
  for (int alpha : {0, 3}) {
    for (int width : {1, 9, 37, 130}) {
      std::vector<uint8_t> in(static_cast<size_t>(4 * width * 2));
      for (uint8_t& b : in)
        b = static_cast<uint8_t>(random());
      std::vector<uint8_t> mask(static_cast<size_t>(width * 2), 0xAA);
      ASSERT_EQ(BrightMask8u_C4(ImageView{in.data(), 4 * width, width, 2},
                                ImageView{mask.data(), width, width, 2}, alpha, t),
                kOk);
      const int first = alpha == 0 ? 1 : 0;
      for (int i = 0; i < 2 * width; ++i) {
        const uint8_t* p = in.data() + 4 * i + first;
        const int s = p[0] + p[1] + p[2];
        const int v = s < t.low ? 0 : s < t.high ? s - t.low : 2 * s - t.high;
        ASSERT_EQ(mask[static_cast<size_t>(i)], std::min(v / 3, 255)) << "sum " << s;
      }
    }
  }
}

TEST_P(GlowKernels, GlowAddsItsColourWithSaturationAndLeavesAlpha) {
  std::mt19937 random(4);
  const int32_t gains[4] = {3, 1, 0, 2};
  for (int alpha : {0, 3}) {
    for (int32_t strength : {0, 221, 255}) {
      const int width = 45;
      std::vector<uint8_t> mask(static_cast<size_t>(width));
      std::vector<uint8_t> out(static_cast<size_t>(4 * width));
      for (uint8_t& b : mask)
        b = static_cast<uint8_t>(random());
      for (uint8_t& b : out)
        b = static_cast<uint8_t>(random());
      const std::vector<uint8_t> before = out;
      ASSERT_EQ(AddGlow8u_C4(ImageView{mask.data(), width, width, 1},
                             ImageView{out.data(), 4 * width, width, 1}, alpha, strength, gains),
                kOk);
      for (int x = 0; x < width; ++x) {
        const int glow = (mask[static_cast<size_t>(x)] * strength + 128) >> 8;
        for (int c = 0; c < 4; ++c) {
          const int was = before[4 * static_cast<size_t>(x) + static_cast<size_t>(c)];
          const int expected = c == alpha ? was : std::min(was + glow * gains[c], 255);
          ASSERT_EQ(out[4 * static_cast<size_t>(x) + static_cast<size_t>(c)], expected)
              << x << " channel " << c;
        }
      }
    }
  }
  uint8_t px[4] = {};
  EXPECT_EQ(AddGlow8u_C4(ImageView{px, 1, 1, 1}, ImageView{px, 4, 1, 1}, 3, 255, nullptr),
            kNullPointer);
  EXPECT_EQ(AddGlow8u_C4(ImageView{px, 1, 1, 1}, ImageView{px, 4, 1, 1}, 2, 255, gains),
            kBadChannel);
}

TEST_P(GlowKernels, DimmingByAWholeFactorKeepsBytesAndHalvesFloats) {
  uint8_t bytes[8] = {0, 1, 127, 128, 200, 254, 255, 77};
  uint8_t kept[8];
  ASSERT_EQ(DimChannels8u_C4(ImageView{bytes, 8, 2, 1}, ImageView{kept, 8, 2, 1}, 3, 255), kOk);
  EXPECT_TRUE(std::equal(bytes, bytes + 8, kept));
  ASSERT_EQ(DimChannels8u_C4(ImageView{bytes, 8, 2, 1}, ImageView{kept, 8, 2, 1}, 3, 127), kOk);
  EXPECT_EQ(kept[6], (255 * 127 + 127) / 255);
  EXPECT_EQ(kept[7], 77) << "alpha stays";
  EXPECT_EQ(kept[2], (127 * 127 + 127) / 255);
  EXPECT_EQ(kept[3], 128) << "alpha stays";
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(GlowKernels);

}  // namespace
}  // namespace vitrella::kernels
