// Dual Booster's CPU render where the rules fix the answer: centred controls darken by the
// fixed factor, Test shows the mask (by its formulas on both depths) with the input's
// alpha, the fixed-point mask at Center 0 and Blend 1, the dark band weighed by alpha, and
// the curve and steepness of the controls.
#include "effects/dual_booster.h"

#include <gtest/gtest.h>

#include <algorithm>
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

constexpr int kCenter = 1, kBlend = 2, kTest = 3, kDarkColor = 6, kDarkBrightness = 7,
              kLightBrightness = 11;

class DualBoosterRender : public ::testing::Test {
 protected:
  DualBoosterRender() : effect_(new CDualBooster()), values_(testing::EffectValues(effect_)) {}
  ~DualBoosterRender() override { effect_->Release(); }

  bool Render(TestFrame& src, TestFrame& dst) {
    FakeHost host(values_);
    const RenderInfo info = testing::WholeFrameInfo();
    return effect_->Render(&host, src.Host(), 0, dst.Host(), &info);
  }

  CDualBooster* effect_;
  std::vector<ParamValue> values_;
};

TEST(DualBoosterControls, CurveKeepsItsFixedPointsAndSteepnessFollowsBlend) {
  EXPECT_EQ(DualBoosterCurve(0.0f), 0.0f);
  EXPECT_EQ(DualBoosterCurve(0.5f), 0.5f);
  EXPECT_EQ(DualBoosterCurve(1.0f), 1.0f);
  EXPECT_FLOAT_EQ(DualBoosterCurve(0.75f), 0.625f);
  EXPECT_FLOAT_EQ(DualBoosterCurve(0.25f), 0.375f);
  EXPECT_GT(DualBoosterCurve(1.0001f), 1.0f);  // a saved 1.0001 goes on unclamped
  EXPECT_FLOAT_EQ(DualBoosterSteepness(0.0f), 3.375f);
  EXPECT_NEAR(DualBoosterSteepness(0.5f), 2.460375f, 1e-5);
  EXPECT_FLOAT_EQ(DualBoosterSteepness(1.0f), 1.728f);
}

TEST_F(DualBoosterRender, CentredControlsComeOutDarkerNotUnchanged) {
  for (PixelFormat format : testing::kHostFormats) {
    SCOPED_TRACE(std::to_string(format));
    TestFrame src(21, 9, format, 4);
    src.FillRandom(4);
    for (int y = 0; y < 9; ++y) {
      for (int x = 0; x < 21; ++x)
        src.Set(x, y, ChannelPlacesOf(format).alpha, IsFloatFormat(format) ? 1.0f : 255.0f);
    }
    TestFrame dst(21, 9, format);
    ASSERT_TRUE(Render(src, dst));
    const ChannelPlaces at = ChannelPlacesOf(format);
    int changed = 0;
    for (int y = 0; y < 9; ++y) {
      for (int x = 0; x < 21; ++x) {
        for (int c : {at.red, at.green, at.blue}) {
          const float in = src.Get(x, y, c);
          const float out = dst.Get(x, y, c);
          if (IsFloatFormat(format)) {
            ASSERT_NEAR(out, in * 0.9953638f, 2e-6f);
          } else {
            // Both bands are the same picture, so the mix by any mask gives it back whole.
            ASSERT_EQ(out, std::nearbyint(in * 0.9953638f)) << x << "," << y;
          }
          changed += out != in ? 1 : 0;
        }
        EXPECT_EQ(dst.Get(x, y, at.alpha), src.Get(x, y, at.alpha));
      }
    }
    EXPECT_GT(changed, 21 * 9) << "the centred picture must not come back unchanged";
  }
}

// The mask by its stated formulas, as Test shows it.
float ExpectedMask(TestFrame& src, int x, int y, float c, float k) {
  const ChannelPlaces at = ChannelPlacesOf(src.Format());
  const float r = src.Get(x, y, at.red), g = src.Get(x, y, at.green), b = src.Get(x, y, at.blue);
  if (IsFloatFormat(src.Format())) {
    const float luma = 0.298f * r + 0.586f * g + 0.113f * b;
    return std::clamp((luma - c) * k + c, 0.0f, 1.0f);
  }
  const int luma =
      (76 * static_cast<int>(r) + 149 * static_cast<int>(g) + 30 * static_cast<int>(b)) >> 8;
  const auto c8 = static_cast<int>(c * 256.0f);
  const auto k8 = static_cast<int>(k * 256.0f);
  return static_cast<float>(std::clamp(((luma - c8) * k8 >> 8) + c8, 0, 255));
}

TEST_F(DualBoosterRender, TestShowsTheMaskInGreyWithTheInputsAlpha) {
  values_[kTest].check = 1;
  for (auto [center, blend] : {std::pair{0.5f, 0.5f}, {0.8751f, 0.8001f}, {0.0f, 1.0f}}) {
    values_[kCenter].slider = center;
    values_[kBlend].slider = blend;
    // Band controls play no part in Test.
    values_[kDarkColor].slider = 1.0f;
    values_[kLightBrightness].slider = 0.0f;
    const float k = DualBoosterSteepness(blend);
    for (PixelFormat format : testing::kHostFormats) {
      SCOPED_TRACE(std::to_string(format) + " center " + std::to_string(center));
      TestFrame src(17, 11, format, 4);
      src.FillRandom(9);
      if (IsFloatFormat(format)) src.SetRgba(0, 0, 400, 400, 400, 128);  // luminance above 1
      TestFrame dst(17, 11, format);
      ASSERT_TRUE(Render(src, dst));
      const ChannelPlaces at = ChannelPlacesOf(format);
      for (int y = 0; y < 11; ++y) {
        for (int x = 0; x < 17; ++x) {
          const float mask = ExpectedMask(src, x, y, center, k);
          ASSERT_EQ(dst.Get(x, y, at.red), mask) << x << "," << y;
          ASSERT_EQ(dst.Get(x, y, at.green), mask);
          ASSERT_EQ(dst.Get(x, y, at.blue), mask);
          ASSERT_EQ(dst.Get(x, y, at.alpha), src.Get(x, y, at.alpha));
        }
      }
      if (IsFloatFormat(format)) {
        EXPECT_EQ(dst.Get(0, 0, at.red), 1.0f);
      }
    }
  }
}

TEST_F(DualBoosterRender, CentreZeroAndFullBlendGiveAFullMaskFromLuminance148) {
  values_[kTest].check = 1;
  values_[kCenter].slider = 0.0f;
  values_[kBlend].slider = 1.0f;  // k8 = 442
  // The weights add up to 255, so a grey g has luminance (255 g) >> 8.
  TestFrame src(3, 1, PixelFormat8BGRA);
  src.SetRgba(1, 0, 149, 149, 149, 255);  // luminance 148
  src.SetRgba(2, 0, 148, 148, 148, 255);  // luminance 147
  TestFrame dst(3, 1, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, dst));
  EXPECT_EQ(dst.Get(1, 0, 2), 255.0f);  // 148 * 442 >> 8 = 255
  EXPECT_EQ(dst.Get(2, 0, 2), 253.0f);  // 147 * 442 >> 8 = 253
}

TEST_F(DualBoosterRender, DarkBandIsWeighedByAlphaAndTheLightOneIsNot) {
  // Dark band full brightness, light band black; the mask picks by luminance.
  values_[kCenter].slider = 0.5f;
  values_[kBlend].slider = 0.0f;  // k = 3.375
  values_[kDarkBrightness].slider = 1.0f;
  values_[kLightBrightness].slider = 0.0f;
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat32FARGB}) {
    SCOPED_TRACE(std::to_string(format));
    TestFrame src(2, 1, format);
    src.SetRgba(0, 0, 10, 10, 10, 0);    // dark: mask 0, alpha 0
    src.SetRgba(1, 0, 10, 10, 10, 255);  // dark: mask 0, opaque
    TestFrame dst(2, 1, format);
    ASSERT_TRUE(Render(src, dst));
    const ChannelPlaces at = ChannelPlacesOf(format);
    const float full = IsFloatFormat(format) ? 1.0f : 255.0f;
    EXPECT_EQ(dst.Get(0, 0, at.red), 0.0f) << "the translucent dark band vanishes";
    EXPECT_EQ(dst.Get(0, 0, at.alpha), 0.0f);
    EXPECT_NEAR(dst.Get(1, 0, at.red), full, full * 0.006f) << "the opaque one is white";
  }
}

TEST_F(DualBoosterRender, FloatAlphaOutsideTheRangeComesBackAlsoInPlace) {
  for (bool inPlace : {false, true}) {
    TestFrame src(19, 3, PixelFormat32FBGRA);
    src.FillRandom(5);
    src.Set(4, 1, 3, 1.5f);
    src.Set(5, 1, 3, -0.25f);
    TestFrame copy(19, 3, PixelFormat32FBGRA);
    copy.CopyFrom(src);
    TestFrame dst(19, 3, PixelFormat32FBGRA);
    ASSERT_TRUE(Render(src, inPlace ? src : dst));
    TestFrame& out = inPlace ? src : dst;
    for (int x = 0; x < 19; ++x)
      EXPECT_EQ(out.Get(x, 1, 3), copy.Get(x, 1, 3)) << x << (inPlace ? " in place" : "");
  }
}

TEST_F(DualBoosterRender, ParametersPresetsAndTooltipsAsTabled) {
  ParamInfo info{};
  EXPECT_FALSE(effect_->GetParamInfo(13, &info));
  EXPECT_EQ(effect_->GetPresetName(14), nullptr);
  ParamValue v{};
  EXPECT_FALSE(effect_->GetPresetValue(14, 1, &v));
  EXPECT_FALSE(effect_->GetPresetValue(0, 13, &v));
  EXPECT_FALSE(effect_->GetPresetValue(0, 1, nullptr));
  ASSERT_TRUE(effect_->GetPresetValue(1, kDarkColor, &v));  // Dark Shadows keeps its 1.0001
  EXPECT_EQ(v.slider, 1.0001f);
  IParamToolTip* tips = nullptr;
  ASSERT_EQ(effect_->QueryInterface(kIID_IParamToolTip, reinterpret_cast<void**>(&tips)), kOk);
  EXPECT_STREQ(tips->GetParamToolTip(7), "Adjusts level of brightness ");
  EXPECT_STREQ(tips->GetParamToolTip(4), tips->GetParamToolTip(0));
  EXPECT_EQ(tips->GetParamToolTip(5), nullptr);
  EXPECT_EQ(tips->GetParamToolTip(13), nullptr);
  tips->Release();
}

}  // namespace
}  // namespace vitrella
