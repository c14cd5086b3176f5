// Split Screen's rules: the profiles of edge and line, which side each half preset keeps in
// either row order, the line's width and opacity, the zoom, the limited and locked shift,
// the source's own alpha, fields and the pixel aspect.
#include "effects/split_screen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/test_frame.h"
#include "effects/split_profiles.h"

namespace vitrella {
namespace {

using testing::FakeHost;
using testing::TestFrame;

TEST(SplitProfiles, EdgeAloneIsTheFallingRamp) {
  const SplitProfiles<uint8_t> p = MakeByteSplitProfiles(4, 0, 0.0f);
  // trunc(255 exp(-(7i/4)^2 / 10)): 255, 187, 74, 16.
  EXPECT_EQ(p.falloff, (std::vector<uint8_t>{255, 187, 74, 16}));
  EXPECT_EQ(p.ramp, (std::vector<uint8_t>{255, 191, 127, 63}));
  EXPECT_EQ(p.alpha, p.ramp);
  EXPECT_EQ(p.colour, std::vector<uint8_t>(4, 0));
  EXPECT_TRUE(MakeFloatSplitProfiles(0, 0, 0.0f).alpha.empty());
}

TEST(SplitProfiles, LineRisesStaysAndFalls) {
  // A line as wide as its feather or wider: f entries up, full, f entries down.
  const SplitProfiles<float> wide = MakeFloatSplitProfiles(3, 5, 1.0f);
  ASSERT_EQ(wide.line.size(), 8u);
  EXPECT_FLOAT_EQ(wide.line[0], wide.falloff[2]);
  EXPECT_FLOAT_EQ(wide.line[2], 1.0f);
  EXPECT_FLOAT_EQ(wide.line[4], 1.0f);
  EXPECT_FLOAT_EQ(wide.line[5], 1.0f);
  EXPECT_FLOAT_EQ(wide.line[7], wide.falloff[2]);
  // A narrower one is a bump of the two flanks, and nothing after it.
  const SplitProfiles<float> narrow = MakeFloatSplitProfiles(8, 2, 0.5f);  // h 4, k 1, m 5
  EXPECT_FLOAT_EQ(narrow.line[4], narrow.falloff[3] * 0.5f);
  EXPECT_FLOAT_EQ(narrow.line[5], narrow.falloff[3] * 0.5f);
  EXPECT_FLOAT_EQ(narrow.line[9], narrow.falloff[7] * 0.5f);
  // Over the line the picture is covered, and the colour weight says by how much of it.
  for (size_t i = 0; i < wide.line.size(); ++i) {
    EXPECT_GE(wide.alpha[i], wide.line[i]) << i;
    EXPECT_NEAR(wide.colour[i] * wide.alpha[i], wide.line[i], 1e-6f) << i;
  }
  // Bytes scale the flanks by trunc(o * 256) and shift.
  const SplitProfiles<uint8_t> half = MakeByteSplitProfiles(2, 2, 0.5f);
  EXPECT_EQ(half.line[1], (255 * 128) >> 8);
}

TEST(SplitProfiles, LineOpacityFollowsItsWidth) {
  const float q = 100.0f;  // 3% of q is 3 pixels
  EXPECT_EQ(SplitLineOpacity(q, 0.0f, 0), 0.0f);
  EXPECT_EQ(SplitLineOpacity(q, 0.00005f, 0), 0.0f);  // below a hundredth: no line
  EXPECT_NEAR(SplitLineOpacity(q, 0.006f, 0), 0.2f, 1e-6f);
  EXPECT_NEAR(SplitLineOpacity(q, 0.02f, 2), 2.0f / 3.0f, 1e-6f);
  EXPECT_EQ(SplitLineOpacity(q, 0.0301f, 3), 1.0f);
  EXPECT_EQ(SplitLineOpacity(q, 0.5f, 50), 1.0f);
  EXPECT_EQ(SplitLineOpacity(0.0f, 0.5f, 0), 0.0f);  // a frame too small for a line
}

class SplitScreenRender : public ::testing::Test {
 public:
  SplitScreenRender() : effect_(new CSplitScreen()), values_(testing::EffectValues(effect_)) {}
  ~SplitScreenRender() override { effect_->Release(); }

  bool Render(TestFrame& src, TestFrame& dst, RenderInfo info = testing::WholeFrameInfo()) {
    FakeHost host(values_);
    return effect_->Render(&host, src.Host(), 0, dst.Host(), &info);
  }
  ParamValue& Value(std::string_view label) {
    return values_[static_cast<size_t>(testing::ParamIndex(effect_, label))];
  }
  void Preset(std::string_view name) {
    values_ = testing::EffectValues(effect_, testing::PresetIndex(effect_, name));
  }
  // A hard edge with no line.
  void Hard() {
    Value("Feather").slider = 0.0f;
    Value("Line Width").slider = 0.0f;
  }

 protected:
  CSplitScreen* effect_;
  std::vector<ParamValue> values_;
};

// Channel c as 0..255 whatever the format.
float Byte(TestFrame& f, int x, int y, int c) {
  return IsFloatFormat(f.Format()) ? f.Get(x, y, c) * 255.0f : f.Get(x, y, c);
}

float Alpha(TestFrame& f, int x, int y) {
  return Byte(f, x, y, ChannelPlacesOf(f.Format()).alpha);
}

void FillOpaque(TestFrame& frame, uint32_t seed) {
  frame.FillRandom(seed);
  for (int y = 0; y < frame.Height(); ++y) {
    for (int x = 0; x < frame.Width(); ++x)
      frame.Set(x, y, ChannelPlacesOf(frame.Format()).alpha,
                IsFloatFormat(frame.Format()) ? 1 : 255);
  }
}

// Host rows count from the bottom of the picture unless the frame says it is flipped.
TEST_F(SplitScreenRender, HalfPresetsKeepTheirSideInEitherRowOrder) {
  constexpr int kW = 48;
  constexpr int kH = 36;
  for (const std::string_view name : {"Left Half", "Top Half", "Right Half", "Bottom Half"}) {
    Preset(name);
    for (PixelFormat format : testing::kHostFormats) {
      for (const bool bottomUp : {false, true}) {
        for (const uint8_t flipped : {0, 1}) {
          SCOPED_TRACE(::testing::Message() << name << " format " << format << " bottomUp "
                                            << bottomUp << " flipped " << int{flipped});
          TestFrame src(kW, kH, format, 8, bottomUp);
          FillOpaque(src, 3);
          TestFrame dst(kW, kH, format, 4, bottomUp);
          src.Host()->flipped = dst.Host()->flipped = flipped;
          ASSERT_TRUE(Render(src, dst));
          EXPECT_TRUE(dst.OutsideUntouched());
          for (int y = 0; y < kH; ++y) {
            const int fromTop = flipped != 0 ? y : kH - 1 - y;
            for (int x = 0; x < kW; ++x) {
              // Signed distance into the kept side; the feather reaches 3 pixels.
              const int across = name == "Left Half"    ? kW / 2 - x
                                 : name == "Right Half" ? x - kW / 2
                                 : name == "Top Half"   ? kH / 2 - fromTop
                                                        : fromTop - kH / 2;
              if (std::abs(across) < 6) continue;
              ASSERT_EQ(Alpha(dst, x, y), across > 0 ? 255.0f : 0.0f) << x << "," << y;
            }
          }
        }
      }
    }
  }
}

// Without a line and without zoom or shift the colours are the source's on both sides;
// only alpha differs.
TEST_F(SplitScreenRender, ColoursPassWhereNoLineIs) {
  for (PixelFormat format : testing::kHostFormats) {
    TestFrame src(33, 21, format, 8);
    src.FillRandom(5);
    TestFrame dst(33, 21, format, 4);
    ASSERT_TRUE(Render(src, dst));
    const int alpha = ChannelPlacesOf(format).alpha;
    for (int y = 0; y < 21; ++y) {
      for (int x = 0; x < 33; ++x) {
        for (int c = 0; c < 4; ++c) {
          if (c == alpha) continue;
          ASSERT_EQ(dst.Get(x, y, c), src.Get(x, y, c)) << x << "," << y;
        }
      }
    }
  }
}

// How much of a white line at Angle 0 shows over a black picture, at most, in the middle
// row: red times alpha, which is the line's profile P as a host composes it.
float LineRed(SplitScreenRender& test, TestFrame& src, TestFrame& dst) {
  EXPECT_TRUE(test.Render(src, dst));
  float most = 0.0f;
  const int y = dst.Height() / 2;
  for (int x = 0; x < dst.Width(); ++x) {
    const float red = Byte(dst, x, y, ChannelPlacesOf(dst.Format()).red);
    most = std::max(most, red * Alpha(dst, x, y) / 255.0f);
  }
  return most;
}

TEST_F(SplitScreenRender, LineWidthSetsWidthAndOpacity) {
  // 400 x 400: q is 100, so 3% of q is 3 pixels.
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat8ARGB, PixelFormat32FBGRA}) {
    SCOPED_TRACE(format);
    TestFrame src(400, 400, format);
    for (int y = 0; y < 400; ++y) {
      for (int x = 0; x < 400; ++x)
        src.SetRgba(x, y, 0, 0, 0, 255);
    }
    TestFrame dst(400, 400, format);
    Value("Line Color").color = 0x00FFFFFF;
    Value("Feather").slider = 0.0f;
    Value("Line Width").slider = 0.0f;
    EXPECT_EQ(LineRed(*this, src, dst), 0.0f) << "Line Width 0 draws no line";
    // Just above 0: one pixel at (q w) / (q 0.03) of full.
    Value("Line Width").slider = 0.006f;
    EXPECT_NEAR(LineRed(*this, src, dst), 255.0f * 0.2f, 3.0f);
    Value("Line Width").slider = 0.012f;
    EXPECT_NEAR(LineRed(*this, src, dst), 255.0f * 0.4f, 3.0f);
    // Above 3%: opaque, but for the alpha-first bytes' mix, whose shift by 8 stops at 254.
    Value("Line Width").slider = 0.05f;
    EXPECT_NEAR(LineRed(*this, src, dst), 255.0f, 1.0f);
  }
}

TEST_F(SplitScreenRender, CropOneZoomsFiveTimesAboutTheCentre) {
  // Red climbs by 2 per column, so the zoomed picture's red climbs by 2 / 5.
  TestFrame src(100, 20, PixelFormat32FBGRA);
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 100; ++x)
      src.Set(x, y, 2, static_cast<float>(2 * x) / 255.0f);
  }
  TestFrame dst(100, 20, PixelFormat32FBGRA);
  Value("Crop").slider = 1.0f;
  ASSERT_TRUE(Render(src, dst));
  // Column x samples (x + 2 W) / 5.
  for (const int x : {10, 40, 50, 60}) {
    EXPECT_NEAR(dst.Get(x, 10, 2) * 255.0f, 2.0f * (x + 200) / 5.0f, 1e-3f) << x;
  }
}

TEST_F(SplitScreenRender, ShiftStopsShortOfTheFrame) {
  // Lock adds the centre's offset: Shift and Center at the right edge ask for a whole
  // frame's move, which stops at 0.99 of it, 990 columns of 1000. The edge lies at column
  // 999, so columns 990 to 998 show the picture's first columns.
  Hard();
  Value("Lock Image to Split").check = 1;
  Value("Split Center").point[0] = 1.0f;
  Value("Shift").point[0] = 1.0f;
  TestFrame src(1000, 4, PixelFormat8BGRA);
  FillOpaque(src, 9);
  TestFrame dst(1000, 4, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, dst));
  EXPECT_EQ(Alpha(dst, 989, 2), 0.0f);
  for (int x = 990; x < 998; ++x) {
    EXPECT_EQ(Alpha(dst, x, 2), 255.0f) << x;
    for (int c = 0; c < 3; ++c)
      EXPECT_NEAR(dst.Get(x, 2, c), src.Get(x - 990, 2, c), 1.0f) << x;
  }
}

TEST_F(SplitScreenRender, LockMovesThePictureWithTheCentre) {
  Hard();
  Value("Lock Image to Split").check = 1;
  Value("Split Center").point[0] = 0.625f;  // 25 columns of 200 to the right
  TestFrame src(200, 16, PixelFormat8BGRA);
  FillOpaque(src, 4);
  TestFrame dst(200, 16, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, dst));
  for (int x = 25; x < 120; ++x) {
    for (int c = 0; c < 3; ++c)
      ASSERT_EQ(dst.Get(x, 8, c), src.Get(x - 25, 8, c)) << x;
    ASSERT_EQ(Alpha(dst, x, 8), 255.0f) << x;
  }
  EXPECT_EQ(Alpha(dst, 24, 8), 0.0f) << "nothing of the picture reaches there";
}

TEST_F(SplitScreenRender, SourceAlphaIsMultipliedByTheEdge) {
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat32FARGB}) {
    TestFrame src(64, 40, format);
    src.FillRandom(2);
    const int alpha = ChannelPlacesOf(format).alpha;
    for (int y = 0; y < 40; ++y) {
      for (int x = 0; x < 64; ++x)
        src.Set(x, y, alpha, IsFloatFormat(format) ? 0.5f : 128.0f);
    }
    TestFrame dst(64, 40, format);
    ASSERT_TRUE(Render(src, dst));  // the defaults keep the left half with a feather
    float previous = 256.0f;
    for (int x = 0; x < 64; ++x) {
      const float a = Alpha(dst, x, 20);
      EXPECT_LE(a, previous + 0.5f) << "the edge falls towards the far side";
      previous = a;
      if (x < 20) {
        EXPECT_NEAR(a, 127.5f, 0.5f) << x;
      } else if (x > 44) {
        EXPECT_EQ(a, 0.0f) << x;
      }
    }
  }
}

// A field is the doubled picture: the same as rendering the frame whose rows are each
// field line twice, and keeping its even rows, whichever field the host names.
TEST_F(SplitScreenRender, FieldRendersAsItsDoubledPicture) {
  Preset("Red Laser");
  for (PixelFormat format : {PixelFormat8ARGB, PixelFormat32FBGRA}) {
    TestFrame field(40, 15, format);
    field.FillRandom(8);
    TestFrame doubled(40, 30, format);
    for (int y = 0; y < 30; ++y) {
      std::copy_n(field.HostRow(y / 2), 40 * FormatPixelBytes(format), doubled.HostRow(y));
    }
    TestFrame whole(40, 30, format);
    ASSERT_TRUE(Render(doubled, whole));
    for (const uint16_t mode : {uint16_t{0}, uint16_t{1}, uint16_t{2}}) {
      RenderInfo info = testing::WholeFrameInfo();
      info.fieldMode = mode;
      TestFrame dst(40, 15, format);
      ASSERT_TRUE(Render(field, dst, info));
      for (int y = 0; y < 15; ++y) {
        ASSERT_TRUE(std::equal(dst.HostRow(y), dst.HostRow(y) + 40 * FormatPixelBytes(format),
                               whole.HostRow(2 * y)))
            << "field " << mode << " row " << y;
      }
    }
  }
}

// The aspect divides the angle's cosine: at 45 degrees and pixels twice as wide, the line
// turns as far as atan(2) does on square pixels.
TEST_F(SplitScreenRender, PixelAspectTurnsTheLineTheOtherWay) {
  Hard();
  TestFrame src(60, 60, PixelFormat8BGRA);
  FillOpaque(src, 6);
  Value("Split Angle").slider = 0.125f;
  RenderInfo info = testing::WholeFrameInfo();
  info.infoFlags |= kInfoPixelAspectValid;
  info.pixelAspect = 2.0;
  TestFrame wide(60, 60, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, wide, info));
  Value("Split Angle").slider = static_cast<float>(std::atan(2.0) / (2.0 * M_PI));
  TestFrame square(60, 60, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, square));
  int differ = 0;
  for (int y = 0; y < 60; ++y) {
    for (int x = 0; x < 60; ++x)
      differ += std::abs(Alpha(wide, x, y) - Alpha(square, x, y)) > 2.0f ? 1 : 0;
  }
  EXPECT_EQ(differ, 0);
}

// After a flip, Angle 0 turns to a whole turn, which the rotation is never given: it is
// drawn as 359.999 degrees, and keeps the left side as Angle 0 does unflipped.
TEST_F(SplitScreenRender, FlippedAngleZeroStaysJustShortOfAWholeTurn) {
  Hard();
  TestFrame src(40, 30, PixelFormat8BGRA);
  FillOpaque(src, 1);
  TestFrame dst(40, 30, PixelFormat8BGRA);
  src.Host()->flipped = dst.Host()->flipped = 1;
  for (const float angle : {0.0f, 1.0f}) {
    Value("Split Angle").slider = angle;
    ASSERT_TRUE(Render(src, dst));
    for (int y = 0; y < 30; ++y) {
      EXPECT_EQ(Alpha(dst, 10, y), 255.0f) << angle;
      EXPECT_EQ(Alpha(dst, 30, y), 0.0f) << angle;
    }
  }
}

TEST_F(SplitScreenRender, RefusesMismatchedFrames) {
  TestFrame src(20, 20, PixelFormat8BGRA);
  TestFrame dst(20, 20, PixelFormat32FBGRA);
  EXPECT_FALSE(Render(src, dst));
  // Frames too small for a line still render.
  TestFrame tiny(2, 2, PixelFormat8ARGB);
  TestFrame tinyOut(2, 2, PixelFormat8ARGB);
  Preset("Mow the Lawn");
  EXPECT_TRUE(Render(tiny, tinyOut));
}

}  // namespace
}  // namespace vitrella
