// The host's own BGRA to YUV 4:2:0 conversion: the matrices' known values, the ranges, the
// mean of each 2x2 block, odd sizes, bad arguments, and swscale's result on a real
// photograph.
#include "host/yuv420_from_bgra.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

extern "C" {
#include <libswscale/swscale.h>
}

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace vitrella::host {
namespace {

struct Planes {
  Planes(int width, int height)
      : chromaWidth((width + 1) / 2),
        y(static_cast<size_t>(width) * height, 0xAA),
        u(static_cast<size_t>(chromaWidth) * ((height + 1) / 2), 0xAA),
        v(u.size(), 0xAA),
        lumaWidth(width) {}
  Yuv420Planes view() {
    return {y.data(), u.data(), v.data(), lumaWidth, chromaWidth, chromaWidth};
  }
  int chromaWidth;
  std::vector<uint8_t> y, u, v;
  int lumaWidth;
};

cv::Mat Flat(int width, int height, cv::Scalar bgra) {
  return cv::Mat(height, width, CV_8UC4, bgra);
}

Planes Convert(const cv::Mat& picture, int colorSpace, bool fullRange) {
  Planes planes(picture.cols, picture.rows);
  Yuv420FromBgra(picture.data, static_cast<ptrdiff_t>(picture.step[0]), picture.cols, picture.rows,
                 *YuvMatrixOf(colorSpace), fullRange, planes.view());
  return planes;
}

TEST(Yuv420FromBgra, FlatColoursGiveTheMatricesValuesInEitherRange) {
  struct Case {
    int colorSpace;
    bool fullRange;
    cv::Scalar bgra;
    int y, u, v;
  };
  const Case cases[] = {
      {1, false, {255, 255, 255, 255}, 235, 128, 128}, {1, false, {0, 0, 0, 255}, 16, 128, 128},
      {1, false, {0, 0, 255, 255}, 63, 102, 240},  // BT.709 red
      {1, false, {255, 0, 0, 255}, 32, 240, 118},  // BT.709 blue
      {2, false, {0, 255, 0, 255}, 145, 54, 34},   // unspecified: BT.601 green
      {6, false, {0, 0, 255, 255}, 81, 90, 240},   // BT.601 red
      {9, false, {0, 255, 0, 255}, 164, 47, 25},   // BT.2020 green
      {1, true, {255, 255, 255, 255}, 255, 128, 128},  {1, true, {0, 0, 0, 255}, 0, 128, 128},
      {5, true, {0, 0, 255, 255}, 76, 85, 255},  // full-range BT.601 red
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << "space " << c.colorSpace << " full " << c.fullRange << " colour " << c.bgra);
    const Planes planes = Convert(Flat(6, 4, c.bgra), c.colorSpace, c.fullRange);
    for (uint8_t y : planes.y)
      EXPECT_EQ(y, c.y);
    for (uint8_t u : planes.u)
      EXPECT_EQ(u, c.u);
    for (uint8_t v : planes.v)
      EXPECT_EQ(v, c.v);
  }
  EXPECT_FALSE(YuvMatrixOf(4));  // FCC and the rest are swscale's
  EXPECT_FALSE(YuvMatrixOf(7));
}

TEST(Yuv420FromBgra, ChromaIsTheBlockMeanAndOddSizesRepeatTheirEdge) {
  // Three columns and three rows: the last chroma column and row take the edge pixels
  // twice, and the last luma column and row are written.
  cv::Mat picture = Flat(3, 3, {0, 0, 0, 255});
  picture.at<cv::Vec4b>(0, 0) = {0, 0, 255, 255};  // red in the first block
  picture.at<cv::Vec4b>(0, 2) = {255, 0, 0, 255};  // blue in the last column's block
  picture.at<cv::Vec4b>(2, 0) = {255, 255, 255, 255};
  const Planes planes = Convert(picture, 1, true);
  // Full range BT.709: red's Cr is 128 + 127.5, a quarter of it in a block of black.
  EXPECT_EQ(planes.v[0], 128 + 32);
  EXPECT_EQ(planes.u[1], 128 + 64);  // blue twice (its column repeated) among four
  EXPECT_EQ(planes.u[2], 128);       // white and black: no colour
  EXPECT_EQ(planes.y[2], 18);        // blue's luma, 0.0722 of 255
  EXPECT_EQ(planes.y[6], 255);
  for (uint8_t y : planes.y)
    EXPECT_NE(y, 0xAA);
}

TEST(Yuv420FromBgra, NullPlanesAndEmptySizesWriteNothing) {
  const cv::Mat picture = Flat(6, 4, {10, 20, 30, 255});
  Planes planes(6, 4);
  const YuvMatrix matrix = *YuvMatrixOf(1);
  for (int missing = 0; missing < 3; ++missing) {
    Yuv420Planes view = planes.view();
    (missing == 0 ? view.y : missing == 1 ? view.u : view.v) = nullptr;
    Yuv420FromBgra(picture.data, static_cast<ptrdiff_t>(picture.step[0]), 6, 4, matrix, false,
                   view);
  }
  Yuv420FromBgra(nullptr, 24, 6, 4, matrix, false, planes.view());
  Yuv420FromBgra(picture.data, 24, 0, 4, matrix, false, planes.view());
  Yuv420FromBgra(picture.data, 24, 6, -1, matrix, false, planes.view());
  for (const std::vector<uint8_t>* plane : {&planes.y, &planes.u, &planes.v}) {
    for (const uint8_t value : *plane)
      EXPECT_EQ(value, 0xAA);
  }
}

TEST(Yuv420FromBgra, MatchesSwscaleOnAPhotograph) {
  cv::Mat photo = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/baboon.jpg");
  ASSERT_FALSE(photo.empty());
  cv::Mat bgra;
  cv::cvtColor(photo, bgra, cv::COLOR_BGR2BGRA);
  const Planes ours = Convert(bgra, 1, false);
  Planes theirs(bgra.cols, bgra.rows);
  SwsContext* scaler = sws_getContext(bgra.cols, bgra.rows, AV_PIX_FMT_BGRA, bgra.cols, bgra.rows,
                                      AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr);
  ASSERT_NE(scaler, nullptr);
  const int* coefficients = sws_getCoefficients(1);
  sws_setColorspaceDetails(scaler, coefficients, 1, coefficients, 0, 0, 1 << 16, 1 << 16);
  const uint8_t* source[4] = {bgra.data, nullptr, nullptr, nullptr};
  const int sourceStrides[4] = {static_cast<int>(bgra.step[0]), 0, 0, 0};
  Yuv420Planes view = theirs.view();
  uint8_t* planes[4] = {view.y, view.u, view.v, nullptr};
  const int strides[4] = {static_cast<int>(view.yPitch), static_cast<int>(view.uPitch),
                          static_cast<int>(view.vPitch), 0};
  sws_scale(scaler, source, sourceStrides, 0, bgra.rows, planes, strides);
  sws_freeContext(scaler);
  // Luma to the rounding; chroma differs by swscale's vertical filter, which reaches past
  // the 2x2 block: on average under a level.
  int worstLuma = 0;
  for (size_t i = 0; i < ours.y.size(); ++i)
    worstLuma = std::max(worstLuma, std::abs(ours.y[i] - theirs.y[i]));
  EXPECT_LE(worstLuma, 1);
  double chromaDifference = 0;
  for (size_t i = 0; i < ours.u.size(); ++i) {
    chromaDifference += std::abs(ours.u[i] - theirs.u[i]) + std::abs(ours.v[i] - theirs.v[i]);
  }
  EXPECT_LT(chromaDifference / (2.0 * static_cast<double>(ours.u.size())), 1.0);
}

}  // namespace
}  // namespace vitrella::host
