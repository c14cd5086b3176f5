// Conversions between frame formats: which pairs exist, their scaling and channel order,
// and gray from colour at the same size and reduced.
#include "core/frame_convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "core/frame_geometry.h"
#include "core/frame_ops.h"

namespace vitrella {
namespace {

FrameBuffer& Make(FrameBuffer& frame, int32_t w, int32_t h, PixelFormat format, uint32_t seed) {
  EXPECT_TRUE(frame.Allocate(w, h, FormatPixelBytes(format), nullptr, format, false));
  std::mt19937 random(seed);
  for (int32_t y = 0; y < h; ++y) {
    const bool floats = IsFloatFormat(format);
    for (int32_t i = 0; i < w * frame.pixelBytes / (floats ? 4 : 1); ++i) {
      if (floats) {
        frame.Row<float>(y)[i] = static_cast<float>(random() % 256) / 255.0f;
      } else {
        frame.Row(y)[i] = static_cast<uint8_t>(random());
      }
    }
  }
  return frame;
}

TEST(ConvertFrame, ScalesReordersAndRefusesUnlistedPairs) {
  FrameBuffer bgra;
  FrameBuffer argbFloats;
  FrameBuffer back;
  Make(bgra, 7, 3, PixelFormat8BGRA, 1);
  Make(argbFloats, 7, 3, PixelFormat32FARGB, 0);
  Make(back, 7, 3, PixelFormat8BGRA, 0);
  ASSERT_TRUE(ConvertFrame(bgra, argbFloats));
  const uint8_t* in = bgra.Row(2) + 5 * 4;
  const float* out = argbFloats.Row<float>(2) + 5 * 4;
  for (int c = 0; c < 4; ++c) {
    EXPECT_FLOAT_EQ(out[3 - c], in[c] * 0.003921569f) << "channel " << c;
  }
  ASSERT_TRUE(ConvertFrame(argbFloats, back));
  for (int32_t y = 0; y < 3; ++y) {
    EXPECT_EQ(std::memcmp(back.Row(y), bgra.Row(y), 7 * 4), 0) << "round trip, row " << y;
  }

  FrameBuffer argb;
  FrameBuffer bgraFloats;
  Make(argb, 7, 3, PixelFormat8ARGB, 2);
  Make(bgraFloats, 7, 3, PixelFormat32FBGRA, 0);
  EXPECT_FALSE(ConvertFrame(argb, bgraFloats)) << "1 to 3 is not a listed pair";
  FrameBuffer gray;
  Make(gray, 7, 3, PixelFormat8Gray, 0);
  EXPECT_FALSE(ConvertFrame(bgra, gray));
}

TEST(ConvertFrame, FloatsClampBeforeTheyBecomeBytes) {
  FrameBuffer floats;
  FrameBuffer bytes;
  Make(floats, 2, 1, PixelFormat32FBGRA, 0);
  Make(bytes, 2, 1, PixelFormat8BGRA, 0);
  const float values[8] = {-0.5f, 1.5f, 0.5f, NAN, 1.0f, 0.0f, 0.2f, 0.998f};
  std::memcpy(floats.Row(0), values, sizeof(values));
  ASSERT_TRUE(ConvertFrame(floats, bytes));
  const uint8_t expected[7] = {0, 255, 128};
  for (int c = 0; c < 3; ++c)
    EXPECT_EQ(bytes.Row(0)[c], expected[c]);
  EXPECT_EQ(bytes.Row(0)[4], 255);
  EXPECT_EQ(bytes.Row(0)[6], 51);
  EXPECT_EQ(bytes.Row(0)[7], 254);
}

TEST(ToGray, WeighsTheColoursInTheirFormatsPositions) {
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat8ARGB, PixelFormat32FBGRA}) {
    FrameBuffer colour;
    FrameBuffer gray;
    Make(colour, 2, 1, format, 0);
    Make(gray, 2, 1, PixelFormat32FGray, 0);
    const bool argb = format == PixelFormat8ARGB;
    const int blue = argb ? 3 : 0;
    const int red = argb ? 1 : 2;
    const int green = argb ? 2 : 1;
    const double scale = IsFloatFormat(format) ? 1.0 / 255.0 : 1.0;
    const auto put = [&](int c, int v) {
      if (IsFloatFormat(format)) {
        colour.Row<float>(0)[c] = static_cast<float>(v * scale);
      } else {
        colour.Row(0)[c] = static_cast<uint8_t>(v);
      }
    };
    put(blue, 200);
    put(green, 10);
    put(red, 100);
    put(argb ? 0 : 3, 77);  // alpha, ignored
    ASSERT_TRUE(ToGray(colour, gray, nullptr, 2));
    const double expected = (0.114 * 200 + 0.587 * 10 + 0.299 * 100) / 255.0;
    const double got = gray.Row<float>(0)[0];
    EXPECT_NEAR(got, expected, 1.0 / 255.0) << "format " << format;
  }
}

TEST(ToGray, ReducesLargerSourcesOntoTheWholeDestination) {
  FrameBuffer colour;
  Make(colour, 64, 48, PixelFormat8BGRA, 5);
  FrameBuffer fullGray;
  Make(fullGray, 64, 48, PixelFormat8Gray, 0);
  ASSERT_TRUE(ToGray(colour, fullGray, nullptr, 8));
  FrameBuffer expected;
  Make(expected, 16, 12, PixelFormat8Gray, 0);
  ASSERT_TRUE(ResizeRect(fullGray, FrameRect{0, 0, 64, 48}, expected, 0.25, 0.25, 8));

  FrameBuffer reduced;
  Make(reduced, 16, 12, PixelFormat8Gray, 0);
  ASSERT_TRUE(ToGray(colour, reduced, nullptr, 8));
  for (int32_t y = 0; y < 12; ++y) {
    for (int32_t x = 0; x < 16; ++x) {
      EXPECT_NEAR(reduced.Row(y)[x], expected.Row(y)[x], 1) << x << "," << y;
    }
  }
  FrameBuffer reducedFloat;
  Make(reducedFloat, 16, 12, PixelFormat32FGray, 0);
  ASSERT_TRUE(ToGray(colour, reducedFloat, nullptr, 8));
  EXPECT_NEAR(reducedFloat.Row<float>(7)[9] * 255.0f, expected.Row(7)[9], 1.0);
}

}  // namespace
}  // namespace vitrella
