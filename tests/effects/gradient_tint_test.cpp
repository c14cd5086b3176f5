// Gradient Tint's CPU render on small frames, where the outcome follows from the rules:
// Blend 0 keeps the picture, the masks pick colours, the first tint lies above the line
// whichever way the rows lie, a full turn is no turn, the pixel aspect tilts the line, and
// a field is the even rows of its doubled picture.
#include "effects/gradient_tint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string_view>
#include <vector>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/test_frame.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

using testing::FakeHost;
using testing::TestFrame;

constexpr PixelFormat kFormats[] = {PixelFormat8BGRA, PixelFormat8ARGB, PixelFormat32FBGRA,
                                    PixelFormat32FARGB};

class GradientTintRender : public ::testing::Test {
 protected:
  GradientTintRender() : effect_(new CGradientTint()), values_(testing::EffectValues(effect_)) {}
  ~GradientTintRender() override { effect_->Release(); }

  bool Render(TestFrame& src, TestFrame& dst, RenderInfo info = testing::WholeFrameInfo()) {
    FakeHost host(values_);
    return effect_->Render(&host, src.Host(), 0, dst.Host(), &info);
  }
  ParamValue& Value(std::string_view label, std::string_view group = {}) {
    return values_[static_cast<size_t>(testing::ParamIndex(effect_, label, group))];
  }
  // Both tints at full strength, in plain colours, through no mask, in Normal mode.
  void PlainTints(uint32_t first, uint32_t second) {
    Value("Color", "First Tint").color = first;
    Value("Color", "Second Tint").color = second;
    for (const char* group : {"First Tint", "Second Tint"}) {
      Value("Blend", group).slider = 1.0f;
      Value("Mask", group).slider = 0.0f;
    }
    Value("Blend Mode").choice = 0;
  }

  CGradientTint* effect_;
  std::vector<ParamValue> values_;
};

double Full(PixelFormat format) {
  return IsFloatFormat(format) ? 1.0 : 255.0;
}

// ARGB bytes mix by shifting by 8: each of the two mixes may lose a step, and a full tint
// comes out a few steps short of full.
double Slack(PixelFormat format) {
  return format == PixelFormat8ARGB ? 4.0 : 1.0;
}

// Red and blue of a pixel, 0..255.
double Red(TestFrame& f, int x, int y) {
  return f.Get(x, y, ChannelPlacesOf(f.Format()).red) * 255.0 / Full(f.Format());
}
double Blue(TestFrame& f, int x, int y) {
  return f.Get(x, y, ChannelPlacesOf(f.Format()).blue) * 255.0 / Full(f.Format());
}

// The panel as it was laid out, with its two oddities, and the ends of the tables.
TEST_F(GradientTintRender, TablesKeepTheirOdditiesAndEnds) {
  ParamInfo info{};
  ASSERT_TRUE(effect_->GetParamInfo(10, &info));
  EXPECT_STREQ(info.name, "Second Tint");
  EXPECT_EQ(info.panelHeight, 120);
  ASSERT_TRUE(effect_->GetParamInfo(5, &info));
  EXPECT_EQ(info.panelHeight, 30);
  EXPECT_FALSE(effect_->GetParamInfo(16, &info));
  EXPECT_FALSE(effect_->GetParamInfo(0, nullptr));
  EXPECT_EQ(effect_->GetParamToolTip(4), nullptr);
  EXPECT_STREQ(effect_->GetParamToolTip(9), "Sets color, tint and mask for tint one");
  EXPECT_STREQ(effect_->GetParamToolTip(14), "Sets color, tint and mask for tint two");
  EXPECT_EQ(effect_->GetParamToolTip(16), nullptr);
  EXPECT_STREQ(effect_->GetPresetName(34), "Yellow Silhouette");
  EXPECT_EQ(effect_->GetPresetName(35), nullptr);
  ParamValue value{};
  ASSERT_TRUE(effect_->GetPresetValue(6, 15, &value));
  EXPECT_EQ(value.choice, 9);  // "Desert Victory" blends by hue
  EXPECT_FALSE(effect_->GetPresetValue(35, 0, &value));
  EXPECT_FALSE(effect_->GetPresetValue(0, 16, &value));
  EXPECT_FALSE(effect_->GetPresetValue(0, 0, nullptr));
}

TEST_F(GradientTintRender, BlendZeroInNormalModeReturnsThePicture) {
  Value("Blend", "First Tint").slider = 0.0f;
  Value("Blend", "Second Tint").slider = 0.0f;
  for (PixelFormat format : kFormats) {
    TestFrame src(37, 23, format);
    TestFrame dst(37, 23, format, 8);
    src.FillRandom(5);
    ASSERT_TRUE(Render(src, dst));
    // Strength 0: BGRA bytes divide by 255 and come back exact; ARGB bytes shift by 8 in
    // both mixes, losing up to one step in each.
    const double slack = IsFloatFormat(format) ? 1e-5 : format == PixelFormat8ARGB ? 2.0 : 0.0;
    for (int y = 0; y < 23; ++y) {
      for (int x = 0; x < 37; ++x) {
        for (int c = 0; c < 4; ++c) {
          ASSERT_NEAR(dst.Get(x, y, c), src.Get(x, y, c), slack)
              << format << " at " << x << "," << y << " channel " << c;
        }
      }
    }
    EXPECT_TRUE(dst.OutsideUntouched());
  }
}

// A picture red on the left and blue on the right, both tints red: Mask 0 tints every
// pixel, Mask 1 only the red ones. Pixels within the box blur's reach of the colour
// boundary see both.
TEST_F(GradientTintRender, MaskZeroTintsAllAndMaskOneOnlyNearColours) {
  PlainTints(0x000000FF, 0x000000FF);
  for (PixelFormat format : kFormats) {
    for (float mask : {0.0f, 1.0f}) {
      Value("Mask", "First Tint").slider = mask;
      Value("Mask", "Second Tint").slider = mask;
      TestFrame src(60, 40, format);
      TestFrame dst(60, 40, format);
      for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 60; ++x)
          x < 30 ? src.SetRgba(x, y, 250, 10, 10, 255) : src.SetRgba(x, y, 10, 10, 250, 255);
      }
      ASSERT_TRUE(Render(src, dst));
      for (int y = 0; y < 40; ++y) {
        for (int x : {2, 20, 40, 57}) {
          const bool tinted = mask == 0.0f || x < 30;
          ASSERT_NEAR(Red(dst, x, y), tinted ? 255 : 10, Slack(format)) << format << " " << mask;
          ASSERT_NEAR(Blue(dst, x, y), tinted ? 0 : 250, Slack(format)) << format << " " << mask;
        }
      }
    }
  }
}

// At Angle 0 the first tint lies above the line through the centre, whether row 0 is the
// bottom of the picture or its top.
TEST_F(GradientTintRender, FirstTintLiesAboveTheLineInBothRowOrders) {
  PlainTints(0x000000FF, 0x00FF0000);
  Value("Crossfade").slider = 0.0f;
  for (PixelFormat format : kFormats) {
    for (uint8_t flipped : {0, 1}) {
      TestFrame src(40, 30, format);
      TestFrame dst(40, 30, format);
      src.FillRandom(3);
      src.Host()->flipped = flipped;
      dst.Host()->flipped = flipped;
      ASSERT_TRUE(Render(src, dst));
      const int top = flipped != 0 ? 2 : 27;
      const int bottom = flipped != 0 ? 27 : 2;
      for (int x = 0; x < 40; x += 5) {
        EXPECT_NEAR(Red(dst, x, top), 255, Slack(format)) << format << " flipped " << int{flipped};
        EXPECT_NEAR(Blue(dst, x, bottom), 255, Slack(format)) << format << " " << int{flipped};
      }
    }
  }
}

TEST_F(GradientTintRender, AFullTurnIsNoTurn) {
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat32FARGB}) {
    TestFrame src(41, 29, format);
    TestFrame turned(41, 29, format);
    TestFrame still(41, 29, format);
    src.FillRandom(9);
    Value("Angle").slider = 1.0f;
    ASSERT_TRUE(Render(src, turned));
    Value("Angle").slider = 0.0f;
    ASSERT_TRUE(Render(src, still));
    // sin 2π in single precision is not quite 0: the line turns by a hundred-thousandth of
    // a degree.
    for (int y = 0; y < 29; ++y) {
      for (int x = 0; x < 41; ++x) {
        for (int c = 0; c < 4; ++c)
          ASSERT_NEAR(turned.Get(x, y, c), still.Get(x, y, c), Full(format) / 255.0 + 1e-5);
      }
    }
  }
}

// The aspect p turns the line as the angle atan2(sin 2πa, p cos 2πa) would without it; a
// pixel aspect the host does not mark valid counts for nothing.
TEST_F(GradientTintRender, PixelAspectTiltsTheLine) {
  PlainTints(0x000000FF, 0x00FF0000);
  const float a = 0.1f;
  const double p = 2.0;
  TestFrame src(50, 50, PixelFormat32FBGRA);
  src.FillRandom(2);
  TestFrame withAspect(50, 50, PixelFormat32FBGRA);
  TestFrame tilted(50, 50, PixelFormat32FBGRA);
  TestFrame plain(50, 50, PixelFormat32FBGRA);
  TestFrame unmarked(50, 50, PixelFormat32FBGRA);
  RenderInfo info = testing::WholeFrameInfo();
  info.infoFlags |= kInfoPixelAspectValid;
  info.pixelAspect = p;
  Value("Angle").slider = a;
  ASSERT_TRUE(Render(src, withAspect, info));
  info.infoFlags = static_cast<uint8_t>(info.infoFlags & ~kInfoPixelAspectValid);
  ASSERT_TRUE(Render(src, unmarked, info));
  ASSERT_TRUE(Render(src, plain));
  const float turn = 6.2831855f;
  Value("Angle").slider =
      std::atan2(std::sin(turn * a), static_cast<float>(p) * std::cos(turn * a)) / turn;
  ASSERT_TRUE(Render(src, tilted));
  EXPECT_EQ(unmarked.Pixels(), plain.Pixels());
  EXPECT_NE(withAspect.Pixels(), plain.Pixels());
  for (int y = 0; y < 50; ++y) {
    for (int x = 0; x < 50; ++x) {
      for (int c = 0; c < 4; ++c)
        ASSERT_NEAR(withAspect.Get(x, y, c), tilted.Get(x, y, c), 1e-3) << x << "," << y;
    }
  }
}

// Either field renders as the whole frame of its doubled lines and keeps the even rows.
TEST_F(GradientTintRender, AFieldIsTheEvenRowsOfItsDoubledPicture) {
  Value("Angle").slider = 0.07f;
  Value("Mask", "First Tint").slider = 0.8f;
  for (PixelFormat format : {PixelFormat8ARGB, PixelFormat32FBGRA}) {
    for (uint16_t fieldMode : {uint16_t{1}, kFieldModeSecondField}) {
      TestFrame src(44, 15, format);
      TestFrame doubled(44, 30, format);
      src.FillRandom(4);
      for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 44; ++x) {
          for (int c = 0; c < 4; ++c)
            doubled.Set(x, y, c, src.Get(x, y / 2, c));
        }
      }
      TestFrame field(44, 15, format);
      TestFrame whole(44, 30, format);
      RenderInfo info = testing::WholeFrameInfo();
      info.fieldMode = fieldMode;
      ASSERT_TRUE(Render(src, field, info));
      ASSERT_TRUE(Render(doubled, whole));
      for (int y = 0; y < 15; ++y) {
        for (int x = 0; x < 44; ++x) {
          for (int c = 0; c < 4; ++c)
            ASSERT_EQ(field.Get(x, y, c), whole.Get(x, 2 * y, c)) << x << "," << y;
        }
      }
    }
  }
}

// Hue mode with a tint at full strength gives the picture the tint's hue and keeps its
// value.
TEST_F(GradientTintRender, HueModeTakesTheTintsHueAndKeepsTheValue) {
  PlainTints(0x00FF0000, 0x00FF0000);  // blue
  Value("Blend Mode").choice = 9;
  for (PixelFormat format : {PixelFormat8ARGB, PixelFormat32FARGB}) {
    TestFrame src(30, 30, format);
    TestFrame dst(30, 30, format);
    for (int y = 0; y < 30; ++y) {
      for (int x = 0; x < 30; ++x)
        src.SetRgba(x, y, 200, 120, 40, 255);
    }
    ASSERT_TRUE(Render(src, dst));
    EXPECT_NEAR(Blue(dst, 15, 15), 200, Slack(format));
    EXPECT_NEAR(Red(dst, 15, 15), 40, Slack(format));
  }
}

}  // namespace
}  // namespace vitrella
