// Auto Contrast's CPU render on small pictures where the rules fix the answer: the level
// that the untouched range loses on bytes, vibrance both ways, black and white frames at
// full Intensity, the empty histogram that inverts bytes, the inner rectangle of a narrow
// frame, and the path that the two frames' formats choose.
#include "effects/auto_contrast.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/test_frame.h"

namespace vitrella {
namespace {

using testing::FakeHost;
using testing::TestFrame;

class AutoContrastRender : public ::testing::Test {
 protected:
  AutoContrastRender() : effect_(new CAutoContrast()), values_(testing::EffectValues(effect_)) {}
  ~AutoContrastRender() override { effect_->Release(); }

  void Set(float intensity, float vibrance) {
    values_[0].slider = intensity;
    values_[1].slider = vibrance;
  }
  bool Render(TestFrame& src, TestFrame& dst) {
    FakeHost host(values_);
    const RenderInfo info = testing::WholeFrameInfo();
    return effect_->Render(&host, src.Host(), 0, dst.Host(), &info);
  }
  // Every pixel the same 8-bit colour (floats as value / 255).
  static void Fill(TestFrame& frame, int r, int g, int b, int a = 255) {
    for (int y = 0; y < frame.Height(); ++y) {
      for (int x = 0; x < frame.Width(); ++x)
        frame.SetRgba(x, y, r, g, b, a);
    }
  }
  // Red, green and blue of a pixel in 8-bit levels, floats scaled back and rounded.
  static std::vector<int> Rgb(TestFrame& frame, int x, int y) {
    const ChannelPlaces at = ChannelPlacesOf(frame.Format());
    const float scale = IsFloatFormat(frame.Format()) ? 255.0f : 1.0f;
    return {static_cast<int>(std::lround(frame.Get(x, y, at.red) * scale)),
            static_cast<int>(std::lround(frame.Get(x, y, at.green) * scale)),
            static_cast<int>(std::lround(frame.Get(x, y, at.blue) * scale))};
  }

  CAutoContrast* effect_;
  std::vector<ParamValue> values_;
};

TEST_F(AutoContrastRender, WithoutIntensityBytesLoseTheTopLevelAndFloatsStayAtHalfVibrance) {
  for (float vibrance : {0.5001f, 0.5f}) {
    Set(0.0f, vibrance);
    for (PixelFormat format : testing::kHostFormats) {
      SCOPED_TRACE(std::to_string(format) + " vibrance " + std::to_string(vibrance));
      TestFrame src(13, 9, format, 4);
      src.FillRandom(3);
      src.SetRgba(2, 2, 255, 0, 128, 77);
      TestFrame dst(13, 9, format);
      ASSERT_TRUE(Render(src, dst));
      const ChannelPlaces at = ChannelPlacesOf(format);
      for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < 13; ++x) {
          EXPECT_EQ(dst.Get(x, y, at.alpha), src.Get(x, y, at.alpha));
          for (int c : {at.red, at.green, at.blue}) {
            const float in = src.Get(x, y, c);
            if (!IsFloatFormat(format)) {
              ASSERT_EQ(dst.Get(x, y, c), std::floor(in * 255.0f / 256.0f)) << x << "," << y;
            } else if (vibrance == 0.5f) {
              ASSERT_EQ(dst.Get(x, y, c), in);
            } else {
              ASSERT_NEAR(dst.Get(x, y, c), in, 1e-4f);  // floats move by 0.0001 of c - mean
            }
          }
        }
      }
      if (!IsFloatFormat(format)) {
        EXPECT_EQ(Rgb(dst, 2, 2), (std::vector<int>{254, 0, 127}));
      }
    }
  }
}

TEST_F(AutoContrastRender, VibranceMovesAwayFromGreyAboveHalfAndTowardItBelow) {
  // Stretched by 255/256: 199, 99, 0 with the mean 99; the move is half of c - mean.
  for (auto [vibrance, expected] : {std::pair{1.0f, std::vector<int>{249, 99, 0}},
                                    std::pair{0.0f, std::vector<int>{149, 99, 50}}}) {
    Set(0.0f, vibrance);
    TestFrame src(5, 5, PixelFormat8ARGB);
    Fill(src, 200, 100, 0);
    TestFrame dst(5, 5, PixelFormat8ARGB);
    ASSERT_TRUE(Render(src, dst));
    EXPECT_EQ(Rgb(dst, 4, 4), expected) << vibrance;
  }
}

TEST_F(AutoContrastRender, AtFullIntensityBlackStaysBlackAndWhiteTurnsBlack) {
  Set(1.0f, 0.5f);
  for (PixelFormat format : testing::kHostFormats) {
    SCOPED_TRACE(format);
    // Black: the black level is 0 and the white level 128.
    TestFrame black(24, 24, format);
    Fill(black, 0, 0, 0);
    TestFrame dst(24, 24, format);
    ASSERT_TRUE(Render(black, dst));
    EXPECT_EQ(Rgb(dst, 12, 12), (std::vector<int>{0, 0, 0}));
    // White: on bytes both levels are 255 and the range one level; on floats 1.0 lies past
    // the last bucket, nothing is counted, and the black level 1 stands above the white 0.5.
    TestFrame white(24, 24, format);
    Fill(white, 255, 255, 255);
    ASSERT_TRUE(Render(white, dst));
    EXPECT_EQ(Rgb(dst, 12, 12), (std::vector<int>{0, 0, 0}));
  }
}

TEST_F(AutoContrastRender, AnEmptyHistogramPutsWhiteBelowBlack) {
  const kernels::RgbHistogram empty{};
  const kernels::ByteLevels bytes = AutoContrastByteLevels(empty, {1.0f, 0.5f});
  EXPECT_EQ(bytes.lo, 255);
  EXPECT_EQ(bytes.gain, 65280 / (128 - 255));  // negative: the stretch inverts
  const kernels::FloatLevels floats = AutoContrastFloatLevels(empty, {1.0f, 0.5f});
  EXPECT_FLOAT_EQ(floats.lo, 1.0f);
  EXPECT_EQ(floats.range, 0.0000001f);
  // Without Intensity the whole range stands: 0 to 256 on bytes, 0 to 1 on floats.
  kernels::RgbHistogram grey{};
  grey.red[90] = grey.green[90] = grey.blue[90] = 50;
  EXPECT_EQ(AutoContrastByteLevels(grey, {0.0f, 0.5f}).gain, 255);
  EXPECT_EQ(AutoContrastFloatLevels(grey, {0.0f, 0.5f}).range, 1.0f);
}

TEST_F(AutoContrastRender, ANarrowFrameMeasuresFromItsFirstColumn) {
  // 19 pixels: no margin, an inner square of 17, and a blur one pixel wide, which only
  // repeats the third pixel from each edge over the outer two. Columns 0 to 2 of rows 0 to
  // 9 hold 30, which the measure sees 30 times: past the threshold of 25 at Intensity 0.7
  // (20 times, with a margin of one, would not be). The rest holds 60.
  Set(0.7f, 0.5f);
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat8ARGB}) {
    TestFrame src(19, 19, format);
    for (int y = 0; y < 19; ++y) {
      for (int x = 0; x < 19; ++x) {
        const int v = x < 3 && y < 10 ? 30 : x >= 17 ? 255 : 60;
        src.SetRgba(x, y, v, v, v, 255);
      }
    }
    TestFrame dst(19, 19, format);
    ASSERT_TRUE(Render(src, dst));
    // Black at 30; white at max(60, 256 - 89.6) = 166; gain 65280 / 136 = 480.
    EXPECT_EQ(Rgb(dst, 0, 5), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(Rgb(dst, 5, 5), (std::vector<int>{56, 56, 56}));
    EXPECT_EQ(Rgb(dst, 18, 18), (std::vector<int>{255, 255, 255}));
  }
}

TEST_F(AutoContrastRender, TheFormatsOfBothFramesChooseBytesOrFloats) {
  // Bytes when the source is blue-first bytes or the destination alpha-first bytes. Without
  // Intensity, bytes lose the top level and floats keep it, which tells the paths apart.
  Set(0.0f, 0.5f);
  for (PixelFormat from : testing::kHostFormats) {
    for (PixelFormat to : testing::kHostFormats) {
      SCOPED_TRACE(std::to_string(from) + " -> " + std::to_string(to));
      const bool bytes = from == PixelFormat8BGRA || to == PixelFormat8ARGB;
      TestFrame src(11, 7, from, 4);
      src.FillRandom(9);
      src.SetRgba(3, 3, 255, 10, 200, 40);
      TestFrame dst(11, 7, to, 8);
      ASSERT_TRUE(Render(src, dst));
      EXPECT_TRUE(dst.OutsideUntouched());
      const std::vector<int> white = Rgb(dst, 3, 3);
      EXPECT_EQ(white[0], bytes ? 254 : 255);
      EXPECT_EQ(white[2], bytes ? 199 : 200);
      const ChannelPlaces in = ChannelPlacesOf(from);
      const ChannelPlaces out = ChannelPlacesOf(to);
      const float inScale = IsFloatFormat(from) ? 255.0f : 1.0f;
      const float outScale = IsFloatFormat(to) ? 255.0f : 1.0f;
      for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 11; ++x) {
          EXPECT_NEAR(dst.Get(x, y, out.alpha) * outScale, src.Get(x, y, in.alpha) * inScale, 0.5f);
          // The lost level on bytes, with the float rounding of the conversions.
          EXPECT_NEAR(dst.Get(x, y, out.green) * outScale, src.Get(x, y, in.green) * inScale,
                      1.001f);
        }
      }
    }
  }
}

}  // namespace
}  // namespace vitrella
