// The host's own YUV 4:2:0 to BGRA conversion: against a plain double-precision reading of
// the matrices and of linear chroma interpolation, on every siting, odd sizes and sizes
// that end inside a vector, on every vector target the processor has; known colours; the round trip
// with the conversion the other way; bad arguments.
#include "host/bgra_from_yuv420.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include <hwy/targets.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "host/yuv420_from_bgra.h"

namespace vitrella::host {
namespace {

struct Planes {
  Planes(int width, int height)
      : chromaWidth((width + 1) / 2),
        chromaHeight((height + 1) / 2),
        y(static_cast<size_t>(width) * height),
        u(static_cast<size_t>(chromaWidth) * chromaHeight),
        v(u.size()),
        lumaWidth(width) {}
  Yuv420Source source() const {
    return {y.data(), u.data(), v.data(), lumaWidth, chromaWidth, chromaWidth};
  }
  int chromaWidth, chromaHeight;
  std::vector<uint8_t> y, u, v;
  int lumaWidth;
};

Planes RandomPlanes(int width, int height, unsigned seed) {
  Planes planes(width, height);
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> byte(0, 255);
  for (std::vector<uint8_t>* plane : {&planes.y, &planes.u, &planes.v}) {
    for (uint8_t& value : *plane)
      value = static_cast<uint8_t>(byte(random));
  }
  return planes;
}

cv::Mat Convert(const Planes& planes, int width, int height, const YuvMatrix& matrix,
                bool fullRange, ChromaSiting siting) {
  cv::Mat bgra(height, width, CV_8UC4, cv::Scalar::all(0xAA));
  BgraFromYuv420(planes.source(), width, height, matrix, fullRange, siting, bgra.data,
                 static_cast<ptrdiff_t>(bgra.step[0]));
  return bgra;
}

// Where chroma sample 0 lies, in luma pixels, across and down.
double AcrossOffset(ChromaSiting siting) {
  return siting == ChromaSiting::kCenter || siting == ChromaSiting::kTop ||
                 siting == ChromaSiting::kBottom
             ? 0.5
             : 0.0;
}

double DownOffset(ChromaSiting siting) {
  switch (siting) {
    case ChromaSiting::kTopLeft:
    case ChromaSiting::kTop:
      return 0.0;
    case ChromaSiting::kBottomLeft:
    case ChromaSiting::kBottom:
      return 1.0;
    default:
      return 0.5;
  }
}

// Linear interpolation between the samples about a point, the edge samples repeated.
double Interpolated(const std::vector<uint8_t>& plane, int width, int height, double x, double y) {
  const auto at = [&](int i, int j) {
    return static_cast<double>(plane[static_cast<size_t>(std::clamp(j, 0, height - 1)) * width +
                                     std::clamp(i, 0, width - 1)]);
  };
  const int i = static_cast<int>(std::floor(x));
  const int j = static_cast<int>(std::floor(y));
  const double fx = x - i;
  const double fy = y - j;
  return (1 - fy) * ((1 - fx) * at(i, j) + fx * at(i + 1, j)) +
         fy * ((1 - fx) * at(i, j + 1) + fx * at(i + 1, j + 1));
}

cv::Vec4b Reference(const Planes& planes, int x, int y, const YuvMatrix& m, bool fullRange,
                    ChromaSiting siting) {
  const double cx = (x - AcrossOffset(siting)) / 2.0;
  const double cy = (y - DownOffset(siting)) / 2.0;
  const double cb = Interpolated(planes.u, planes.chromaWidth, planes.chromaHeight, cx, cy) - 128.0;
  const double cr = Interpolated(planes.v, planes.chromaWidth, planes.chromaHeight, cx, cy) - 128.0;
  const double luma = planes.y[static_cast<size_t>(y) * planes.lumaWidth + x];
  const double yy = fullRange ? luma : (luma - 16.0) * 255.0 / 219.0;
  const double chroma = fullRange ? 1.0 : 255.0 / 224.0;
  const double r = yy + 2.0 * (1.0 - m.kr) * cr * chroma;
  const double b = yy + 2.0 * (1.0 - m.kb) * cb * chroma;
  const double g = (yy - m.kr * r - m.kb * b) / (1.0 - m.kr - m.kb);
  const auto byte = [](double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
  };
  return {byte(b), byte(g), byte(r), 255};
}

int WorstDifference(const cv::Mat& picture, const Planes& planes, const YuvMatrix& matrix,
                    bool fullRange, ChromaSiting siting) {
  int worst = 0;
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      const cv::Vec4b expected = Reference(planes, x, y, matrix, fullRange, siting);
      const cv::Vec4b& got = picture.at<cv::Vec4b>(y, x);
      for (int c = 0; c < 4; ++c)
        worst = std::max(worst, std::abs(expected[c] - got[c]));
    }
  }
  return worst;
}

TEST(BgraFromYuv420, EverySitingMatrixAndRangeFollowsThePlainFormulaToTheRounding) {
  const ChromaSiting sitings[] = {ChromaSiting::kUnspecified, ChromaSiting::kLeft,
                                  ChromaSiting::kCenter,      ChromaSiting::kTopLeft,
                                  ChromaSiting::kTop,         ChromaSiting::kBottomLeft,
                                  ChromaSiting::kBottom,      static_cast<ChromaSiting>(7)};
  // Odd sizes, and widths that end inside a vector of every processor family.
  const cv::Size sizes[] = {{1, 1}, {3, 5}, {37, 23}, {70, 9}, {130, 4}};
  unsigned seed = 1;
  for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
    SCOPED_TRACE(hwy::TargetName(target));
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    for (const int space : {1, 6, 9}) {
      for (const bool fullRange : {false, true}) {
        for (const ChromaSiting siting : sitings) {
          for (const cv::Size size : sizes) {
            const Planes planes = RandomPlanes(size.width, size.height, seed++);
            const YuvMatrix matrix = *YuvMatrixOf(space);
            const cv::Mat picture =
                Convert(planes, size.width, size.height, matrix, fullRange, siting);
            EXPECT_LE(WorstDifference(picture, planes, matrix, fullRange, siting), 1)
                << "space " << space << " full " << fullRange << " siting "
                << static_cast<int>(siting) << " size " << size;
          }
        }
      }
    }
  }
  hwy::SetSupportedTargetsForTest(0);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

TEST(BgraFromYuv420, KnownColoursComeBack) {
  struct Case {
    int space;
    bool fullRange;
    uint8_t y, u, v;
    cv::Vec4b bgra;
  };
  const Case cases[] = {
      {1, false, 235, 128, 128, {255, 255, 255, 255}},  // limited white
      {1, false, 16, 128, 128, {0, 0, 0, 255}},         // limited black
      {1, false, 5, 128, 128, {0, 0, 0, 255}},          // below black clamps
      {1, false, 63, 102, 240, {0, 0, 255, 255}},       // BT.709 red
      {6, false, 145, 54, 34, {0, 255, 0, 255}},        // BT.601 green
      {1, true, 255, 128, 128, {255, 255, 255, 255}},   // full-range white
      {1, true, 255, 255, 255, {255, 172, 255, 255}},   // blue and red past the top clamp
  };
  for (const Case& c : cases) {
    Planes planes(4, 2);
    std::fill(planes.y.begin(), planes.y.end(), c.y);
    std::fill(planes.u.begin(), planes.u.end(), c.u);
    std::fill(planes.v.begin(), planes.v.end(), c.v);
    const cv::Mat picture =
        Convert(planes, 4, 2, *YuvMatrixOf(c.space), c.fullRange, ChromaSiting::kLeft);
    for (int x = 0; x < 4; ++x) {
      const cv::Vec4b& got = picture.at<cv::Vec4b>(1, x);
      for (int k = 0; k < 4; ++k)
        EXPECT_LE(std::abs(got[k] - c.bgra[k]), 1) << "Y " << int{c.y} << " channel " << k;
    }
  }
}

TEST(BgraFromYuv420, APhotographSurvivesTheRoundTripThroughOurOwnConversionOut) {
  const cv::Mat photo = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/baboon.jpg");
  ASSERT_FALSE(photo.empty());
  cv::Mat bgra;
  cv::cvtColor(photo, bgra, cv::COLOR_BGR2BGRA);
  Planes planes(bgra.cols, bgra.rows);
  const YuvMatrix matrix = *YuvMatrixOf(1);
  Yuv420FromBgra(bgra.data, static_cast<ptrdiff_t>(bgra.step[0]), bgra.cols, bgra.rows, matrix,
                 false,
                 {planes.y.data(), planes.u.data(), planes.v.data(), planes.lumaWidth,
                  planes.chromaWidth, planes.chromaWidth});
  // Our conversion out takes 2x2 means, sited in the middle of each block.
  const cv::Mat back = Convert(planes, bgra.cols, bgra.rows, matrix, false, ChromaSiting::kCenter);
  const double mean = cv::norm(back, bgra, cv::NORM_L1) / static_cast<double>(bgra.total() * 4);
  // The baboon's fur is detail at every pixel, which 4:2:0 keeps in luma only.
  EXPECT_LT(mean, 4.0);
  cv::Mat grayIn;
  cv::Mat grayBack;
  cv::cvtColor(bgra, grayIn, cv::COLOR_BGRA2GRAY);
  cv::cvtColor(back, grayBack, cv::COLOR_BGRA2GRAY);
  EXPECT_LT(cv::norm(grayIn, grayBack, cv::NORM_L1) / static_cast<double>(grayIn.total()), 1.5);
}

TEST(BgraFromYuv420, NullPlanesAndEmptySizesWriteNothing) {
  const Planes planes = RandomPlanes(6, 4, 7);
  const YuvMatrix matrix = *YuvMatrixOf(1);
  cv::Mat bgra(4, 6, CV_8UC4, cv::Scalar::all(0xAA));
  const auto step = static_cast<ptrdiff_t>(bgra.step[0]);
  for (int missing = 0; missing < 3; ++missing) {
    Yuv420Source source = planes.source();
    (missing == 0 ? source.y : missing == 1 ? source.u : source.v) = nullptr;
    BgraFromYuv420(source, 6, 4, matrix, false, ChromaSiting::kLeft, bgra.data, step);
  }
  BgraFromYuv420(planes.source(), 6, 4, matrix, false, ChromaSiting::kLeft, nullptr, step);
  BgraFromYuv420(planes.source(), 0, 4, matrix, false, ChromaSiting::kLeft, bgra.data, step);
  BgraFromYuv420(planes.source(), 6, -2, matrix, false, ChromaSiting::kLeft, bgra.data, step);
  EXPECT_EQ(cv::countNonZero(bgra.reshape(1) != 0xAA), 0);
}

}  // namespace
}  // namespace vitrella::host
