// The tint colour arithmetic: every blend mode against its row of the table on ramps of
// both inputs, the colour match's limits, the mix rules per format, and HSV there and back.
#include "kernels/tint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "common/kernel_variants.h"

namespace vitrella::kernels {
namespace {

// Two four-channel pictures whose values run over every pair (a, b) of a ramp.
struct Ramps {
  static constexpr int32_t kSteps = 52;  // 0, 5, ..., 255
  std::vector<uint8_t> a, b;
  std::vector<float> fa, fb;
  Ramps() {
    for (int32_t i = 0; i < kSteps; ++i) {
      for (int32_t j = 0; j < kSteps; ++j) {
        for (int32_t c = 0; c < 4; ++c) {
          a.push_back(static_cast<uint8_t>(i * 5));
          b.push_back(static_cast<uint8_t>(j * 5));
          fa.push_back(static_cast<float>(i * 5) / 255.0f);
          fb.push_back(static_cast<float>(j * 5) / 255.0f);
        }
      }
    }
  }
};

template <typename T>
BasicView<T> ViewOf(std::vector<std::remove_const_t<T>>& v, int32_t width) {
  const int32_t height = static_cast<int32_t>(v.size()) / (4 * width);
  return {reinterpret_cast<T*>(v.data()), static_cast<ptrdiff_t>(width * 4 * sizeof(v[0])), width,
          height};
}

ImageView FloatView(std::vector<float>& v, int32_t width) {
  const int32_t height = static_cast<int32_t>(v.size()) / (4 * width);
  return {reinterpret_cast<uint8_t*>(v.data()), static_cast<ptrdiff_t>(width) * 16, width, height};
}

int32_t Table8(int32_t a, int32_t b, int32_t mode) {
  switch (mode) {
    case 1:
      return std::clamp(b + 2 * a - 256, 0, 255);
    case 2:
      return 255 - (((255 - a) * (255 - b)) >> 8);
    case 3:
      return (a * b) >> 8;
    case 4:
      return std::max(a, b);
    case 5:
      return std::min(a, b);
    case 6:
      return b > 254 ? 255 : std::min(a * 256 / (255 - b), 255);
    case 7:
      return b < 1 ? 0 : std::max((a - 255) * 256 / b + 255, 0);
    case 8:
      return 255 - std::abs(255 - a - b);
    default:
      return b;
  }
}

double Table32(double a, double b, int32_t mode) {
  switch (mode) {
    case 1:
      return std::clamp(2 * a + b - 1, 0.0, 1.0);
    case 2:
      return 1 - (1 - a) * (1 - b);
    case 3:
      return a * b;
    case 4:
      return std::max(a, b);
    case 5:
      return std::min(a, b);
    case 6:
      return b >= 1 ? 1 : std::min(a / (1 - b), 1.0);
    case 7:
      return b > 0 ? std::max(1 - (1 - a) / b, 0.0) : 0;
    case 8:
      return 1 - std::fabs(1 - a - b);
    default:
      return b;
  }
}

TEST(TintBlend, EveryModeFollowsItsRowOnRampsAndLeavesAlpha) {
  for (int32_t mode = 0; mode < kBlendHue; ++mode) {
    Ramps r;
    ASSERT_EQ(BlendTint8u_C4(ViewOf<const uint8_t>(r.a, Ramps::kSteps),
                             ViewOf<uint8_t>(r.b, Ramps::kSteps), mode, 3),
              kOk);
    ASSERT_EQ(
        BlendTint32f_C4(FloatView(r.fa, Ramps::kSteps), FloatView(r.fb, Ramps::kSteps), mode, 3),
        kOk);
    const Ramps fresh;
    for (size_t i = 0; i < r.b.size(); ++i) {
      if (i % 4 == 3) {
        ASSERT_EQ(r.b[i], fresh.b[i]);
        ASSERT_EQ(r.fb[i], fresh.fb[i]);
        continue;
      }
      ASSERT_EQ(r.b[i], Table8(fresh.a[i], fresh.b[i], mode)) << "mode " << mode << " at " << i;
      ASSERT_NEAR(r.fb[i], Table32(fresh.fa[i], fresh.fb[i], mode), 2e-6) << "mode " << mode;
    }
  }
  std::vector<uint8_t> pixel(4, 9);
  EXPECT_EQ(BlendTint8u_C4(ViewOf<const uint8_t>(pixel, 1), ViewOf<uint8_t>(pixel, 1), 9, 3),
            kBadSize);
  EXPECT_EQ(BlendTint8u_C4(ViewOf<const uint8_t>(pixel, 1), ViewOf<uint8_t>(pixel, 1), -1, 3),
            kBadSize);
}

// Multiply and Screen shift by 8: white times white stays below white.
// Every pair of bytes in every mode, against the table: the divisions of Color Dodge and
// Color Burn take their quotients in floats.
TEST(TintBlend, EveryPairOfBytesFollowsTheTable) {
  std::vector<uint8_t> a, b;
  for (int32_t i = 0; i < 256; ++i) {
    for (int32_t j = 0; j < 256; ++j) {
      a.insert(a.end(), 4, static_cast<uint8_t>(i));
      b.insert(b.end(), 4, static_cast<uint8_t>(j));
    }
  }
  for (int32_t mode = 1; mode < kBlendHue; ++mode) {
    std::vector<uint8_t> out = b;
    ASSERT_EQ(BlendTint8u_C4(ViewOf<const uint8_t>(a, 256), ViewOf<uint8_t>(out, 256), mode, 0),
              kOk);
    for (size_t i = 0; i < out.size(); ++i) {
      const int32_t expected = i % 4 == 0 ? b[i] : Table8(a[i], b[i], mode);
      ASSERT_EQ(out[i], expected) << "mode " << mode << " a " << int{a[i]} << " b " << int{b[i]};
    }
  }
}

TEST(TintBlend, ShiftedRowsNeverQuiteReachWhite) {
  EXPECT_EQ(Table8(255, 255, 3), 254);
  std::vector<uint8_t> a(4, 255), b(4, 255);
  ASSERT_EQ(BlendTint8u_C4(ViewOf<const uint8_t>(a, 1), ViewOf<uint8_t>(b, 1), 3, 3), kOk);
  EXPECT_EQ(b[0], 254);
}

TEST(TintMix, EachFormatHasItsOwnRounding) {
  std::vector<uint8_t> a = {200, 100, 0, 7}, b = {10, 255, 255, 9}, out(4, 0);
  std::vector<uint8_t> mask = {64};
  const ConstImageView m{mask.data(), 1, 1, 1};
  ASSERT_EQ(Mix8u_C4(ViewOf<const uint8_t>(a, 1), ViewOf<const uint8_t>(b, 1), m, 1,
                     ViewOf<uint8_t>(out, 1), 3, MixDivide::kShift8),
            kOk);
  EXPECT_EQ(out, (std::vector<uint8_t>{(200 * 64 + 10 * 191) >> 8, (100 * 64 + 255 * 191) >> 8,
                                       (255 * 191) >> 8, 0}));
  ASSERT_EQ(Mix8u_C4(ViewOf<const uint8_t>(a, 1), ViewOf<const uint8_t>(b, 1), m, 1,
                     ViewOf<uint8_t>(out, 1), 0, MixDivide::kBy255),
            kOk);
  // Channel 0 is alpha now and keeps what the first mix wrote.
  EXPECT_EQ(out, (std::vector<uint8_t>{(200 * 64 + 10 * 191) >> 8, (100 * 64 + 255 * 191) / 255,
                                       (255 * 191) / 255, (7 * 64 + 9 * 191) / 255}));
  // Nothing of b at full mask, all of b at 0, with the division by 255.
  mask[0] = 0;
  ASSERT_EQ(Mix8u_C4(ViewOf<const uint8_t>(a, 1), ViewOf<const uint8_t>(b, 1), m, 1,
                     ViewOf<uint8_t>(out, 1), 3, MixDivide::kBy255),
            kOk);
  EXPECT_EQ((std::vector<uint8_t>(out.begin(), out.begin() + 3)),
            (std::vector<uint8_t>(b.begin(), b.begin() + 3)));
  std::vector<float> fa = {0.9f, 0.5f, 0.2f, 1.0f}, fb = {0.8f, 0.5f, 0.1f, 0.3f}, fo(4, -1.0f);
  std::vector<float> fm = {1.5f};  // a mask above 1 still gives at most 1
  ASSERT_EQ(Mix32f_C4({reinterpret_cast<uint8_t*>(fa.data()), 16, 1, 1},
                      {reinterpret_cast<uint8_t*>(fb.data()), 16, 1, 1},
                      {reinterpret_cast<uint8_t*>(fm.data()), 4, 1, 1}, 4,
                      {reinterpret_cast<uint8_t*>(fo.data()), 16, 1, 1}, 3),
            kOk);
  EXPECT_FLOAT_EQ(fo[0], 0.9f * 1.5f - 0.8f * 0.5f);
  EXPECT_FLOAT_EQ(fo[3], -1.0f);
}

TEST(TintColourMask, SameColourPassesFarColourTakesTheBase) {
  const ColourPlaces bgra{2, 1, 0, 3};
  std::vector<uint8_t> picture = {40, 90, 200, 255, 0, 255, 0, 255};
  std::vector<uint8_t> tint = {40, 90, 200, 0, 255, 0, 255, 0};
  for (int32_t g : {0, 255}) {
    std::vector<uint8_t> mask = {static_cast<uint8_t>(g), static_cast<uint8_t>(g)};
    ASSERT_EQ(ColourMask8u(ViewOf<const uint8_t>(picture, 2), ViewOf<const uint8_t>(tint, 2),
                           {mask.data(), 2, 2, 1}, bgra, 10, 20),
              kOk);
    // A match of 255 saturates either base; no match leaves the base of the tint's side.
    EXPECT_EQ(mask[0], (255 * 255) >> 8);
    EXPECT_EQ(mask[1], g == 0 ? (255 * 20) >> 8 : (255 * 10) >> 8);
  }
  std::vector<float> fp = {0.2f, 0.4f, 0.6f, 1.0f}, ft = {0.2f, 0.4f, 0.6f, 1.0f}, fm = {0.5f};
  ASSERT_EQ(ColourMask32f({reinterpret_cast<uint8_t*>(fp.data()), 16, 1, 1},
                          {reinterpret_cast<uint8_t*>(ft.data()), 16, 1, 1},
                          {reinterpret_cast<uint8_t*>(fm.data()), 4, 1, 1}, bgra, 0, 0),
            kOk);
  EXPECT_FLOAT_EQ(fm[0], 1.0f);
}

TEST(TintStrength, BlendsBothTintsByTheGradient) {
  std::vector<uint8_t> m = {0, 255, 128};
  ASSERT_EQ(StrengthMask8u({m.data(), 3, 3, 1}, 1.0001f, 0.5f), kOk);
  EXPECT_EQ(
      m, (std::vector<uint8_t>{(255 * 128) >> 8, (255 * 256) >> 8, (127 * 128 + 128 * 256) >> 8}));
  std::vector<float> f = {0.0f, 1.0f, 0.25f};
  ASSERT_EQ(StrengthMask32f({reinterpret_cast<uint8_t*>(f.data()), 12, 3, 1}, 0.8f, 0.4f), kOk);
  EXPECT_FLOAT_EQ(f[2], 0.25f * 0.8f + 0.75f * 0.4f);
}

TEST(TintHsv, RoundTripKeepsColours) {
  for (int r = 0; r < 256; r += 15) {
    for (int g = 0; g < 256; g += 17) {
      for (int b = 0; b < 256; b += 19) {
        float hsv[3], rgb[3];
        RgbToHsv(r / 255.0f, g / 255.0f, b / 255.0f, hsv);
        ASSERT_GE(hsv[0], 0.0f);
        ASSERT_LT(hsv[0], 1.0f);
        HsvToRgb(hsv[0], hsv[1], hsv[2], rgb);
        ASSERT_NEAR(rgb[0] * 255.0f, r, 1e-3);
        ASSERT_NEAR(rgb[1] * 255.0f, g, 1e-3);
        ASSERT_NEAR(rgb[2] * 255.0f, b, 1e-3);
      }
    }
  }
}

// Full strength takes the tint's hue with the picture's saturation and value; none keeps
// the picture (within the rounding of stored 8-bit HSV).
TEST(TintHsv, HueBlendMovesOnlyTheHue) {
  std::vector<uint8_t> picture = {200, 60, 30, 255, 200, 60, 30, 255};
  std::vector<uint8_t> tint = {0, 0, 255, 0, 0, 0, 255, 0};  // pure blue in stored order 2
  std::vector<uint8_t> strength = {255, 0};
  std::vector<uint8_t> out(8, 0);
  ASSERT_EQ(HueBlend8u_C4(ViewOf<const uint8_t>(picture, 2), ViewOf<const uint8_t>(tint, 2),
                          {strength.data(), 2, 2, 1}, ViewOf<uint8_t>(out, 2), 0),
            kOk);
  float hsv[3];
  RgbToHsv(out[0] / 255.0f, out[1] / 255.0f, out[2] / 255.0f, hsv);
  EXPECT_NEAR(hsv[0], 4.0f / 6.0f, 0.01f);
  EXPECT_EQ(std::max({out[0], out[1], out[2]}), 200);
  for (int c = 0; c < 3; ++c)
    EXPECT_NEAR(out[4 + c], picture[4 + c], 2);
}

// Colours that try every branch of the hue arithmetic: greys, two or three channels
// tied at the top, single steps apart, and noise; rows of odd length leave a tail.
std::vector<uint8_t> HardColours(int32_t pixels, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> byte(0, 255), pick(0, 5);
  std::vector<uint8_t> out;
  for (int32_t i = 0; i < pixels; ++i) {
    const auto v = static_cast<uint8_t>(byte(random));
    const auto w = static_cast<uint8_t>(byte(random));
    const auto n = static_cast<uint8_t>(v < 255 ? v + 1 : v - 1);
    switch (pick(random)) {
      case 0:
        out.insert(out.end(), {v, v, v, w});
        break;
      case 1:
        out.insert(out.end(), {v, v, w, n});
        break;
      case 2:
        out.insert(out.end(), {w, v, v, n});
        break;
      case 3:
        out.insert(out.end(), {v, n, w, v});
        break;
      default:
        out.insert(out.end(), {v, w, static_cast<uint8_t>(byte(random)), n});
    }
  }
  return out;
}

class TintOnEveryPath : public OnEveryKernelPath {};

// The vector rows give the bytes of the plain loops, for each place of the colours.
TEST_P(TintOnEveryPath, GivesTheBytesOfThePlainLoops) {
  const KernelVariant reference{"reference", 0};
  constexpr int32_t kWidth = 77, kHeight = 9;
  std::vector<uint8_t> picture = HardColours(kWidth * kHeight, 3);
  std::vector<uint8_t> tint = HardColours(kWidth * kHeight, 4);
  std::vector<uint8_t> gradient(kWidth * kHeight);
  std::mt19937 random(5);
  for (uint8_t& g : gradient)
    g = static_cast<uint8_t>(random());
  const auto run = [&](const KernelVariant& variant, auto kernel) {
    UseKernelVariant(variant);
    return kernel();
  };
  for (const ColourPlaces places : {ColourPlaces{2, 1, 0, 3}, ColourPlaces{1, 2, 3, 0}}) {
    for (const int32_t base : {0, 40, 255}) {
      const auto mask = [&] {
        std::vector<uint8_t> m = gradient;
        EXPECT_EQ(ColourMask8u(ViewOf<const uint8_t>(picture, kWidth),
                               ViewOf<const uint8_t>(tint, kWidth),
                               {m.data(), kWidth, kWidth, kHeight}, places, base, 255 - base),
                  kOk);
        return m;
      };
      ASSERT_EQ(run(reference, mask), run(GetParam(), mask)) << places.red << " base " << base;
    }
    const int32_t first = places.alpha == 0 ? 1 : 0;
    for (const bool inPlace : {false, true}) {
      const auto hue = [&] {
        std::vector<uint8_t> p = picture;
        std::vector<uint8_t> out(picture.size(), 7);
        std::vector<uint8_t>& dst = inPlace ? p : out;
        EXPECT_EQ(
            HueBlend8u_C4(ViewOf<const uint8_t>(p, kWidth), ViewOf<const uint8_t>(tint, kWidth),
                          {gradient.data(), kWidth, kWidth, kHeight}, ViewOf<uint8_t>(dst, kWidth),
                          first),
            kOk);
        return dst;
      };
      ASSERT_EQ(run(reference, hue), run(GetParam(), hue)) << first << " in place " << inPlace;
    }
  }
}

// Floats too, bit for bit, with the values where std::max and a vector maximum part:
// NaN, zeros of both signs, infinities; and values beyond 0..1.
TEST_P(TintOnEveryPath, GivesTheFloatsOfThePlainLoops) {
  const KernelVariant reference{"reference", 0};
  constexpr int32_t kWidth = 45, kHeight = 7;
  const auto floats = [](uint32_t seed) {
    const std::vector<uint8_t> bytes = HardColours(kWidth * kHeight, seed);
    std::vector<float> out(bytes.size());
    std::mt19937 random(seed);
    const float odd[] = {std::nanf(""), -0.0f, 0.0f, INFINITY, -INFINITY, 1.5f, -0.25f};
    for (size_t i = 0; i < bytes.size(); ++i) {
      out[i] = random() % 11 == 0 ? odd[random() % 7] : static_cast<float>(bytes[i]) / 255.0f;
    }
    return out;
  };
  std::vector<float> picture = floats(6), tint = floats(7);
  std::vector<float> gradient(kWidth * kHeight);
  std::mt19937 random(8);
  for (float& g : gradient)
    g = static_cast<float>(random() % 1001) / 1000.0f;
  const auto same = [](const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * 4) == 0;
  };
  const auto run = [&](const KernelVariant& variant, auto kernel) {
    UseKernelVariant(variant);
    return kernel();
  };
  const ImageView gradientView{reinterpret_cast<uint8_t*>(gradient.data()), kWidth * 4, kWidth,
                               kHeight};
  for (const ColourPlaces places : {ColourPlaces{2, 1, 0, 3}, ColourPlaces{1, 2, 3, 0}}) {
    const auto mask = [&] {
      std::vector<float> m = gradient;
      EXPECT_EQ(ColourMask32f(FloatView(picture, kWidth), FloatView(tint, kWidth),
                              {reinterpret_cast<uint8_t*>(m.data()), kWidth * 4, kWidth, kHeight},
                              places, 30, 200),
                kOk);
      return m;
    };
    ASSERT_TRUE(same(run(reference, mask), run(GetParam(), mask))) << places.red;
    const int32_t first = places.alpha == 0 ? 1 : 0;
    for (const bool inPlace : {false, true}) {
      const auto hue = [&] {
        std::vector<float> p = picture;
        std::vector<float> out(picture.size(), 0.5f);
        std::vector<float>& dst = inPlace ? p : out;
        EXPECT_EQ(HueBlend32f_C4(FloatView(p, kWidth), FloatView(tint, kWidth), gradientView,
                                 FloatView(dst, kWidth), first),
                  kOk);
        return dst;
      };
      ASSERT_TRUE(same(run(reference, hue), run(GetParam(), hue))) << first << " " << inPlace;
    }
  }
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(TintOnEveryPath);

}  // namespace
}  // namespace vitrella::kernels
