// Proportion Helper's rules: each guide where its geometry puts it on a flat picture, on
// which the negative makes the line exact; the mirrors and the turn; the picture untouched
// off the guide; the guide opaque on a clear picture; Disable; the refused GPU path. And
// the drawing primitives beneath: the thin line, the quarter arc and the disc brush.
#include "effects/proportion_helper.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>
#include <vector>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/test_frame.h"
#include "effects/proportion_guides.h"

namespace vitrella {
namespace {

using testing::FakeHost;
using testing::TestFrame;

// A one-byte mask of 255 for the primitives.
struct Mask {
  std::vector<uint8_t> bytes;
  FrameBuffer frame;
  Mask(int32_t w, int32_t h) : bytes(static_cast<size_t>(w) * h, 255) {
    frame.Attach(bytes.data(), w, h, w, 1, PixelFormat8Gray, false);
  }
  int At(int x, int y) const { return bytes[static_cast<size_t>(y) * frame.width + x]; }
};

TEST(ProportionGuides, ThinLineSharesEachStepAcrossTheLine) {
  Mask m(12, 8);
  DrawThinLine(m.frame, 1, 1, 9, 5);  // half a row per column
  // Column 3 lies on row 2 exactly: full strength there, none below.
  EXPECT_EQ(m.At(3, 2), 0);
  EXPECT_EQ(m.At(3, 3), 255);
  // Column 4 lies half way between rows 2 and 3.
  EXPECT_EQ(m.At(4, 2), 127);
  EXPECT_EQ(m.At(4, 3), 128);
  // The end steps are half as strong.
  EXPECT_EQ(m.At(1, 1), 127);
  EXPECT_EQ(m.At(9, 5), 127);
  EXPECT_EQ(m.At(10, 5), 255);  // nothing past the end
  // A line leaving the mask is cut, and a crossing keeps the darker value.
  DrawThinLine(m.frame, -5, 2, 20, 2);
  EXPECT_EQ(m.At(0, 2), 0);
  EXPECT_EQ(m.At(11, 2), 0);
  EXPECT_EQ(m.At(4, 3), 128);
}

TEST(ProportionGuides, QuarterArcRunsFromCornerToCornerAlongTheCircle) {
  Mask m(41, 41);
  DrawQuarterArc(m.frame, 40, 0, 40, 41, 41, false);
  // About (40, 0): through (0, 0), and at 45 degrees through (40 - 28, 28).
  EXPECT_LT(m.At(0, 0), 128);
  int darkest = 255;
  for (int y = 26; y <= 30; ++y)
    darkest = std::min(darkest, m.At(40 - 28, y));
  EXPECT_LT(darkest, 128);
  // Inside the circle near the centre and outside it far away, nothing.
  EXPECT_EQ(m.At(35, 5), 255);
  EXPECT_EQ(m.At(2, 38), 255);
  // Stretched, the arc of a 20 x 40 picture reaches across both sides.
  Mask s(20, 40);
  DrawQuarterArc(s.frame, 20, 0, 20, 20, 40, true);
  EXPECT_LT(s.At(0, 0), 128);
  EXPECT_EQ(s.At(19, 39), 0);  // the far row closed to the edge
  EXPECT_EQ(s.At(18, 2), 255);
}

TEST(ProportionGuides, DiscBrushIsARoundSmoothDisc) {
  int32_t s = 0;
  const std::vector<uint8_t> brush = DiscBrush(10, &s);
  ASSERT_EQ(s, 11);
  const auto at = [&](int x, int y) { return brush[static_cast<size_t>(y) * s + x]; };
  EXPECT_EQ(at(5, 5), 255);
  EXPECT_LT(at(0, 0), 40);
  for (int y = 0; y < s; ++y) {
    for (int x = 0; x < s; ++x) {
      EXPECT_EQ(at(x, y), at(s - 1 - x, y));
      EXPECT_EQ(at(x, y), at(y, x));
    }
  }
}

TEST(ProportionGuides, GoldenStepsDivideTheBoxInTurn) {
  const GoldenSteps g = GoldenStepsOf(1000, 500);
  EXPECT_EQ(g.x1, 618);
  EXPECT_EQ(g.y1, 309);
  EXPECT_EQ(g.x2, 763);  // 1000 - 382 * 0.618034
  EXPECT_EQ(g.y2, 381);  // 500 - 191 * 0.618034
  EXPECT_EQ(g.x3, 707);
  EXPECT_EQ(g.y3, 353);
}

class ProportionRender : public ::testing::Test {
 public:
  ProportionRender() : effect_(new PropHelper()), values_(testing::EffectValues(effect_)) {}
  ~ProportionRender() override { effect_->Release(); }

  bool Render(TestFrame& src, TestFrame& dst, RenderInfo info = testing::WholeFrameInfo()) {
    FakeHost host(values_);
    return effect_->Render(&host, src.Host(), 0, dst.Host(), &info);
  }
  ParamValue& Value(std::string_view label) {
    return values_[static_cast<size_t>(testing::ParamIndex(effect_, label))];
  }
  // A flat clear black frame rendered with the shape, its rows as the box has them (host
  // order, flipped clear); the guide comes out as 254 in the red channel (255 - 0 scaled
  // by 255 / 256) with alpha 255, and the rest stays 0.
  void Guide(TestFrame& dst, int shape, float thickness) {
    TestFrame src(dst.Width(), dst.Height(), PixelFormat8BGRA);
    Flat(src, 0, 0);
    Value("Shape").choice = shape;
    Value("Thickness").slider = thickness;
    EXPECT_TRUE(Render(src, dst));
  }
  static void Flat(TestFrame& f, int grey, int alpha) {
    for (int y = 0; y < f.Height(); ++y) {
      for (int x = 0; x < f.Width(); ++x)
        f.SetRgba(x, y, grey, grey, grey, alpha);
    }
  }

 protected:
  PropHelper* effect_;
  std::vector<ParamValue> values_;
};

constexpr int kRed = 2;

// The guide pixels of a flat render must be exactly the rows and columns given (full
// bands across the frame), and nothing else.
void ExpectBands(TestFrame& f, const std::set<int>& rows, const std::set<int>& columns) {
  for (int y = 0; y < f.Height(); ++y) {
    for (int x = 0; x < f.Width(); ++x) {
      const bool guide = rows.count(y) != 0 || columns.count(x) != 0;
      ASSERT_EQ(f.Get(x, y, kRed), guide ? 254 : 0) << x << ", " << y;
      ASSERT_EQ(f.Get(x, y, 3), guide ? 255 : 0) << x << ", " << y;
    }
  }
}

// t = trunc(300 * 0.31 * 0.033) = 3, centred on each position.
TEST_F(ProportionRender, ThirdsAndGoldenSectionLieWhereTheirDivisionsFall) {
  TestFrame thirds(300, 150, PixelFormat8BGRA);
  Guide(thirds, 0, 0.31f);
  ExpectBands(thirds, {0, 49, 50, 51, 99, 100, 101, 149}, {0, 99, 100, 101, 199, 200, 201, 299});
  // 0.618034 of 300 is 185 and the rest 114; of 150, 92 and 57.
  TestFrame golden(300, 150, PixelFormat8BGRA, 12);
  Guide(golden, 1, 0.31f);
  ExpectBands(golden, {0, 56, 57, 58, 91, 92, 93, 149}, {0, 113, 114, 115, 184, 185, 186, 299});
}

TEST_F(ProportionRender, SpiralSectionsCloseTheirSquares) {
  // Thin bands on a box of 1000 x 500: x1 618, y1 309, x2 763, y2 381, x3 707, y3 353.
  TestFrame f(1000, 500, PixelFormat8BGRA);
  Guide(f, 3, 0.0f);
  const auto guide = [&](int x, int y) { return f.Get(x, y, kRed) == 254; };
  EXPECT_TRUE(guide(618, 10) && guide(618, 490));
  EXPECT_TRUE(guide(700, 309) && !guide(600, 309));
  EXPECT_TRUE(guide(763, 400) && !guide(763, 300));
  EXPECT_TRUE(guide(700, 381) && !guide(800, 381));
  EXPECT_TRUE(guide(707, 370) && !guide(707, 390));
  EXPECT_TRUE(guide(730, 353) && !guide(690, 353));
  EXPECT_FALSE(guide(500, 200));
}

TEST_F(ProportionRender, ThinDiagonalsRunCornerToCorner) {
  TestFrame f(101, 101, PixelFormat8BGRA);
  Guide(f, 5, 0.0f);
  for (int x = 2; x <= 98; ++x) {
    if (x == 50) continue;  // where the two cross
    EXPECT_EQ(f.Get(x, x, kRed), 254) << x;
    EXPECT_EQ(f.Get(x, 101 - x, kRed), 254) << x;
    EXPECT_EQ(f.Get(x, x + 1, kRed), 0) << x;
  }
  // Golden triangles: from (0, 0) to (38, 101), and from (62, 0) to (101, 101).
  TestFrame t(101, 101, PixelFormat8BGRA);
  Guide(t, 4, 0.0f);
  EXPECT_GT(t.Get(19, 50, kRed), 100);
  EXPECT_GT(t.Get(81, 50, kRed), 100);
  EXPECT_EQ(t.Get(40, 50, kRed), 0);
}

TEST_F(ProportionRender, ThickBarsFollowTheDiagonals) {
  // t = trunc(200 * 0.5 * 0.033) = 3: a bar about 3 pixels across the line.
  TestFrame f(200, 200, PixelFormat8BGRA);
  Guide(f, 5, 0.5f);
  EXPECT_EQ(f.Get(60, 60, kRed), 254);
  EXPECT_EQ(f.Get(60, 140, kRed), 254);
  EXPECT_EQ(f.Get(60, 64, kRed), 0);
  EXPECT_EQ(f.Get(100, 20, kRed), 0);
}

TEST_F(ProportionRender, MirrorsReverseTheGuide) {
  TestFrame plain(300, 150, PixelFormat8BGRA);
  Guide(plain, 1, 0.31f);
  Value("Flip Vertical").check = 1;
  TestFrame down(300, 150, PixelFormat8BGRA);
  Guide(down, 1, 0.31f);
  Value("Flip Vertical").check = 0;
  Value("Flip Horizontal").check = 1;
  TestFrame across(300, 150, PixelFormat8BGRA);
  Guide(across, 1, 0.31f);
  for (int y = 0; y < 150; ++y) {
    for (int x = 0; x < 300; ++x) {
      ASSERT_EQ(down.Get(x, y, kRed), plain.Get(x, 149 - y, kRed)) << x << ", " << y;
      ASSERT_EQ(across.Get(x, y, kRed), plain.Get(299 - x, y, kRed)) << x << ", " << y;
    }
  }
}

TEST_F(ProportionRender, AQuarterTurnMakesColumnsRows) {
  // The thirds of a 300 x 150 box turned by 90 degrees about its middle (149.5, 74.5): box
  // pixel (u, v) lands on (75 + v, 224 - u), so the box spans columns 75 to 224, its
  // column bands become rows 23..25 and 123..125, and its row bands columns 124..126 and
  // 174..176.
  Value("Angle").slider = 0.5f;
  TestFrame f(300, 150, PixelFormat8BGRA);
  Guide(f, 0, 0.31f);
  const auto guide = [&](int x, int y) { return f.Get(x, y, kRed) >= 250; };
  const auto clear = [&](int x, int y) { return f.Get(x, y, kRed) <= 4; };
  for (int y : {23, 24, 25, 123, 124, 125})
    EXPECT_TRUE(guide(100, y)) << y;
  for (int y : {22, 26, 60, 122, 126})
    EXPECT_TRUE(clear(100, y)) << y;
  for (int x : {75, 124, 125, 126, 174, 175, 176, 224})
    EXPECT_TRUE(guide(x, 60)) << x;
  for (int x : {30, 74, 123, 127, 173, 177, 225, 280})
    EXPECT_TRUE(clear(x, 60)) << x;
}

TEST_F(ProportionRender, CenterMovesTheBoxAndBottomUpRowsCountFromTheBottom) {
  // The box is the frame, moved right by a quarter: its left edge at column 75.
  Value("Center").point[0] = 0.75f;
  TestFrame f(300, 150, PixelFormat8BGRA);
  Guide(f, 0, 0.0f);
  EXPECT_EQ(f.Get(75, 70, kRed), 254);
  EXPECT_EQ(f.Get(74, 70, kRed), 0);
  EXPECT_EQ(f.Get(175, 70, kRed), 254);  // a third in: 75 + 100
  // Unflipped rows count from the bottom: Center y 0.25 puts the middle at row 112, and
  // the box's edge at 112 - 75 = 37. Flipped rows count from the top: the middle at row
  // 37, the edge at 111; the half turn that a flipped frame adds covers the same pixels.
  Value("Center").point[0] = 0.5f;
  Value("Center").point[1] = 0.25f;
  TestFrame src(300, 150, PixelFormat8BGRA);
  Flat(src, 0, 0);
  TestFrame dst(300, 150, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, dst));
  EXPECT_EQ(dst.Get(150, 37, kRed), 254);
  EXPECT_EQ(dst.Get(150, 36, kRed), 0);
  src.Host()->flipped = dst.Host()->flipped = 1;
  ASSERT_TRUE(Render(src, dst));
  EXPECT_EQ(dst.Get(150, 111, kRed), 254);
  EXPECT_EQ(dst.Get(150, 112, kRed), 0);
  // Flipped, the thirds lie mirrored in memory, where they are the same picture.
  EXPECT_EQ(dst.Get(150, 37 + 25 - 1, kRed), 254);
}

TEST_F(ProportionRender, PictureIsUntouchedOffTheGuideOnEveryFormat) {
  for (PixelFormat format : testing::kHostFormats) {
    for (const bool bottomUp : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "format " << format << " bottomUp " << bottomUp);
      TestFrame src(300, 150, format, 8, bottomUp);
      src.FillRandom(7);
      TestFrame dst(300, 150, format, 4, bottomUp);
      Value("Thickness").slider = 0.31f;
      ASSERT_TRUE(Render(src, dst));
      EXPECT_TRUE(dst.OutsideUntouched());
      const std::set<int> rows{0, 49, 50, 51, 99, 100, 101, 149};
      const std::set<int> columns{0, 99, 100, 101, 199, 200, 201, 299};
      const ChannelPlaces ch = ChannelPlacesOf(format);
      for (int y = 0; y < 150; ++y) {
        for (int x = 0; x < 300; ++x) {
          const bool guide = rows.count(y) != 0 || columns.count(x) != 0;
          for (int c = 0; c < 4; ++c) {
            const float in = src.Get(x, y, c);
            const float out = dst.Get(x, y, c);
            if (!guide) {
              ASSERT_EQ(out, in);
            } else if (c == ch.alpha) {
              ASSERT_EQ(out, IsFloatFormat(format) ? 1.0f : 255.0f);
            } else if (IsFloatFormat(format)) {
              ASSERT_FLOAT_EQ(out, 1.0f - in);
            } else {
              ASSERT_EQ(out, ((255 - static_cast<int>(in)) * 255) >> 8);
            }
          }
        }
      }
    }
  }
}

TEST_F(ProportionRender, DisableHandsThePictureOn) {
  TestFrame src(64, 48, PixelFormat32FARGB);
  src.FillRandom(3);
  TestFrame dst(64, 48, PixelFormat32FARGB);
  Value("Disable").check = 1;
  ASSERT_TRUE(Render(src, dst));
  EXPECT_EQ(dst.Pixels(), src.Pixels());
}

TEST_F(ProportionRender, SecondFieldTakesTheOddRowsOfTheGuide) {
  // A field of 75 rows draws a guide of 150: thirds at 49..51 and 99..101 of those.
  RenderInfo info = testing::WholeFrameInfo();
  TestFrame src(300, 75, PixelFormat8BGRA);
  Flat(src, 0, 0);
  TestFrame first(300, 75, PixelFormat8BGRA);
  TestFrame second(300, 75, PixelFormat8BGRA);
  Value("Thickness").slider = 0.31f;
  info.fieldMode = 1;
  ASSERT_TRUE(Render(src, first, info));
  info.fieldMode = kFieldModeSecondField;
  ASSERT_TRUE(Render(src, second, info));
  // Guide row 50 is even (field 1, row 25); rows 49 and 51 odd (field 2, rows 24, 25).
  EXPECT_EQ(first.Get(10, 25, kRed), 254);
  EXPECT_EQ(first.Get(10, 24, kRed), 0);
  EXPECT_EQ(second.Get(10, 24, kRed), 254);
  EXPECT_EQ(second.Get(10, 25, kRed), 254);
  EXPECT_EQ(second.Get(10, 26, kRed), 0);
}

TEST_F(ProportionRender, RefusesTheGpuPathAndBadCalls) {
  GPUSetupInfo info{7, 7, 7};
  EXPECT_FALSE(effect_->SetupGPUFrame(nullptr, &info, 0));
  EXPECT_EQ(info.gpuUsable, 7u);
  TestFrame src(32, 32, PixelFormat8BGRA);
  TestFrame dst(32, 32, PixelFormat32FBGRA);
  EXPECT_FALSE(Render(src, dst));  // formats differ
  EXPECT_EQ(effect_->GetEffectTraits(), 961u);
  EXPECT_EQ(effect_->GetParamToolTip(8), nullptr);
  EXPECT_STREQ(effect_->GetParamToolTip(0), "Provides range of composition guidelines ");
  EXPECT_EQ(effect_->GetPresetName(7), nullptr);
}

}  // namespace
}  // namespace vitrella
