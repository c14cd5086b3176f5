// Diffusion's CPU render where the rules fix the answer: zero Glow leaves only the dimming,
// Dim acts before the thresholds, the two thresholds at their edges with the step, the
// colour's coarse gains, the kernel sizes and triangle, and the blurred glow against a
// plain triangular convolution with repeated edges.
#include "effects/diffusion.h"

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

constexpr int kColor = 0, kBlur = 1, kGlow = 2, kAmbience = 3, kDim = 4;

class DiffusionRender : public ::testing::Test {
 protected:
  DiffusionRender() : effect_(new CDiffusionFilter()), values_(testing::EffectValues(effect_)) {}
  ~DiffusionRender() override { effect_->Release(); }

  bool Render(TestFrame& src, TestFrame& dst, RenderInfo info = testing::WholeFrameInfo()) {
    FakeHost host(values_);
    return effect_->Render(&host, src.Host(), 0, dst.Host(), &info);
  }

  CDiffusionFilter* effect_;
  std::vector<ParamValue> values_;
};

TEST(DiffusionKernels, SizesFollowWidthAspectAndFields) {
  const auto sizes = [](int32_t w, float blur, float aspect, uint16_t field) {
    const DiffusionKernels k = DiffusionKernelSizes(w, blur, aspect, field);
    return std::pair{k.kx, k.ky};
  };
  EXPECT_EQ(sizes(1920, 0.485f, 1.0f, kFieldModeFrame), std::pair(279, 279));
  EXPECT_EQ(sizes(1920, 0.485f, 1.0f, 1), std::pair(279, 139));
  EXPECT_EQ(sizes(1920, 0.485f, 2.0f, kFieldModeFrame), std::pair(279, 139));
  EXPECT_EQ(sizes(1920, 0.485f, 0.9f, kFieldModeFrame), std::pair(279, 310));
  EXPECT_EQ(sizes(1920, 0.0f, 1.0f, kFieldModeFrame), std::pair(1, 1));
  EXPECT_EQ(sizes(1920, 0.0f, 1.0f, 2), std::pair(1, 0));
  EXPECT_EQ(sizes(40, 0.5f, 1.0f, kFieldModeFrame), std::pair(7, 7));
}

TEST(DiffusionKernels, TriangleRisesAndMirrors) {
  int32_t w[8] = {};
  EXPECT_EQ(FillTriangle(w, 8, 5), 9);
  EXPECT_EQ(std::vector<int32_t>(w, w + 5), (std::vector<int32_t>{1, 2, 3, 2, 1}));
  EXPECT_EQ(FillTriangle(w, 8, 6), 12);
  EXPECT_EQ(std::vector<int32_t>(w, w + 6), (std::vector<int32_t>{1, 2, 3, 3, 2, 1}));
  EXPECT_EQ(FillTriangle(w, 8, 1), 1);
  EXPECT_EQ(FillTriangle(w, 4, 5), -1);
}

TEST_F(DiffusionRender, ZeroGlowLeavesTheDimmedPictureWithTheInputsAlpha) {
  values_[kGlow].slider = 0.0f;
  for (float dim : {0.0f, 1.0f, 0.3f}) {
    values_[kDim].slider = dim;
    for (PixelFormat format : testing::kHostFormats) {
      SCOPED_TRACE(std::to_string(format) + " dim " + std::to_string(dim));
      TestFrame src(23, 13, format, 4);
      src.FillRandom(2);
      TestFrame dst(23, 13, format);
      ASSERT_TRUE(Render(src, dst));
      const ChannelPlaces at = ChannelPlacesOf(format);
      const float m = 1.0f - dim * 0.5f;
      const auto q = static_cast<int>(m * 255.0f);
      for (int y = 0; y < 13; ++y) {
        for (int x = 0; x < 23; ++x) {
          for (int c : {at.red, at.green, at.blue}) {
            const float in = src.Get(x, y, c);
            const int dimmedByte = (static_cast<int>(in) * q + 127) / 255;  // rounded
            const float expected = IsFloatFormat(format) ? in * m : static_cast<float>(dimmedByte);
            ASSERT_EQ(dst.Get(x, y, c), expected) << x << "," << y;
          }
          ASSERT_EQ(dst.Get(x, y, at.alpha), src.Get(x, y, at.alpha));
        }
      }
    }
  }
}

// The glow that one pixel gets without blur, from the stated formulas.
float ExpectedChannel(bool floats, float dimmedSum, float channel, int gain, float glow,
                      float ambience) {
  if (!floats) {
    const auto s = static_cast<int>(dimmedSum);
    const auto high = static_cast<int>((1.0f - glow) * 385.0f + 321.0f);
    const auto low = static_cast<int>((1.0f - ambience) * 320.0f);
    const int v = s < low ? 0 : s < high ? s - low : 2 * s - high;
    const int mask = std::min(v / 3, 255);
    const int scaled = (mask * static_cast<int>(glow * 255.0f) + 128) >> 8;
    return static_cast<float>(std::min(static_cast<int>(channel) + scaled * gain, 255));
  }
  const float high = ((1.0f - glow) * 385.0f + 321.0f) * 0.003921569f;
  const float low = (1.0f - ambience) * 320.999f * 0.003921569f;
  const float s = dimmedSum;
  const float v = s < low ? 0.0f : s < high ? s - low : (s - high) * 2.0f + high;
  const float mask = std::min(v * 0.33333f, 1.0f);
  return std::min(channel + mask * glow * static_cast<float>(gain), 1.0f);
}

TEST_F(DiffusionRender, ThresholdsAtTheirEdgesAndTheColoursTopBits) {
  values_[kBlur].slider = 0.0f;       // kx = ky = 1: no blur
  values_[kGlow].slider = 0.6f;       // high = 475
  values_[kAmbience].slider = 0.25f;  // low = 240
  values_[kDim].slider = 0.0f;
  values_[kColor].color = 0x00FF4080;  // gains: red 2, green 1, blue 3
  const int sums[] = {0, 239, 240, 241, 300, 474, 475, 476, 600, 765};
  for (PixelFormat format : testing::kHostFormats) {
    SCOPED_TRACE(std::to_string(format));
    const bool floats = IsFloatFormat(format);
    TestFrame src(10, 1, format);
    for (int x = 0; x < 10; ++x) {
      const int s = sums[x];
      const int r = std::min(s, 255);
      const int g = std::min(s - r, 255);
      src.SetRgba(x, 0, r, g, s - r - g, 200);
    }
    TestFrame dst(10, 1, format);
    ASSERT_TRUE(Render(src, dst));
    const ChannelPlaces at = ChannelPlacesOf(format);
    for (int x = 0; x < 10; ++x) {
      const float sum = src.Get(x, 0, at.red) + src.Get(x, 0, at.green) + src.Get(x, 0, at.blue);
      for (auto [c, gain] : {std::pair{at.red, 2}, {at.green, 1}, {at.blue, 3}}) {
        const float expected = ExpectedChannel(floats, sum, src.Get(x, 0, c), gain, 0.6f, 0.25f);
        if (floats) {
          EXPECT_NEAR(dst.Get(x, 0, c), expected, 1e-6f) << "sum " << sums[x];
        } else {
          EXPECT_EQ(dst.Get(x, 0, c), expected) << "sum " << sums[x];
        }
      }
    }
    // Colour bytes below 64 give no glow at all.
    values_[kColor].color = 0x003F3F3F;
    TestFrame plain(10, 1, format);
    ASSERT_TRUE(Render(src, plain));
    EXPECT_EQ(plain.Pixels(), src.Pixels());
    values_[kColor].color = 0x00FF4080;
  }
}

// The 8-bit pipeline written out plainly: mask, triangle along rows then down columns with
// repeated edges and rounded division, strength, add.
TEST_F(DiffusionRender, BlurredGlowIsThePlainTriangularConvolutionWithRepeatedEdges) {
  constexpr int kW = 40;
  constexpr int kH = 17;
  values_[kBlur].slider = 0.5f;  // kx = ky = 7
  values_[kGlow].slider = 0.8f;
  values_[kAmbience].slider = 0.5f;
  values_[kDim].slider = 0.2f;
  values_[kColor].color = 0x00FFFFFF;
  TestFrame src(kW, kH, PixelFormat8BGRA, 4);
  src.FillRandom(7);
  TestFrame dst(kW, kH, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, dst));

  const auto q = static_cast<int>((1.0f - 0.2f * 0.5f) * 255.0f);
  const auto high = static_cast<int>((1.0f - 0.8f) * 385.0f + 321.0f);
  const auto low = static_cast<int>((1.0f - 0.5f) * 320.0f);
  std::vector<int> dimmed(kW * kH * 4);
  std::vector<int> mask(kW * kH);
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      int s = 0;
      for (int c = 0; c < 4; ++c) {
        const int d = (static_cast<int>(src.Get(x, y, c)) * q + 127) / 255;
        dimmed[(y * kW + x) * 4 + c] = d;
        if (c != 3) s += d;
      }
      const int v = s < low ? 0 : s < high ? s - low : 2 * s - high;
      mask[y * kW + x] = std::min(v / 3, 255);
    }
  }
  const int weights[7] = {1, 2, 3, 4, 3, 2, 1};
  const auto pass = [&](bool rows) {
    std::vector<int> out(mask.size());
    for (int y = 0; y < kH; ++y) {
      for (int x = 0; x < kW; ++x) {
        int sum = 0;
        for (int i = 0; i < 7; ++i) {
          const int u = rows ? std::clamp(x - 3 + i, 0, kW - 1) : x;
          const int v = rows ? y : std::clamp(y - 3 + i, 0, kH - 1);
          sum += weights[i] * mask[v * kW + u];
        }
        out[y * kW + x] = (sum + 8) / 16;
      }
    }
    mask = out;
  };
  pass(true);
  pass(false);
  const int strength = static_cast<int>(0.8f * 255.0f);
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      const int glow = (mask[y * kW + x] * strength + 128) >> 8;
      for (int c = 0; c < 3; ++c) {
        ASSERT_EQ(dst.Get(x, y, c), std::min(dimmed[(y * kW + x) * 4 + c] + 3 * glow, 255))
            << x << "," << y << " channel " << c;
      }
      ASSERT_EQ(dst.Get(x, y, 3), src.Get(x, y, 3));
    }
  }
}

TEST_F(DiffusionRender, InPlaceGivesTheSamePictureWithTheInputsAlpha) {
  values_[kDim].slider = 1.0f;
  for (PixelFormat format : testing::kHostFormats) {
    SCOPED_TRACE(std::to_string(format));
    TestFrame src(31, 17, format, 4);
    src.FillRandom(8);
    TestFrame apart(31, 17, format);
    ASSERT_TRUE(Render(src, apart));
    ASSERT_TRUE(Render(src, src));
    EXPECT_EQ(src.Pixels(), apart.Pixels());
  }
}

TEST_F(DiffusionRender, AnOutputLargerThanTheInputFails) {
  TestFrame src(12, 8, PixelFormat8BGRA);
  TestFrame dst(14, 8, PixelFormat8BGRA);
  EXPECT_FALSE(Render(src, dst));
  TestFrame smaller(10, 6, PixelFormat32FARGB);
  TestFrame floatSrc(12, 8, PixelFormat32FARGB);
  EXPECT_TRUE(Render(floatSrc, smaller));
}

TEST_F(DiffusionRender, PresetsAsSavedWithTheirNamesWhereTheyStand) {
  EXPECT_EQ(effect_->GetPresetName(15), nullptr);
  EXPECT_STREQ(effect_->GetPresetName(11), "Rich Sunlight");
  ParamValue v{};
  ASSERT_TRUE(effect_->GetPresetValue(11, kGlow, &v));
  EXPECT_EQ(v.slider, 0.0f);
  ASSERT_TRUE(effect_->GetPresetValue(12, kColor, &v));
  EXPECT_EQ(v.color, 0x000080FFu);
  EXPECT_FALSE(effect_->GetPresetValue(15, 0, &v));
  EXPECT_FALSE(effect_->GetPresetValue(0, 5, &v));
  ParamInfo info{};
  EXPECT_FALSE(effect_->GetParamInfo(5, &info));
}

}  // namespace
}  // namespace vitrella
