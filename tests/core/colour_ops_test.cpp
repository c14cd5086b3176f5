// Frame-level colour operations: the box blur of a mask against a plain replicated-border
// box, the mix by a frame's own alpha, and refusals of mismatched frames.
#include "core/colour_ops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

double At(const FrameBuffer& f, int32_t x, int32_t y) {
  return f.format == PixelFormat32FGray ? f.Row<float>(y)[x] * 255.0 : f.Row(y)[x];
}

TEST(BoxBlurMask, MatchesAPlainBoxWithRepeatedEdges) {
  for (PixelFormat format : {PixelFormat8Gray, PixelFormat32FGray}) {
    for (int32_t size : {3, 7, 13}) {
      FrameBuffer mask;
      FrameBuffer before;
      const int32_t bytes = FormatPixelBytes(format);
      ASSERT_TRUE(mask.Allocate(23, 17, bytes, nullptr, format, false));
      ASSERT_TRUE(before.Allocate(23, 17, bytes, nullptr, format, false));
      std::mt19937 random(size);
      for (int32_t y = 0; y < 17; ++y) {
        for (int32_t x = 0; x < 23; ++x) {
          const auto v = static_cast<uint8_t>(random());
          for (FrameBuffer* f : {&mask, &before}) {
            if (bytes == 1) {
              f->Row(y)[x] = v;
            } else {
              f->Row<float>(y)[x] = static_cast<float>(v) / 255.0f;
            }
          }
        }
      }
      ASSERT_TRUE(BoxBlurMask(mask, size, nullptr));
      const int32_t r = size / 2;
      for (int32_t y = 0; y < 17; ++y) {
        for (int32_t x = 0; x < 23; ++x) {
          double sum = 0.0;
          for (int32_t j = -r; j <= r; ++j) {
            for (int32_t i = -r; i <= r; ++i)
              sum += At(before, std::clamp(x + i, 0, 22), std::clamp(y + j, 0, 16));
          }
          // Bytes round after each of the two passes.
          ASSERT_NEAR(At(mask, x, y), sum / (size * size), bytes == 1 ? 1.0 : 1e-3)
              << format << " size " << size << " at " << x << "," << y;
        }
      }
    }
  }
  FrameBuffer mask;
  ASSERT_TRUE(mask.Allocate(4, 4, 1, nullptr, PixelFormat8Gray, false));
  EXPECT_FALSE(BoxBlurMask(mask, 4, nullptr));
  EXPECT_TRUE(BoxBlurMask(mask, 1, nullptr));
}

TEST(MixFrames, ByAlphaTakesTheForegroundsAlphaAsTheMask) {
  FrameBuffer a, b, dst;
  ASSERT_TRUE(a.Allocate(1, 1, 4, nullptr, PixelFormat8ARGB, false));
  ASSERT_TRUE(b.Allocate(1, 1, 4, nullptr, PixelFormat8ARGB, false));
  ASSERT_TRUE(dst.Allocate(1, 1, 4, nullptr, PixelFormat8ARGB, false));
  const uint8_t fa[4] = {128, 200, 100, 0};
  const uint8_t fb[4] = {7, 0, 50, 255};
  std::copy(fa, fa + 4, a.data);
  std::copy(fb, fb + 4, b.data);
  dst.data[0] = 99;
  ASSERT_TRUE(MixFramesByAlpha(a, b, dst));
  EXPECT_EQ(dst.data[0], 99);
  EXPECT_EQ(dst.data[1], (200 * 128) >> 8);
  EXPECT_EQ(dst.data[2], (100 * 128 + 50 * 127) >> 8);
  EXPECT_EQ(dst.data[3], (255 * 127) >> 8);
  FrameBuffer floats;
  ASSERT_TRUE(floats.Allocate(1, 1, 16, nullptr, PixelFormat32FARGB, false));
  EXPECT_FALSE(MixFramesByAlpha(a, floats, dst));
  EXPECT_FALSE(MixFrames(a, b, a, dst));  // a four-channel mask
}

// Two flat colours mixed by a mask give the bytes of two filled frames mixed, on every
// format: the shift and division rules of bytes, floats limited to 1, colours out of range.
TEST(MixColours, GivesTheMixOfTwoFilledFrames) {
  const FlatColour first{300.0f, 17.9f, -4.0f};
  const FlatColour second{12.0f, 255.0f, 128.6f};
  const FlatColour firstUnit{1.2f, 0.07f, 0.0f};
  const FlatColour secondUnit{0.05f, 1.0f, 0.5f};
  std::mt19937 random(9);
  for (const PixelFormat format :
       {PixelFormat8BGRA, PixelFormat8ARGB, PixelFormat32FBGRA, PixelFormat32FARGB}) {
    const bool floats = IsFloatFormat(format);
    const int32_t sample = floats ? 4 : 1;
    const PixelFormat gray = floats ? PixelFormat32FGray : PixelFormat8Gray;
    constexpr int32_t kW = 29, kH = 5;
    FrameBuffer mask, a, b, expected, got;
    ASSERT_TRUE(mask.Allocate(kW, kH, sample, nullptr, gray, false));
    for (FrameBuffer* f : {&a, &b, &expected, &got})
      ASSERT_TRUE(f->Allocate(kW, kH, 4 * sample, nullptr, format, false));
    for (int32_t y = 0; y < kH; ++y) {
      for (int32_t x = 0; x < kW; ++x) {
        const int32_t t = (x * 9 + y * 61) % 256;
        if (floats) {
          mask.Row<float>(y)[x] = static_cast<float>(t) / 255.0f;
        } else {
          mask.Row(y)[x] = static_cast<uint8_t>(t);
        }
      }
      for (int32_t i = 0; i < kW * 4 * sample; ++i)
        expected.Row(y)[i] = got.Row(y)[i] = static_cast<uint8_t>(random());
    }
    ASSERT_TRUE(FillColour(a, floats ? firstUnit.red : first.red,
                           floats ? firstUnit.green : first.green,
                           floats ? firstUnit.blue : first.blue));
    ASSERT_TRUE(FillColour(b, floats ? secondUnit.red : second.red,
                           floats ? secondUnit.green : second.green,
                           floats ? secondUnit.blue : second.blue));
    ASSERT_TRUE(MixFrames(a, b, mask, expected));
    ASSERT_TRUE(MixColours(floats ? firstUnit : first, floats ? secondUnit : second, mask, got));
    for (int32_t y = 0; y < kH; ++y) {
      ASSERT_EQ(0, std::memcmp(expected.Row(y), got.Row(y), static_cast<size_t>(kW) * 4 * sample))
          << format << " row " << y;
    }
  }
  FrameBuffer bytes, floatMask;
  ASSERT_TRUE(bytes.Allocate(2, 2, 4, nullptr, PixelFormat8BGRA, false));
  ASSERT_TRUE(floatMask.Allocate(2, 2, 4, nullptr, PixelFormat32FGray, false));
  EXPECT_FALSE(MixColours(first, second, floatMask, bytes));
  EXPECT_FALSE(MixColours(first, second, bytes, bytes));
}

}  // namespace
}  // namespace vitrella
