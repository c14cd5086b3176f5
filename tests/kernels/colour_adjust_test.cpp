// The colour adjustment on every code path: bytes exactly as the plain formula gives
// them, floats limited with NaN to 0, alpha through.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "common/kernel_variants.h"
#include "kernels/colour_adjust.h"

namespace vitrella::kernels {
namespace {

class ColourAdjustKernels : public OnEveryKernelPath {};

// A strong matrix: saturation 3, a mix of channels and an offset that pushes many results
// past both ends, so rounding and saturation are both met.
constexpr float kMatrix[3][4] = {
    {2.1f, -0.7f, -0.4f, 12.5f}, {-0.33f, 1.9f, -0.57f, -40.0f}, {0.25f, 0.5f, 0.25f, 0.5f}};

uint8_t Expected(const uint8_t* p, int first, int row) {
  const float* m = kMatrix[row];
  const float v = m[0] * p[first] + m[1] * p[first + 1] + m[2] * p[first + 2] + m[3];
  return static_cast<uint8_t>(std::nearbyint(std::fmin(std::fmax(v, 0.0f), 255.0f)));
}

TEST_P(ColourAdjustKernels, BytesAreThePlainFormulaRoundedAndSaturated) {
  std::mt19937 random(5);
  for (int first : {0, 1}) {
    for (int width : {1, 7, 33, 203}) {
      const int height = 3;
      const int pitch = width * 4 + 12;
      std::vector<uint8_t> in(static_cast<size_t>(pitch * height));
      for (uint8_t& b : in)
        b = static_cast<uint8_t>(random());
      std::vector<uint8_t> out(in.size(), 0xEE);
      ImageView src{in.data(), pitch, width, height};
      ImageView dst{out.data(), pitch, width, height};
      ASSERT_EQ(ColourAdjust8u_C4(src, dst, kMatrix, first), kOk);
      const int alpha = first == 0 ? 3 : 0;
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          const uint8_t* p = in.data() + y * pitch + 4 * x;
          const uint8_t* o = out.data() + y * pitch + 4 * x;
          ASSERT_EQ(o[first], Expected(p, first, 0)) << x << "," << y;
          ASSERT_EQ(o[first + 1], Expected(p, first, 1)) << x << "," << y;
          ASSERT_EQ(o[first + 2], Expected(p, first, 2)) << x << "," << y;
          ASSERT_EQ(o[alpha], p[alpha]);
        }
        // The padding past the row stays as it was.
        EXPECT_EQ(out[static_cast<size_t>(y * pitch + width * 4)], 0xEE);
      }
      // In place gives the same.
      std::vector<uint8_t> inPlace = in;
      ImageView both{inPlace.data(), pitch, width, height};
      ASSERT_EQ(ColourAdjust8u_C4(both, both, kMatrix, first), kOk);
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < 4 * width; ++x) {
          ASSERT_EQ(inPlace[static_cast<size_t>(y * pitch + x)],
                    out[static_cast<size_t>(y * pitch + x)]);
        }
      }
    }
  }
}

TEST_P(ColourAdjustKernels, HalvesRoundToEven) {
  // Channel 0 times 0.5: 1 -> 0.5 -> 0, 3 -> 1.5 -> 2, 5 -> 2.5 -> 2.
  constexpr float kHalf[3][4] = {{0.5f, 0, 0, 0}, {0, 0.5f, 0, 0}, {0, 0, 0.5f, 0}};
  std::vector<uint8_t> px(4 * 16);
  for (int x = 0; x < 16; ++x) {
    px[4 * x] = static_cast<uint8_t>(2 * x + 1);
  }
  ImageView view{px.data(), 64, 16, 1};
  ASSERT_EQ(ColourAdjust8u_C4(view, view, kHalf, 0), kOk);
  for (int x = 0; x < 16; ++x)
    EXPECT_EQ(px[4 * x], static_cast<uint8_t>(std::nearbyint((2 * x + 1) * 0.5f))) << x;
}

TEST_P(ColourAdjustKernels, FloatsAreLimitedToUnitWithNaNToZero) {
  constexpr float kIdentity[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::vector<float> values = {-0.5f, 0.25f, 1.5f, nan, 0.0f, 1.0f, 0.75f, -0.0f};
  for (int first : {0, 1}) {
    const int width = 19;
    std::vector<float> in(static_cast<size_t>(4 * width));
    for (size_t i = 0; i < in.size(); ++i)
      in[i] = values[i % values.size()];
    std::vector<float> out(in.size());
    ImageView src{reinterpret_cast<uint8_t*>(in.data()), 16 * width, width, 1};
    ImageView dst{reinterpret_cast<uint8_t*>(out.data()), 16 * width, width, 1};
    ASSERT_EQ(ColourAdjust32f_C4(src, dst, kIdentity, first), kOk);
    const auto limited = [](float v) { return v > 0.0f ? std::fmin(v, 1.0f) : 0.0f; };
    for (int x = 0; x < width; ++x) {
      const float* p = in.data() + 4 * x;
      const float* o = out.data() + 4 * x;
      // A NaN among the colours spreads through the matrix's zero weights to all three.
      const bool anyNaN =
          std::isnan(p[first]) || std::isnan(p[first + 1]) || std::isnan(p[first + 2]);
      for (int c = 0; c < 3; ++c)
        ASSERT_EQ(o[first + c], anyNaN ? 0.0f : limited(p[first + c])) << x;
      const int alpha = first == 0 ? 3 : 0;
      ASSERT_EQ(o[alpha], limited(p[alpha])) << x;  // alpha is limited too
    }
    // The matrix itself: one row's sum, in the stated order.
    ASSERT_EQ(ColourAdjust32f_C4(src, dst, kMatrix, first), kOk);
    for (int x = 0; x < width; ++x) {
      const float* p = in.data() + 4 * x + first;
      const float sum =
          kMatrix[2][0] * p[0] + kMatrix[2][1] * p[1] + kMatrix[2][2] * p[2] + kMatrix[2][3];
      EXPECT_EQ(out[static_cast<size_t>(4 * x + first + 2)], LimitToUnit(sum)) << x;
    }
  }
}

TEST_P(ColourAdjustKernels, BadArgumentsAreRefused) {
  uint8_t px[16] = {};
  ImageView view{px, 16, 4, 1};
  EXPECT_EQ(ColourAdjust8u_C4({}, view, kMatrix, 0), kNullPointer);
  EXPECT_EQ(ColourAdjust8u_C4(view, view, nullptr, 0), kNullPointer);
  EXPECT_EQ(ColourAdjust8u_C4(view, view, kMatrix, 2), kBadChannel);
  EXPECT_EQ(ColourAdjust32f_C4(view, ImageView{px, 16, 0, 1}, kMatrix, 0), kBadSize);
  EXPECT_EQ(ColourAdjust32f_C4(view, ImageView{px, 0, 1, 1}, kMatrix, 0), kBadPitch);
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(ColourAdjustKernels);

}  // namespace
}  // namespace vitrella::kernels
