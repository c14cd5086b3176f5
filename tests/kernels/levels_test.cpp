// The levels histogram and stretch on every code path: counts against OpenCV's histogram and
// against the float boundaries searched one by one; the stretch against its pixel formula,
// in both channel orders on each side, in place, and at the values where the answer is fixed.
#include "kernels/levels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "common/kernel_variants.h"

namespace vitrella::kernels {
namespace {

constexpr ColourPositions kBgra{0, 1, 2};
constexpr ColourPositions kArgb{3, 2, 1};

template <typename T>
BasicView<uint8_t> View(std::vector<T>& pixels, int32_t width, int32_t height) {
  return {reinterpret_cast<uint8_t*>(pixels.data()),
          static_cast<ptrdiff_t>(width) * 4 * static_cast<ptrdiff_t>(sizeof(T)), width, height};
}

std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& b : bytes)
    b = static_cast<uint8_t>(random());
  return bytes;
}

class Levels : public OnEveryKernelPath {};

TEST_P(Levels, ByteHistogramCountsWhatOpenCvCounts) {
  for (ColourPositions at : {kBgra, kArgb}) {
    for (int32_t width : {1, 2, 37}) {
      const int32_t height = 29;
      std::vector<uint8_t> pixels = RandomBytes(static_cast<size_t>(width) * height * 4, width);
      // A padded pitch, and a run of one value that tests repeated increments.
      for (int32_t x = 0; x < width; ++x)
        pixels[static_cast<size_t>(x) * 4 + static_cast<size_t>(at.red)] = 255;
      RgbHistogram histogram{};
      ASSERT_EQ(HistogramRgb8u_C4(View(pixels, width, height), at, &histogram), kOk);

      const cv::Mat image(height, width, CV_8UC4, pixels.data());
      const auto counts = [&](int32_t channel) {
        cv::Mat hist;
        const int channels[] = {channel};
        const int size[] = {256};
        const float range[] = {0.0f, 256.0f};
        const float* ranges[] = {range};
        cv::calcHist(&image, 1, channels, cv::Mat(), hist, 1, size, ranges);
        return hist;
      };
      const cv::Mat red = counts(at.red), green = counts(at.green), blue = counts(at.blue);
      for (int k = 0; k < 256; ++k) {
        ASSERT_EQ(histogram.red[k], static_cast<uint32_t>(red.at<float>(k))) << k;
        ASSERT_EQ(histogram.green[k], static_cast<uint32_t>(green.at<float>(k))) << k;
        ASSERT_EQ(histogram.blue[k], static_cast<uint32_t>(blue.at<float>(k))) << k;
      }
    }
  }
}

TEST_P(Levels, FloatHistogramBucketsByItsBoundariesAndSkipsWhatLiesOutside) {
  std::vector<float> values;
  for (int k = 0; k <= 256; ++k) {
    const float b = static_cast<float>(k) * kFloatLevelStep;
    values.push_back(b);
    values.push_back(std::nextafter(b, -1.0f));
    values.push_back(std::nextafter(b, 2.0f));
  }
  std::mt19937 random(5);
  std::uniform_real_distribution<float> spread(-0.1f, 1.1f);
  for (int i = 0; i < 2000; ++i)
    values.push_back(spread(random));
  for (float v : {1.0f, -0.0f, std::numeric_limits<float>::quiet_NaN(),
                  std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()})
    values.push_back(v);

  // Each value in red; green and blue hold a constant, alpha a value that must not count.
  const auto width = static_cast<int32_t>(values.size());
  std::vector<float> pixels(values.size() * 4);
  for (size_t i = 0; i < values.size(); ++i) {
    pixels[4 * i + static_cast<size_t>(kArgb.red)] = values[i];
    pixels[4 * i + static_cast<size_t>(kArgb.green)] = 0.5f;
    pixels[4 * i + static_cast<size_t>(kArgb.blue)] = 2.0f;
    pixels[4 * i] = 0.0f;
  }
  RgbHistogram histogram{};
  ASSERT_EQ(HistogramRgb32f_C4(View(pixels, width, 1), kArgb, &histogram), kOk);

  uint32_t expected[256] = {};
  for (float v : values) {
    for (int k = 0; k < 256; ++k) {
      if (v >= static_cast<float>(k) * kFloatLevelStep &&
          v < static_cast<float>(k + 1) * kFloatLevelStep) {
        ++expected[k];
      }
    }
  }
  uint32_t greens = 0;
  uint32_t blues = 0;
  for (int k = 0; k < 256; ++k) {
    ASSERT_EQ(histogram.red[k], expected[k]) << "bucket " << k;
    greens += histogram.green[k];
    blues += histogram.blue[k];
  }
  EXPECT_EQ(histogram.green[128], static_cast<uint32_t>(width));  // 0.5 * 257 = 128.5
  EXPECT_EQ(greens, static_cast<uint32_t>(width));
  EXPECT_EQ(blues, 0u);
}

TEST_P(Levels, ByteStretchFollowsItsFormulaInEveryOrderAndInPlace) {
  const int32_t width = 41;
  const int32_t height = 3;
  const std::vector<uint8_t> src = RandomBytes(static_cast<size_t>(width) * height * 4, 11);
  for (ByteLevels levels : {ByteLevels{0, 255, 0, false}, ByteLevels{30, 300, 512, true},
                            ByteLevels{12, 65280, 300, false}, ByteLevels{255, -514, 97, true},
                            ByteLevels{100, -256, 0, false}}) {
    for (ColourPositions in : {kBgra, kArgb}) {
      for (ColourPositions out : {kBgra, kArgb}) {
        std::vector<uint8_t> source = src;
        std::vector<uint8_t> dst(src.size(), 0xA5);
        ASSERT_EQ(StretchLevels8u_C4(View(source, width, height), in, View(dst, width, height), out,
                                     levels),
                  kOk);
        for (size_t p = 0; p < src.size(); p += 4) {
          const int32_t rgb[3] = {src[p + in.red], src[p + in.green], src[p + in.blue]};
          int32_t expected[3];
          StretchPixel8u(rgb, expected, levels);
          ASSERT_EQ(dst[p + out.red], expected[0]) << p;
          ASSERT_EQ(dst[p + out.green], expected[1]) << p;
          ASSERT_EQ(dst[p + out.blue], expected[2]) << p;
          ASSERT_EQ(dst[p + 6 - out.red - out.green - out.blue],
                    src[p + 6 - in.red - in.green - in.blue]);
        }
        if (in.red == out.red) {
          ASSERT_EQ(StretchLevels8u_C4(View(source, width, height), in, View(source, width, height),
                                       out, levels),
                    kOk);
          EXPECT_EQ(source, dst) << "in place";
        }
      }
    }
  }
}

TEST_P(Levels, ByteStretchFixedAnswers) {
  std::vector<uint8_t> pixels = {0, 128, 255, 7, 200, 100, 50, 9};
  std::vector<uint8_t> out(pixels.size());
  // The stretch of an untouched range loses the top level: 255 becomes 254.
  ASSERT_EQ(StretchLevels8u_C4(View(pixels, 2, 1), kBgra, View(out, 2, 1), kBgra,
                               ByteLevels{0, 255, 0, false}),
            kOk);
  EXPECT_EQ(out, (std::vector<uint8_t>{0, 127, 254, 7, 199, 99, 49, 9}));
  // A negative gain from a white level below the black one inverts.
  ASSERT_EQ(StretchLevels8u_C4(View(pixels, 2, 1), kBgra, View(out, 2, 1), kBgra,
                               ByteLevels{255, -256, 0, false}),
            kOk);
  EXPECT_EQ(out, (std::vector<uint8_t>{255, 127, 0, 7, 55, 155, 205, 9}));
}

TEST_P(Levels, FloatStretchFollowsItsFormulaAndLimitsToTheUnitRange) {
  const int32_t width = 23;
  std::mt19937 random(3);
  std::uniform_real_distribution<float> spread(-0.2f, 1.2f);
  std::vector<float> src(static_cast<size_t>(width) * 4);
  for (float& v : src)
    v = spread(random);
  src[0] = std::numeric_limits<float>::quiet_NaN();
  src[5] = std::numeric_limits<float>::infinity();
  for (FloatLevels levels :
       {FloatLevels{0.0f, 1.0f, 0.0f, false}, FloatLevels{0.1f, 0.7f, 0.4999f, true},
        FloatLevels{0.3f, 0.0000001f, 0.2f, false}}) {
    for (ColourPositions in : {kBgra, kArgb}) {
      for (ColourPositions out : {kBgra, kArgb}) {
        std::vector<float> source = src;
        std::vector<float> dst(src.size(), -5.0f);
        ASSERT_EQ(StretchLevels32f_C4(View(source, width, 1), in, View(dst, width, 1), out, levels),
                  kOk);
        for (size_t p = 0; p < src.size(); p += 4) {
          const float rgb[3] = {src[p + in.red], src[p + in.green], src[p + in.blue]};
          float expected[3];
          StretchPixel32f(rgb, expected, levels);
          for (int c = 0; c < 3; ++c) {
            const int place = c == 0 ? out.red : c == 1 ? out.green : out.blue;
            ASSERT_EQ(dst[p + static_cast<size_t>(place)], expected[c]) << p;
            ASSERT_TRUE(expected[c] >= 0.0f && expected[c] <= 1.0f);
          }
          const float alphaIn = src[p + static_cast<size_t>(6 - in.red - in.green - in.blue)];
          const float alphaOut = dst[p + static_cast<size_t>(6 - out.red - out.green - out.blue)];
          ASSERT_TRUE(alphaIn == alphaOut || (std::isnan(alphaIn) && std::isnan(alphaOut)));
        }
      }
    }
  }
}

TEST_P(Levels, BadArgumentsAreRefused) {
  std::vector<uint8_t> pixels(16);
  RgbHistogram histogram{};
  EXPECT_EQ(HistogramRgb8u_C4(View(pixels, 2, 2), kBgra, nullptr), kNullPointer);
  EXPECT_EQ(HistogramRgb8u_C4(View(pixels, 0, 2), kBgra, &histogram), kBadSize);
  EXPECT_EQ(HistogramRgb32f_C4(View(pixels, 1, 1), ColourPositions{0, 0, 2}, &histogram),
            kBadChannel);
  EXPECT_EQ(StretchLevels8u_C4(ConstImageView{}, kBgra, View(pixels, 2, 2), kBgra, ByteLevels{}),
            kNullPointer);
  EXPECT_EQ(StretchLevels32f_C4(View(pixels, 1, 1), kBgra, View(pixels, 1, 1),
                                ColourPositions{4, 1, 2}, FloatLevels{}),
            kBadChannel);
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(Levels);

}  // namespace
}  // namespace vitrella::kernels
