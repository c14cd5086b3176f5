// Spotlight's CPU render on small frames, where the outcome follows from the rules: the
// defaults change nothing, Size 0 leaves no spot, fields halve the spot's rows, and the spot
// stays where the picture has it whichever way the rows lie in memory.
#include "effects/spotlight.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/test_frame.h"

namespace vitrella {
namespace {

using testing::FakeHost;
using testing::TestFrame;

// A random opaque picture: the mix through the mask weighs the background by its own alpha,
// so only opaque pictures come back unchanged where the grades change nothing.
void FillOpaque(TestFrame& frame, uint32_t seed) {
  frame.FillRandom(seed);
  const int alpha = ChannelPlacesOf(frame.Format()).alpha;
  const float full = IsFloatFormat(frame.Format()) ? 1.0f : 255.0f;
  for (int y = 0; y < frame.Height(); ++y) {
    for (int x = 0; x < frame.Width(); ++x)
      frame.Set(x, y, alpha, full);
  }
}

class SpotlightRender : public ::testing::Test {
 protected:
  SpotlightRender() : effect_(new CSpotlight()), values_(testing::EffectValues(effect_)) {}
  ~SpotlightRender() override { effect_->Release(); }

  bool Render(TestFrame& src, TestFrame& dst, uint16_t fieldMode = kFieldModeFrame) {
    FakeHost host(values_);
    RenderInfo info = testing::WholeFrameInfo();
    info.fieldMode = fieldMode;
    return effect_->Render(&host, src.Host(), 0, dst.Host(), &info);
  }

  // The value of a parameter by its label, within a group where labels repeat.
  ParamValue& Value(std::string_view label, std::string_view group = {}) {
    return values_[static_cast<size_t>(testing::ParamIndex(effect_, label, group))];
  }

  // Transparent Background with a hard edge: the output's alpha is the spot's mask.
  void MaskOnly() {
    Value("Transparent Background").check = 1;
    Value("Feather").slider = 0.0f;
  }

  CSpotlight* effect_;
  std::vector<ParamValue> values_;
};

TEST_F(SpotlightRender, DefaultsReturnTheSource) {
  for (PixelFormat format : testing::kHostFormats) {
    for (bool bottomUp : {false, true}) {
      TestFrame src(23, 17, format, 8, bottomUp);
      FillOpaque(src, 7);
      TestFrame dst(23, 17, format, 4, bottomUp);
      ASSERT_TRUE(Render(src, dst)) << format;
      if (IsFloatFormat(format)) {
        // Where the soft edge mixes v * m + v * (1 - m), floats may land an ulp off v.
        for (int y = 0; y < 17; ++y) {
          for (int x = 0; x < 23; ++x) {
            for (int c = 0; c < 4; ++c)
              ASSERT_NEAR(dst.Get(x, y, c), src.Get(x, y, c), 1e-6f) << x << "," << y;
          }
        }
      } else {
        EXPECT_EQ(dst.Pixels(), src.Pixels()) << "format " << format << " bottomUp " << bottomUp;
      }
      EXPECT_TRUE(dst.OutsideUntouched());
    }
  }
}

TEST_F(SpotlightRender, SizeZeroLeavesNoSpotAndOnlyTheBackgroundsGrade) {
  Value("Size").slider = 0.0f;
  Value("Brightness", "Spotlight").slider = 1.0f;  // would show wherever the spot reached
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat32FBGRA}) {
    TestFrame src(20, 14, format);
    FillOpaque(src, 3);
    TestFrame dst(20, 14, format);
    ASSERT_TRUE(Render(src, dst));
    EXPECT_EQ(dst.Pixels(), src.Pixels()) << format;

    MaskOnly();
    ASSERT_TRUE(Render(src, dst));
    for (int y = 0; y < 14; ++y) {
      for (int x = 0; x < 20; ++x)
        ASSERT_EQ(dst.Get(x, y, 3), 0.0f) << format << " at " << x << "," << y;
    }
    Value("Transparent Background").check = 0;
  }
}

// Rows whose alpha shows the spot in column x.
int SpotRows(TestFrame& frame, int x) {
  int rows = 0;
  for (int y = 0; y < frame.Height(); ++y)
    rows += frame.Get(x, y, 3) > 0.0f ? 1 : 0;
  return rows;
}

TEST_F(SpotlightRender, AFieldHasHalfTheSpotsRowsAndTheSecondSkipsItsFirstRow) {
  MaskOnly();
  Value("Size").slider = 0.5f;
  TestFrame src(64, 48, PixelFormat8BGRA);
  src.FillRandom(1);
  TestFrame frame(64, 48, PixelFormat8BGRA);
  TestFrame field(64, 48, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, frame));
  ASSERT_TRUE(Render(src, field, kFieldModeSecondField));
  const int frameRows = SpotRows(frame, 32);
  ASSERT_GT(frameRows, 8);
  EXPECT_NEAR(SpotRows(field, 32), frameRows / 2, 1);

  // A spot centred on the lowest memory row (the picture's bottom, `flipped` clear): the
  // second field's mask leaves that row out.
  Value("Center").point[1] = 1.0f;
  ASSERT_TRUE(Render(src, frame));
  ASSERT_TRUE(Render(src, field, kFieldModeSecondField));
  EXPECT_GT(frame.Get(32, 0, 3), 0.0f);
  EXPECT_EQ(field.Get(32, 0, 3), 0.0f);
  EXPECT_GT(field.Get(32, 1, 3), 0.0f);
}

TEST_F(SpotlightRender, TheSpotStaysWhereThePictureHasItInEitherRowOrder) {
  MaskOnly();
  Value("Center").point[1] = 0.2f;  // from the top
  Value("Size").slider = 0.15f;
  Value("Color", "Background").slider =
      0.0f;  // a background grade, so the colours are compared too
  constexpr int kW = 40;
  constexpr int kH = 30;
  // The same picture: top row first with `flipped` set, and bottom row first without.
  TestFrame topSrc(kW, kH, PixelFormat8ARGB);
  TestFrame bottomSrc(kW, kH, PixelFormat8ARGB);
  topSrc.FillRandom(5);
  topSrc.Host()->flipped = 1;
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      for (int c = 0; c < 4; ++c)
        bottomSrc.Set(x, kH - 1 - y, c, topSrc.Get(x, y, c));
    }
  }
  TestFrame topDst(kW, kH, PixelFormat8ARGB);
  TestFrame bottomDst(kW, kH, PixelFormat8ARGB);
  topDst.Host()->flipped = 1;
  ASSERT_TRUE(Render(topSrc, topDst));
  ASSERT_TRUE(Render(bottomSrc, bottomDst));
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      for (int c = 0; c < 4; ++c)
        ASSERT_EQ(topDst.Get(x, y, c), bottomDst.Get(x, kH - 1 - y, c)) << x << "," << y;
    }
  }
  EXPECT_GT(topDst.Get(kW / 2, kH / 5, 0), 0.0f);  // alpha (ARGB): inside, near the top
  EXPECT_EQ(topDst.Get(kW / 2, kH * 4 / 5, 0), 0.0f);
}

TEST_F(SpotlightRender, RefusesFramesOfTwoFormats) {
  TestFrame src(8, 8, PixelFormat8BGRA);
  TestFrame other(8, 8, PixelFormat32FBGRA);
  EXPECT_FALSE(Render(src, other));
  EXPECT_TRUE(other.OutsideUntouched());
}

}  // namespace
}  // namespace vitrella
