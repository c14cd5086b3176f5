// The channel grade, the composite through a mask and the colour runs on every code path,
// against the formulas written out here, on odd widths and in both channel orders.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "common/kernel_variants.h"
#include "kernels/channel_grade.h"
#include "kernels/colour_run.h"
#include "kernels/composite.h"
#include "kernels/copy.h"

namespace vitrella::kernels {
namespace {

std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& b : bytes)
    b = static_cast<uint8_t>(random());
  return bytes;
}

ImageView View(std::vector<uint8_t>& bytes, int32_t width, int32_t height, int32_t pixelBytes) {
  return {bytes.data(), static_cast<ptrdiff_t>(width) * pixelBytes, width, height};
}

class GradeAndMask : public OnEveryKernelPath {};

TEST_P(GradeAndMask, GradeMovesTowardsLumaThenLooksUpEachChannel) {
  std::vector<int32_t> tables[3];
  for (int c = 0; c < 3; ++c) {
    tables[c].resize(256);
    for (int i = 0; i < 256; ++i)
      tables[c][static_cast<size_t>(i)] = (i * (c + 2) + 17 * c) % 256;
  }
  constexpr int32_t kNoMove = 999;
  for (int32_t amount : {kNoMove, 0, 90, -127, 127}) {
    for (bool lookup : {false, true}) {
      ByteGradeSpec grade;
      grade.move = amount != kNoMove;
      grade.amount = grade.move ? amount : 0;
      grade.weightBlue = 30;
      grade.weightGreen = 149;
      grade.weightRed = 76;
      if (lookup) {
        grade.blueTable = tables[0].data();
        grade.greenTable = tables[1].data();
        grade.redTable = tables[2].data();
      }
      for (ColourPositions at : {ColourPositions{0, 1, 2}, ColourPositions{3, 2, 1}}) {
        for (int32_t width : {1, 7, 33, 50, 130}) {
          std::vector<uint8_t> src = RandomBytes(static_cast<size_t>(width) * 4 * 3, width);
          std::vector<uint8_t> dst(src.size(), 0xA5);
          ASSERT_EQ(GradeChannels8u_C4(View(src, width, 3, 4), View(dst, width, 3, 4), at, grade),
                    kOk);
          const int alpha = 6 - at.blue - at.green - at.red;
          for (size_t p = 0; p < src.size(); p += 4) {
            int32_t c[3] = {src[p + at.blue], src[p + at.green], src[p + at.red]};
            if (grade.move) {
              const int32_t luma = (c[0] * 30 + c[1] * 149 + c[2] * 76) >> 8;
              for (int32_t& v : c)
                v = std::clamp((v * (127 - grade.amount) + luma * grade.amount) >> 7, 0, 255);
            }
            if (lookup) {
              for (int k = 0; k < 3; ++k)
                c[k] = tables[k][static_cast<size_t>(c[k])];
            }
            ASSERT_EQ(dst[p + at.blue], c[0]) << "amount " << amount << " at " << p;
            ASSERT_EQ(dst[p + at.green], c[1]);
            ASSERT_EQ(dst[p + at.red], c[2]);
            ASSERT_EQ(dst[p + static_cast<size_t>(alpha)], src[p + static_cast<size_t>(alpha)]);
          }
          // In place gives the same.
          ASSERT_EQ(GradeChannels8u_C4(View(src, width, 3, 4), View(src, width, 3, 4), at, grade),
                    kOk);
          EXPECT_EQ(src, dst);
        }
      }
    }
  }
  ByteGradeSpec half;
  std::vector<uint8_t> pixels(16);
  half.blueTable = tables[0].data();  // the other two missing
  EXPECT_EQ(GradeChannels8u_C4(View(pixels, 4, 1, 4), View(pixels, 4, 1, 4), {0, 1, 2}, half),
            kNullPointer);
  EXPECT_EQ(GradeChannels8u_C4(View(pixels, 4, 1, 4), View(pixels, 4, 1, 4), {0, 1, 1}, {}),
            kBadChannel);
}

// Floats through every combination of the three stages, in both channel orders and in
// place, against the stages written out, with the curve as the scalar UnitClarityCurve
// computes it, to the bit on every path; values beyond 0..1 come in too, and a negative
// tint that cuts its whole range.
TEST_P(GradeAndMask, FloatGradeRunsItsStagesByTheFormulas) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> value(-0.25f, 1.25f);
  const auto limit = [](float v) { return std::clamp(v, 0.0f, 1.0f); };
  const auto tint = [](float in, float a) {
    if (a >= 0.0f) return (1.0f - a * 0.5f) * in + a * 0.5f;
    const float h = a * -0.5f;
    if (in < h) return 0.0f;
    const float room = 1.0f - h;
    return (in - h) * (1.0f / (room == 0.0f ? 0.0000001f : room));
  };
  for (int stages = 1; stages < 8; ++stages) {
    FloatGradeSpec grade;
    grade.move = (stages & 1) != 0;
    grade.keep = 0.9f;
    grade.toward = -0.4f;
    grade.weightBlue = 0.113f;
    grade.weightGreen = 0.586f;
    grade.weightRed = 0.298f;
    grade.curve = (stages & 2) != 0;
    grade.exponent = 0.81f;
    grade.clarity = 0.37f;
    grade.tint = (stages & 4) != 0;
    grade.tintBlue = 0.6f;
    grade.tintGreen = -0.7f;
    grade.tintRed = -2.0f;
    for (ColourPositions at : {ColourPositions{0, 1, 2}, ColourPositions{3, 2, 1}}) {
      const int alpha = 6 - at.blue - at.green - at.red;
      for (int32_t width : {1, 7, 33, 50}) {
        std::vector<float> src(static_cast<size_t>(width) * 4 * 2);
        for (float& v : src)
          v = value(random);
        std::vector<float> dst(src.size(), -9.0f);
        const auto view = [&](std::vector<float>& f) {
          return ImageView{reinterpret_cast<uint8_t*>(f.data()), width * 16, width, 2};
        };
        ASSERT_EQ(GradeChannels32f_C4(view(src), view(dst), at, grade), kOk);
        for (size_t p = 0; p < src.size(); p += 4) {
          float c[3] = {src[p + at.blue], src[p + at.green], src[p + at.red]};
          if (grade.move) {
            const float luma = c[0] * 0.113f + c[1] * 0.586f + c[2] * 0.298f;
            for (float& v : c)
              v = limit((v * 0.9f + luma * -0.4f) * 2.0f);
          }
          if (grade.curve) {
            for (float& v : c)
              v = limit(UnitClarityCurve(v, 0.81f, 0.37f));
          }
          if (grade.tint) {
            c[0] = limit(tint(c[0], 0.6f));
            c[1] = limit(tint(c[1], -0.7f));
            c[2] = limit(tint(c[2], -2.0f));
          }
          for (int k = 0; k < 3; ++k) {
            const int32_t at3[3] = {at.blue, at.green, at.red};
            ASSERT_EQ(dst[p + static_cast<size_t>(at3[k])], c[k])
                << "stages " << stages << " channel " << k << " at " << p;
          }
          ASSERT_EQ(dst[p + static_cast<size_t>(alpha)], src[p + static_cast<size_t>(alpha)]);
        }
        std::vector<float> inPlace = src;
        ASSERT_EQ(GradeChannels32f_C4(view(inPlace), view(inPlace), at, grade), kOk);
        EXPECT_EQ(std::memcmp(inPlace.data(), dst.data(), dst.size() * sizeof(float)), 0);
      }
    }
  }
  std::vector<float> pixels(16);
  const ImageView four{reinterpret_cast<uint8_t*>(pixels.data()), 64, 4, 1};
  EXPECT_EQ(GradeChannels32f_C4(four, four, {0, 1, 1}, {}), kBadChannel);
  EXPECT_EQ(GradeChannels32f_C4({}, four, {0, 1, 2}, {}), kNullPointer);
}

// The float grade's own curve against the curve in doubles, over 0..1 finely and the
// exponents and clarities that the grades give; beyond 0..1 it takes the nearer end. The
// bound is two steps of a float at 1; the maths library's own powf and sinf give 1.4e-7
// here, and a level of 16 bits is 1.5e-5.
TEST(ClarityCurve, PolynomialsStayWithinTwoFloatStepsOfTheExactCurve) {
  const auto exact = [](double x, double e, double clarity) {
    const double p = std::pow(x, e);
    return (std::sin(p * std::numbers::pi - std::numbers::pi / 2) + 1) * 0.5 * clarity +
           (1 - clarity) * p;
  };
  for (float e : {0.5f, 0.7071068f, 0.95f, 1.0f, 1.3f, 2.0f}) {
    for (float clarity : {0.0f, 0.1951f, 0.5f, 1.0f}) {
      double worst = 0;
      for (int i = 0; i <= 1 << 20; ++i) {
        const float x = static_cast<float>(i) / static_cast<float>(1 << 20);
        worst = std::max(worst, std::abs(UnitClarityCurve(x, e, clarity) - exact(x, e, clarity)));
      }
      for (float x = 1e-30f; x < 1e-3f; x *= 1.37f)  // the deep shadows
        worst = std::max(worst, std::abs(UnitClarityCurve(x, e, clarity) - exact(x, e, clarity)));
      EXPECT_LE(worst, 2.5e-7) << "exponent " << e << " clarity " << clarity;
      EXPECT_EQ(UnitClarityCurve(-3.0f, e, clarity), UnitClarityCurve(0.0f, e, clarity));
      EXPECT_EQ(UnitClarityCurve(std::numeric_limits<float>::quiet_NaN(), e, clarity),
                UnitClarityCurve(0.0f, e, clarity));
      EXPECT_EQ(UnitClarityCurve(7.5f, e, clarity), UnitClarityCurve(1.0f, e, clarity));
      EXPECT_EQ(UnitClarityCurve(1.0f, e, 0.0f), 1.0f);
    }
  }
}

TEST_P(GradeAndMask, BytesMixThroughTheMaskByTheFormula) {
  for (int32_t alpha : {0, 3}) {
    for (int32_t width : {1, 7, 33, 130}) {
      std::vector<uint8_t> fg = RandomBytes(static_cast<size_t>(width) * 8, 3);
      std::vector<uint8_t> bg = RandomBytes(static_cast<size_t>(width) * 8, 4);
      std::vector<uint8_t> mask = RandomBytes(static_cast<size_t>(width) * 2, 5);
      mask[0] = 0;
      mask.back() = 255;
      const std::vector<uint8_t> before = bg;
      ASSERT_EQ(CompositeThroughMask8u_C4(View(fg, width, 2, 4), View(bg, width, 2, 4),
                                          View(mask, width, 2, 1), alpha),
                kOk);
      for (size_t p = 0; p < mask.size(); ++p) {
        const uint32_t m = mask[p];
        const uint32_t t = std::min(255U, before[4 * p + alpha] * (255 - m) / 255);
        for (int c = 0; c < 4; ++c) {
          const size_t i = 4 * p + static_cast<size_t>(c);
          const uint32_t want =
              c == alpha ? before[i] : std::min(255U, (fg[i] * m + before[i] * t) / 255);
          ASSERT_EQ(bg[i], want) << "width " << width << " pixel " << p << " channel " << c;
        }
      }
    }
  }
}

// Floats on every path against the formula to the bit: masks of 0 over a foreground of
// NaN and of 1 over a background of NaN among random ones, values beyond 0..1 included.
TEST_P(GradeAndMask, FloatsMixThroughTheMaskByTheFormula) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  std::mt19937 random(9);
  std::uniform_real_distribution<float> value(-0.2f, 1.5f);
  for (int32_t alpha : {0, 3}) {
    for (int32_t width : {1, 7, 33, 130}) {
      const auto count = static_cast<size_t>(width) * 2;
      std::vector<float> fg(count * 4);
      std::vector<float> bg(count * 4);
      std::vector<float> mask(count);
      for (size_t p = 0; p < count; ++p) {
        mask[p] = p % 5 == 0 ? 0.0f : p % 5 == 1 ? 1.0f : std::clamp(value(random), 0.0f, 1.0f);
        for (size_t c = 0; c < 4; ++c) {
          fg[4 * p + c] = mask[p] == 0.0f && c != static_cast<size_t>(alpha) ? nan : value(random);
          bg[4 * p + c] = mask[p] == 1.0f && c != static_cast<size_t>(alpha) ? nan : value(random);
        }
      }
      const std::vector<float> before = bg;
      const auto view = [&](std::vector<float>& v, int32_t channels) {
        return ImageView{reinterpret_cast<uint8_t*>(v.data()), width * channels * 4, width, 2};
      };
      ASSERT_EQ(CompositeThroughMask32f_C4(view(fg, 4), view(bg, 4), view(mask, 1), alpha), kOk);
      for (size_t p = 0; p < count; ++p) {
        const float m = mask[p];
        const float t = std::min(1.0f, before[4 * p + static_cast<size_t>(alpha)] * (1.0f - m));
        for (size_t c = 0; c < 4; ++c) {
          const size_t i = 4 * p + c;
          float want = before[i];
          if (c != static_cast<size_t>(alpha)) {
            const float front = m == 0.0f ? 0.0f : fg[i] * m;
            const float back = m == 1.0f ? 0.0f : before[i] * t;
            want = std::min(1.0f, front + back);
          }
          ASSERT_EQ(std::bit_cast<uint32_t>(bg[i]), std::bit_cast<uint32_t>(want))
              << "width " << width << " pixel " << p << " channel " << c;
        }
      }
    }
  }
}

TEST(CompositeThroughMask, FloatsTakeTheSpotWhereFullAndNeverReadItWhereEmpty) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // Pixel 0: mask 0, a foreground of NaN; pixel 1: mask 1, a background of NaN; pixel 2:
  // half, alpha 0.5.
  std::vector<float> fg = {nan, nan, nan, nan, 0.25f, 2.0f, 0.5f, 0.0f, 0.8f, 0.4f, 0.2f, 0.0f};
  std::vector<float> bg = {0.5f, 1.5f, 0.2f, 0.5f, nan, nan, nan, 1.0f, 0.1f, 0.2f, 0.3f, 0.5f};
  std::vector<float> mask = {0.0f, 1.0f, 0.5f};
  const ConstImageView f{reinterpret_cast<const uint8_t*>(fg.data()), 48, 3, 1};
  const ImageView b{reinterpret_cast<uint8_t*>(bg.data()), 48, 3, 1};
  const ConstImageView m{reinterpret_cast<const uint8_t*>(mask.data()), 12, 3, 1};
  ASSERT_EQ(CompositeThroughMask32f_C4(f, b, m, 3), kOk);
  EXPECT_FLOAT_EQ(bg[0], 0.25f);
  EXPECT_FLOAT_EQ(bg[1], 0.75f);
  EXPECT_FLOAT_EQ(bg[2], 0.1f);
  EXPECT_EQ(bg[3], 0.5f);
  EXPECT_FLOAT_EQ(bg[4], 0.25f);
  EXPECT_FLOAT_EQ(bg[5], 1.0f);  // limited to 1
  EXPECT_FLOAT_EQ(bg[6], 0.5f);
  EXPECT_FLOAT_EQ(bg[8], 0.8f * 0.5f + 0.1f * 0.25f);
  EXPECT_EQ(CompositeThroughMask32f_C4(f, b, m, 2), kBadChannel);
}

// A run ends at the first pixel beyond the tolerance in any colour channel, whichever
// vector lane it falls in; alpha never ends it, and a NaN always does.
TEST_P(GradeAndMask, ColourRunsEndAtTheFirstPixelBeyondTheTolerance) {
  constexpr int32_t kCount = 53;
  std::mt19937 random(4);
  for (ColourPositions at : {ColourPositions{0, 1, 2}, ColourPositions{3, 2, 1}}) {
    const int32_t alpha = 6 - at.blue - at.green - at.red;
    for (int32_t tolerance : {0, 7, 60}) {
      for (int32_t end = 0; end <= kCount; ++end) {
        // Pixels within the tolerance up to `end`, wild alpha throughout; pixel `end`
        // beyond it in one channel, chosen in turn, above or below.
        const RunColour8u colour{{90, 140, 180, 100}, tolerance};
        std::vector<uint8_t> bytes(4 * kCount);
        for (int32_t i = 0; i < kCount; ++i) {
          for (int32_t c = 0; c < 4; ++c) {
            const int32_t offset = static_cast<int32_t>(random() % (tolerance + 1));
            bytes[4 * i + c] =
                static_cast<uint8_t>(colour.channels[c] + (i % 2 != 0 ? offset : -offset));
          }
          bytes[4 * i + alpha] = static_cast<uint8_t>(random());
        }
        const int32_t channel = std::vector<int32_t>{at.blue, at.green, at.red}[end % 3];
        const int32_t value = colour.channels[channel];
        const int32_t step = tolerance + 1;
        if (end < kCount) {
          const bool up = end % 2 != 0 ? value + step <= 255 : value - step < 0;
          bytes[4 * end + channel] = static_cast<uint8_t>(up ? value + step : value - step);
        }
        std::vector<float> floats(bytes.begin(), bytes.end());
        const RunColour32f floatColour{{90, 140, 180, 100}, static_cast<float>(tolerance)};
        EXPECT_EQ(ColourRunLength8u_C4(bytes.data(), kCount, at, colour), end) << tolerance;
        EXPECT_EQ(ColourRunLength32f_C4(floats.data(), kCount, at, floatColour), end) << tolerance;
        if (end < kCount) {
          floats[4 * end + channel] = std::numeric_limits<float>::quiet_NaN();
          EXPECT_EQ(ColourRunLength32f_C4(floats.data(), kCount, at, floatColour), end);
        }
      }
    }
  }
  const RunColour8u any{{}, 255};
  const std::vector<uint8_t> bytes = RandomBytes(16, 1);
  EXPECT_EQ(ColourRunLength8u_C4(nullptr, 4, {}, any), 0);
  EXPECT_EQ(ColourRunLength8u_C4(bytes.data(), 0, {}, any), 0);
  EXPECT_EQ(ColourRunLength8u_C4(bytes.data(), 4, {0, 0, 2}, any), 0);
  EXPECT_EQ(ColourRunLength8u_C4(bytes.data(), 4, {}, any), 4);
}

// Columns become rows, for pixels of four and sixteen bytes, on tiles cut at odd edges.
TEST_P(GradeAndMask, TransposesPixelsOfEverySize) {
  // Sizes with and without a remainder beyond whole vector blocks.
  for (const auto& [kW, kH] : {std::pair{37, 19}, std::pair{40, 16}}) {
    for (int32_t pixelBytes : {4, 16, 3}) {
      std::vector<uint8_t> src = RandomBytes(static_cast<size_t>(kW) * kH * pixelBytes, 5);
      std::vector<uint8_t> dst(static_cast<size_t>(kW) * (kH + 1) * pixelBytes, 0xAB);
      ASSERT_EQ(TransposePixels(View(src, kW, kH, pixelBytes), View(dst, kH + 1, kW, pixelBytes),
                                pixelBytes),
                kOk);
      for (int32_t y = 0; y < kH + 1; ++y) {
        for (int32_t x = 0; x < kW; ++x) {
          const uint8_t* got = &dst[(static_cast<size_t>(x) * (kH + 1) + y) * pixelBytes];
          for (int32_t b = 0; b < pixelBytes; ++b) {
            // The column past the source's height stays as it was.
            const uint8_t want =
                y < kH ? src[(static_cast<size_t>(y) * kW + x) * pixelBytes + b] : uint8_t{0xAB};
            ASSERT_EQ(got[b], want) << pixelBytes << " bytes, " << x << "," << y;
          }
        }
      }
    }
  }
}

// The copy past the caches gives the plain copy's bytes whatever the destination's
// alignment and the rows' length, and leaves the bytes around the rows alone.
TEST_P(GradeAndMask, StreamedCopiesAreThePlainCopy) {
  for (const int32_t width : {1, 7, 64, 333}) {
    for (const size_t offset : {0, 1, 12}) {
      constexpr int32_t kRows = 3;
      const std::vector<uint8_t> src = RandomBytes(static_cast<size_t>(width) * kRows * 4, 7);
      std::vector<uint8_t> dst(static_cast<size_t>(width + 5) * kRows * 4 + offset, 0xCD);
      const ConstImageView from{src.data(), static_cast<ptrdiff_t>(width) * 4, width, kRows};
      const ImageView to{dst.data() + offset, static_cast<ptrdiff_t>(width + 5) * 4, width, kRows};
      ASSERT_EQ(StreamPixels(from, to, 4), kOk);
      for (int32_t y = 0; y < kRows; ++y) {
        for (int32_t b = 0; b < (width + 5) * 4; ++b) {
          const size_t at = (static_cast<size_t>(y) * width * 4) + static_cast<size_t>(b);
          const uint8_t want = b < width * 4 ? src[at] : 0xCD;
          ASSERT_EQ(to.Row(y)[b], want) << width << " wide, offset " << offset << ", row " << y;
        }
      }
    }
  }
  std::vector<uint8_t> bytes(16);
  EXPECT_EQ(StreamPixels(ConstImageView{nullptr, 16, 4, 1}, View(bytes, 4, 1, 4), 4), kNullPointer);
  EXPECT_EQ(StreamPixels(View(bytes, 4, 1, 4), View(bytes, 4, 1, 4), 0), kBadSize);
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(GradeAndMask);

}  // namespace
}  // namespace vitrella::kernels
