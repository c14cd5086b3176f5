// Pictures in and out of host frames, in the four formats and both row orders.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "host/host_error.h"
#include "host/host_frames.h"
#include "vitrella/pixel_format.h"

namespace vitrella::host {

void PrintTo(RowOrder order, std::ostream* out) {
  *out << (order == RowOrder::kTopFirst ? "top first" : "bottom first");
}

namespace {

// Odd sizes, and a different value in every channel of every pixel.
cv::Mat TestPicture() {
  cv::Mat picture(5, 7, CV_8UC4);
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      for (int c = 0; c < 4; ++c)
        picture.at<cv::Vec4b>(y, x)[c] = static_cast<uint8_t>(y * 50 + x * 7 + c);
    }
  }
  return picture;
}

bool Same(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

// The channels of one pixel of the frame, in memory order, as numbers 0 to 255.
std::array<double, 4> MemoryPixel(const HostFrame& frame, int memoryRow, int x) {
  const uint8_t* pixel = frame.data + memoryRow * frame.pitch + x * frame.pixelBytes;
  std::array<double, 4> channels{};
  for (int c = 0; c < 4; ++c) {
    if (frame.pixelBytes == 4) {
      channels[c] = pixel[c];
    } else {
      float value;
      std::memcpy(&value, pixel + c * 4, 4);
      channels[c] = value * 255.0;
    }
  }
  return channels;
}

class FrameLayout : public ::testing::TestWithParam<std::tuple<PixelFormat, RowOrder>> {};

TEST_P(FrameLayout, PictureGoesOverAndComesBackUnchanged) {
  const auto [format, order] = GetParam();
  const cv::Mat picture = TestPicture();
  OwnedFrame frame = PictureToFrame(picture, format, order);
  const HostFrame& record = frame.record();

  EXPECT_EQ(record.width, 7);
  EXPECT_EQ(record.height, 5);
  EXPECT_EQ(record.format, format);
  EXPECT_EQ(record.pixelBytes, PixelBytesOf(format));
  EXPECT_EQ(record.pitch % 64, 0);
  EXPECT_GE(record.pitch, 7 * record.pixelBytes);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(record.data) % 64, 0u);

  // Flipped clear means the picture's top row is the last row in memory.
  const bool topFirst = order == RowOrder::kTopFirst;
  EXPECT_EQ(record.flipped, topFirst ? 1 : 0);
  const int topRow = topFirst ? 0 : 4;
  const cv::Vec4b topLeft = picture.at<cv::Vec4b>(0, 0);  // b, g, r, a
  const bool argb = IsAlphaFirst(format);
  const std::array<double, 4> expected =
      argb ? std::array<double, 4>{double(topLeft[3]), double(topLeft[2]), double(topLeft[1]),
                                   double(topLeft[0])}
           : std::array<double, 4>{double(topLeft[0]), double(topLeft[1]), double(topLeft[2]),
                                   double(topLeft[3])};
  const std::array<double, 4> stored = MemoryPixel(record, topRow, 0);
  for (int c = 0; c < 4; ++c)
    EXPECT_NEAR(stored[c], expected[c], 1e-4) << "channel " << c;

  cv::Mat back = FrameToPicture(record);
  if (IsFloatFormat(format)) {
    ASSERT_EQ(back.type(), CV_32FC4);
    back.convertTo(back, CV_8U, 255.0);
  }
  EXPECT_TRUE(Same(back, picture));

  // The destination a render gets looks the same and starts black.
  OwnedFrame like = FrameLike(record);
  EXPECT_EQ(like.record().flipped, record.flipped);
  EXPECT_EQ(like.record().format, format);
  EXPECT_EQ(cv::countNonZero(FrameToPicture(like.record()).reshape(1)), 0);
}

INSTANTIATE_TEST_SUITE_P(
    AllFormats, FrameLayout,
    ::testing::Combine(::testing::Values(PixelFormat8BGRA, PixelFormat8ARGB, PixelFormat32FBGRA,
                                         PixelFormat32FARGB),
                       ::testing::Values(RowOrder::kTopFirst, RowOrder::kBottomFirst)),
    [](const auto& layout) {
      return std::string(FormatName(std::get<0>(layout.param))) +
             (std::get<1>(layout.param) == RowOrder::kTopFirst ? "_TopFirst" : "_BottomFirst");
    });

TEST(FrameToPicture, ReadsANegativePitchAsTheSamePicture) {
  // The same memory seen from its other end: negative pitch and the opposite flag.
  const cv::Mat picture = TestPicture();
  OwnedFrame frame = PictureToFrame(picture, PixelFormat8BGRA, RowOrder::kBottomFirst);
  HostFrame view = frame.record();
  view.data += (view.height - 1) * view.pitch;
  view.pitch = -view.pitch;
  view.flipped = 1;
  EXPECT_TRUE(Same(FrameToPicture(view), picture));
}

TEST(PictureToFrame, ScalesDeepPicturesToTheFormat) {
  cv::Mat deep(1, 2, CV_16UC4);
  deep.at<cv::Vec4w>(0, 0) = cv::Vec4w(65535, 257 * 100, 0, 32896);  // 32896 = 128.0 * 257
  deep.at<cv::Vec4w>(0, 1) = cv::Vec4w(1, 2, 3, 65535);
  const cv::Mat bytes =
      FrameToPicture(PictureToFrame(deep, PixelFormat8BGRA, RowOrder::kTopFirst).record());
  EXPECT_EQ(bytes.at<cv::Vec4b>(0, 0), cv::Vec4b(255, 100, 0, 128));
  EXPECT_EQ(bytes.at<cv::Vec4b>(0, 1), cv::Vec4b(0, 0, 0, 255));
  const cv::Mat floats =
      FrameToPicture(PictureToFrame(deep, PixelFormat32FARGB, RowOrder::kTopFirst).record());
  EXPECT_FLOAT_EQ(floats.at<cv::Vec4f>(0, 0)[0], 1.0f);
  EXPECT_FLOAT_EQ(floats.at<cv::Vec4f>(0, 1)[3], 1.0f);
}

TEST(FrameToPicture, RefusesRecordsThatDescribeNoPicture) {
  OwnedFrame frame = PictureToFrame(TestPicture(), PixelFormat32FBGRA, RowOrder::kTopFirst);
  HostFrame bad = frame.record();
  bad.data = nullptr;
  EXPECT_THROW(FrameToPicture(bad), HostError);
  bad = frame.record();
  bad.pixelBytes = 4;
  EXPECT_THROW(FrameToPicture(bad), HostError);
  bad = frame.record();
  bad.pitch = 16;
  EXPECT_THROW(FrameToPicture(bad), HostError);
  bad = frame.record();
  bad.format = PixelFormat8Gray;
  EXPECT_THROW(FrameToPicture(bad), HostError);
}

}  // namespace
}  // namespace vitrella::host
