// Image Mapper's rules, in picture positions (x from the left, y from the top) whichever
// way the host's rows run: the identity corners give the picture back; moved corners put
// it where they say with transparent black around; bent edges bend the right way; a shape
// the warp refuses shows its outline; crop, aspect, edge blur and shift; bad calls.
#include "effects/image_mapper.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string_view>
#include <vector>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/test_frame.h"

namespace vitrella {
namespace {

using testing::FakeHost;
using testing::TestFrame;

// The host row of a picture row counted from the top.
int HostRow(const TestFrame& f, int yTop, bool flipped) {
  return flipped ? yTop : f.Height() - 1 - yTop;
}

// Channel c of the pixel at picture position (x, yTop), 0..255 whatever the format.
float At(TestFrame& f, int x, int yTop, int c, bool flipped) {
  const float v = f.Get(x, HostRow(f, yTop, flipped), c);
  return IsFloatFormat(f.Format()) ? v * 255.0f : v;
}

// Opaque quadrants by picture position: red top left, green top right, blue bottom left,
// white bottom right.
void Quadrants(TestFrame& f, bool flipped) {
  for (int y = 0; y < f.Height(); ++y) {
    for (int x = 0; x < f.Width(); ++x) {
      const bool right = x >= f.Width() / 2;
      const bool low = y >= f.Height() / 2;
      const int row = HostRow(f, y, flipped);
      if (!right && !low) f.SetRgba(x, row, 255, 0, 0, 255);
      if (right && !low) f.SetRgba(x, row, 0, 255, 0, 255);
      if (!right && low) f.SetRgba(x, row, 0, 0, 255, 255);
      if (right && low) f.SetRgba(x, row, 255, 255, 255, 255);
    }
  }
}

struct Layout {
  PixelFormat format;
  bool bottomUp;
  uint8_t flipped;
};

std::vector<Layout> EveryLayout() {
  std::vector<Layout> all;
  for (PixelFormat format : testing::kHostFormats) {
    for (const bool bottomUp : {false, true}) {
      for (const uint8_t flipped : {0, 1})
        all.push_back({format, bottomUp, flipped});
    }
  }
  return all;
}

class ImageMapperRender : public ::testing::Test {
 public:
  ImageMapperRender()
      : effect_(new CImageMapper()),
        values_(testing::EffectValues(effect_, testing::PresetIndex(effect_, "Reset to None"))) {}
  ~ImageMapperRender() override { effect_->Release(); }

  bool Render(TestFrame& src, TestFrame& dst, RenderInfo info = testing::WholeFrameInfo()) {
    FakeHost host(values_);
    return effect_->Render(&host, src.Host(), 0, dst.Host(), &info);
  }
  ParamValue& Value(std::string_view label) {
    return values_[static_cast<size_t>(testing::ParamIndex(effect_, label))];
  }
  void Corners(float l, float t, float r, float b) {
    Value("Top Left") = PointValue(l, t);
    Value("Top Right") = PointValue(r, t);
    Value("Bottom Left") = PointValue(l, b);
    Value("Bottom Right") = PointValue(r, b);
  }

 protected:
  CImageMapper* effect_;
  std::vector<ParamValue> values_;
};

TEST_F(ImageMapperRender, IdentityCornersGiveThePictureBack) {
  // The defaults run every stage a hair off neutral; "Reset to None" skips the crop.
  for (const bool defaults : {true, false}) {
    if (defaults) values_ = testing::EffectValues(effect_);
    for (const Layout& l : EveryLayout()) {
      SCOPED_TRACE(::testing::Message()
                   << "defaults " << defaults << " format " << l.format << " bottomUp "
                   << l.bottomUp << " flipped " << int{l.flipped});
      TestFrame src(64, 40, l.format, 8, l.bottomUp);
      src.FillRandom(5);
      TestFrame dst(64, 40, l.format, 4, l.bottomUp);
      src.Host()->flipped = dst.Host()->flipped = l.flipped;
      ASSERT_TRUE(Render(src, dst));
      EXPECT_TRUE(dst.OutsideUntouched());
      // Bilinear resampling rounds to within a level; the border pixels may be smoothed.
      for (int y = 1; y < 39; ++y) {
        for (int x = 1; x < 63; ++x) {
          for (int c = 0; c < 4; ++c) {
            const float scale = IsFloatFormat(l.format) ? 255.0f : 1.0f;
            ASSERT_NEAR(dst.Get(x, y, c) * scale, src.Get(x, y, c) * scale, 1.0f)
                << x << ", " << y << " channel " << c;
          }
        }
      }
    }
  }
}

TEST_F(ImageMapperRender, MovedCornersPutThePictureWhereTheySay) {
  // The picture into the rectangle from (0.1, 0.2) to (0.6, 0.9) of the frame.
  Corners(0.1f, 0.2f, 0.6f, 0.9f);
  constexpr int kW = 101;
  constexpr int kH = 81;
  const auto px = [](double u) { return static_cast<int>(std::lround((0.1 + 0.5 * u) * 100)); };
  const auto py = [](double v) { return static_cast<int>(std::lround((0.2 + 0.7 * v) * 80)); };
  for (const Layout& l : EveryLayout()) {
    SCOPED_TRACE(::testing::Message() << "format " << l.format << " bottomUp " << l.bottomUp
                                      << " flipped " << int{l.flipped});
    TestFrame src(kW, kH, l.format, 0, l.bottomUp);
    TestFrame dst(kW, kH, l.format, 0, l.bottomUp);
    src.Host()->flipped = dst.Host()->flipped = l.flipped;
    Quadrants(src, l.flipped != 0);
    ASSERT_TRUE(Render(src, dst));
    const ChannelPlaces ch = ChannelPlacesOf(l.format);
    const auto rgba = [&](int x, int y) {
      const bool f = l.flipped != 0;
      return std::vector<float>{At(dst, x, y, ch.red, f), At(dst, x, y, ch.green, f),
                                At(dst, x, y, ch.blue, f), At(dst, x, y, ch.alpha, f)};
    };
    EXPECT_EQ(rgba(px(0.25), py(0.25)), (std::vector<float>{255, 0, 0, 255}));
    EXPECT_EQ(rgba(px(0.75), py(0.25)), (std::vector<float>{0, 255, 0, 255}));
    EXPECT_EQ(rgba(px(0.25), py(0.75)), (std::vector<float>{0, 0, 255, 255}));
    EXPECT_EQ(rgba(px(0.75), py(0.75)), (std::vector<float>{255, 255, 255, 255}));
    // Around the shape: transparent black.
    for (const auto& [x, y] : {std::pair{5, 40}, {80, 40}, {40, 5}, {40, 78}, {100, 0}}) {
      EXPECT_EQ(rgba(x, y), (std::vector<float>{0, 0, 0, 0})) << x << ", " << y;
    }
  }
}

TEST_F(ImageMapperRender, BentEdgesBendTheRightWay) {
  constexpr int kW = 120;
  constexpr int kH = 90;
  const auto alpha = [&](std::string_view edge, float value, int x, int y, bool flipped) {
    values_ = testing::EffectValues(effect_, testing::PresetIndex(effect_, "Reset to None"));
    Value(edge).slider = value;
    TestFrame src(kW, kH, PixelFormat8BGRA);
    src.FillRandom(9);
    for (int r = 0; r < kH; ++r) {
      for (int c = 0; c < kW; ++c)
        src.Set(c, r, 3, 255);
    }
    TestFrame dst(kW, kH, PixelFormat8BGRA);
    src.Host()->flipped = dst.Host()->flipped = flipped ? 1 : 0;
    EXPECT_TRUE(Render(src, dst));
    return At(dst, x, y, 3, flipped);
  };
  for (const bool flipped : {false, true}) {
    SCOPED_TRACE(flipped);
    // Top at +1: the top edge's ends come down a third, its middle stays at the top.
    EXPECT_EQ(alpha("Top", 1.0f, 2, 20, flipped), 0);
    EXPECT_EQ(alpha("Top", 1.0f, 60, 1, flipped), 255);
    EXPECT_EQ(alpha("Top", 1.0f, 60, 88, flipped), 255);
    // At -1 the middle comes down and the ends stay.
    EXPECT_EQ(alpha("Top", 0.0f, 60, 20, flipped), 0);
    EXPECT_EQ(alpha("Top", 0.0f, 3, 5, flipped), 255);
    // Bottom at +1: the bottom edge's ends go up.
    EXPECT_EQ(alpha("Bottom", 1.0f, 2, 70, flipped), 0);
    EXPECT_EQ(alpha("Bottom", 1.0f, 60, 88, flipped), 255);
    // Left at +1 and Right at -1.
    EXPECT_EQ(alpha("Left", 1.0f, 25, 1, flipped), 0);
    EXPECT_EQ(alpha("Left", 1.0f, 1, 45, flipped), 255);
    EXPECT_EQ(alpha("Right", 0.0f, 95, 45, flipped), 0);
    EXPECT_EQ(alpha("Right", 0.0f, 116, 0, flipped), 255);
  }
}

TEST_F(ImageMapperRender, AShapeThatIsNotConvexKeepsItsOutline) {
  // Bottom Left pulled in past the diagonal: a dart the warp refuses.
  Corners(0.0f, 0.0f, 1.0f, 1.0f);
  Value("Bottom Left") = PointValue(0.75f, 0.25f);
  for (const PixelFormat format : {PixelFormat8ARGB, PixelFormat32FBGRA}) {
    TestFrame src(81, 61, format);
    src.FillRandom(2);
    TestFrame dst(81, 61, format);
    src.Host()->flipped = dst.Host()->flipped = 1;
    ASSERT_TRUE(Render(src, dst));
    const float full = IsFloatFormat(format) ? 1.0f : 255.0f;
    int white = 0;
    for (int y = 0; y < 61; ++y) {
      for (int x = 0; x < 81; ++x) {
        const float v = dst.Get(x, y, 0);
        for (int c = 1; c < 4; ++c)
          ASSERT_EQ(dst.Get(x, y, c), v);
        ASSERT_TRUE(v == 0.0f || v == full);
        white += v == full ? 1 : 0;
      }
    }
    // The corners (0, 0), (80, 0), (80, 60) and (60, 15) and the top edge between them.
    EXPECT_EQ(dst.Get(0, 0, 1), full);
    EXPECT_EQ(dst.Get(80, 0, 1), full);
    EXPECT_EQ(dst.Get(80, 60, 1), full);
    EXPECT_EQ(dst.Get(60, 15, 1), full);
    EXPECT_EQ(dst.Get(40, 0, 1), full);
    EXPECT_EQ(dst.Get(40, 30, 1), 0.0f);
    EXPECT_GT(white, 200);
    EXPECT_LT(white, 400);
  }
}

TEST_F(ImageMapperRender, CropTakesAFifthFromEachSide) {
  // Crop at 1 starts the picture at (trunc(0.2 W), trunc(0.2 H)) and ends it as far from
  // the far side; the resize samples whole positions at the ends.
  Value("Crop").slider = 1.0f;
  TestFrame src(100, 60, PixelFormat8BGRA);
  src.FillRandom(4);
  TestFrame dst(100, 60, PixelFormat8BGRA);
  src.Host()->flipped = dst.Host()->flipped = 1;
  ASSERT_TRUE(Render(src, dst));
  for (int c = 0; c < 4; ++c)
    EXPECT_EQ(dst.Get(0, 0, c), src.Get(20, 12, c)) << c;
}

TEST_F(ImageMapperRender, AspectAtItsEndStretchesASliver) {
  // Aspect Ratio at 1 asks for a margin of half the width, kept to W / 2 - 1: two columns
  // of the source across the frame, so every row lies between their two values.
  Value("Aspect Ratio").slider = 1.0f;
  TestFrame src(64, 32, PixelFormat8BGRA);
  src.FillRandom(6);
  TestFrame dst(64, 32, PixelFormat8BGRA);
  src.Host()->flipped = dst.Host()->flipped = 1;
  ASSERT_TRUE(Render(src, dst));
  for (int y = 0; y < 32; ++y) {
    const float a = src.Get(31, y, 1);
    const float b = src.Get(32, y, 1);
    for (int x = 0; x < 64; ++x) {
      ASSERT_GE(dst.Get(x, y, 1), std::min(a, b) - 1) << x << ", " << y;
      ASSERT_LE(dst.Get(x, y, 1), std::max(a, b) + 1) << x << ", " << y;
    }
  }
}

TEST_F(ImageMapperRender, EdgeBlurSoftensTheAlphaInwardsOnly) {
  // Edge Blur 0.5 on 200 wide: k = trunc(200 * 0.1 * 0.49) = 9.
  Value("Edge Blur").slider = 0.5f;
  for (const PixelFormat format : {PixelFormat8BGRA, PixelFormat32FARGB}) {
    TestFrame src(200, 100, format);
    src.FillRandom(8);
    const int alpha = ChannelPlacesOf(format).alpha;
    const float full = IsFloatFormat(format) ? 1.0f : 255.0f;
    for (int y = 0; y < 100; ++y) {
      for (int x = 0; x < 200; ++x)
        src.Set(x, y, alpha, full);
    }
    TestFrame dst(200, 100, format);
    ASSERT_TRUE(Render(src, dst));
    // The first box and the cut leave full alpha from 4 pixels in; the second box ramps
    // it up from the edge: (x + 1) / 9 of full over the first 8 pixels, on every side.
    for (int x = 0; x < 8; ++x) {
      // Bytes: the integer quotient of the sum by the area 81, rounded to nearest.
      const int rounded = (255 * (x + 1) * 9 + 40) / 81;
      const float expected =
          IsFloatFormat(format) ? static_cast<float>(x + 1) / 9.0f : static_cast<float>(rounded);
      EXPECT_NEAR(dst.Get(x, 50, alpha), expected, 1e-6f) << x;
      EXPECT_NEAR(dst.Get(100, x, alpha), expected, 1e-6f) << x;
    }
    for (int x = 8; x <= 100; ++x)
      EXPECT_EQ(dst.Get(x, 50, alpha), full) << x;
    // Colours pass untouched.
    EXPECT_EQ(dst.Get(3, 50, (alpha + 1) % 4), src.Get(3, 50, (alpha + 1) % 4));
  }
}

TEST_F(ImageMapperRender, ShiftMovesTheWholePicture) {
  Value("Shift ") = PointValue(1.0f, 0.5f);  // a whole frame to the right: nothing left
  TestFrame src(64, 48, PixelFormat8BGRA);
  src.FillRandom(1);
  TestFrame dst(64, 48, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, dst));
  EXPECT_EQ(dst.Pixels(), std::vector<uint8_t>(64 * 48 * 4, 0));
  // A quarter frame to the right: the left quarter is clear, the picture starts after it.
  Value("Shift ") = PointValue(0.625f, 0.5f);
  ASSERT_TRUE(Render(src, dst));
  EXPECT_EQ(dst.Get(10, 20, 3), 0);
  EXPECT_EQ(dst.Get(40, 20, 0), src.Get(24, 20, 0));
}

TEST_F(ImageMapperRender, RefusesSmallFramesAndMixedFormats) {
  TestFrame narrow(15, 1000, PixelFormat8BGRA);
  TestFrame narrowOut(15, 1000, PixelFormat8BGRA);
  EXPECT_FALSE(Render(narrow, narrowOut));
  TestFrame a(32, 32, PixelFormat8BGRA);
  TestFrame b(32, 32, PixelFormat32FBGRA);
  EXPECT_FALSE(Render(a, b));
  EXPECT_EQ(effect_->GetEffectTraits(), 965u);
  EXPECT_EQ(effect_->GetParamToolTip(11), nullptr);
  EXPECT_STREQ(effect_->GetParamToolTip(15), "Move entire image ");
  EXPECT_EQ(effect_->GetParamToolTip(16), nullptr);
  EXPECT_EQ(effect_->GetPresetName(21), nullptr);
}

TEST(ImageMapperStages, CropMarginsKeepTwoPixels) {
  EXPECT_EQ(CropMarginsOf(1920, 1080, 0.2f, 0.0f).cx, 384);
  EXPECT_EQ(CropMarginsOf(1920, 1080, 0.0f, 1.0f).cx, 959);  // 960 asked
  EXPECT_EQ(CropMarginsOf(1920, 1080, 0.0f, -1.0f).cy, 539);
  const CropMargins half = CropMarginsOf(1000, 500, 0.02f, 0.5f);  // 20 + trunc(62.5)
  EXPECT_EQ(half.cx, 82);
  EXPECT_EQ(half.cy, 10);
}

}  // namespace
}  // namespace vitrella
