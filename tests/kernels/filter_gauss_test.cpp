// The fixed Gaussian filters against a direct convolution written out here.
#include "kernels/filter_gauss.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "common/kernel_variants.h"

namespace vitrella::kernels {
namespace {

// A picture of width by height four-channel pixels inside a border of `border` pixels,
// with a padded pitch.
template <typename T>
struct Bordered {
  Bordered(int32_t w, int32_t h, int32_t border) : width(w), height(h), margin(border) {
    stride = (w + 2 * border) * 4 + 8;  // values per row, padded
    values.resize(static_cast<size_t>(stride) * (h + 2 * border));
  }
  T& At(int32_t x, int32_t y, int c) {
    return values[static_cast<size_t>(y + margin) * stride + (x + margin) * 4 + c];
  }
  ConstImageView Inner() const {
    return {reinterpret_cast<const uint8_t*>(values.data() + margin * stride + margin * 4),
            static_cast<ptrdiff_t>(stride * sizeof(T)), width, height};
  }
  int32_t width, height, margin, stride;
  std::vector<T> values;
};

template <typename T>
struct Plain {
  Plain(int32_t w, int32_t h) : width(w), height(h), values(static_cast<size_t>(w) * h * 4 + 8) {}
  T& At(int32_t x, int32_t y, int c) {
    return values[(static_cast<size_t>(y) * width + x) * 4 + c];
  }
  ImageView View() {
    return {reinterpret_cast<uint8_t*>(values.data()),
            static_cast<ptrdiff_t>(width * 4 * sizeof(T)), width, height};
  }
  int32_t width, height;
  std::vector<T> values;
};

constexpr int kWeights3[3] = {1, 2, 1};
constexpr int kWeights5[5] = {1, 4, 6, 4, 1};

template <typename T>
double Convolve(Bordered<T>& src, int32_t x, int32_t y, int c, int radius) {
  const int* weights = radius == 1 ? kWeights3 : kWeights5;
  double sum = 0;
  for (int dy = -radius; dy <= radius; ++dy) {
    for (int dx = -radius; dx <= radius; ++dx) {
      sum += weights[dy + radius] * weights[dx + radius] * double(src.At(x + dx, y + dy, c));
    }
  }
  return sum;
}

// Ties to even, the way a careful integer filter rounds.
uint8_t RoundHalfEven(double sum, double divisor) {
  return static_cast<uint8_t>(std::nearbyint(sum / divisor));
}

class FilterGaussOnEveryPath : public OnEveryKernelPath {};

TEST_P(FilterGaussOnEveryPath, EightBitMatchesTheConvolutionWithTiesToEven) {
  std::mt19937 random(42);
  for (int32_t mask : {kMask3x3, kMask5x5}) {
    const int radius = mask == kMask3x3 ? 1 : 2;
    for (int32_t width : {1, 7, 33, 70}) {
      Bordered<uint8_t> src(width, 5, radius);
      for (auto& v : src.values)
        v = static_cast<uint8_t>(random());
      Plain<uint8_t> dst(width, 5);
      ASSERT_EQ(FilterGauss8u_C4(src.Inner(), dst.View(), mask), kOk);
      const double divisor = radius == 1 ? 16 : 256;
      for (int32_t y = 0; y < 5; ++y) {
        for (int32_t x = 0; x < width; ++x) {
          for (int c = 0; c < 4; ++c) {
            ASSERT_EQ(dst.At(x, y, c), RoundHalfEven(Convolve(src, x, y, c, radius), divisor))
                << "mask " << mask << " width " << width << " at " << x << "," << y;
          }
        }
      }
    }
  }
}

TEST_P(FilterGaussOnEveryPath, HalvesRoundToTheEvenNeighbour) {
  // A lone value v in black gives v * 4 / 16 at its own place: 2 -> 0.5 -> 0,
  // 6 -> 1.5 -> 2, 10 -> 2.5 -> 2, 14 -> 3.5 -> 4.
  const std::pair<uint8_t, uint8_t> cases[] = {{2, 0}, {6, 2}, {10, 2}, {14, 4}};
  for (auto [value, expected] : cases) {
    Bordered<uint8_t> src(1, 1, 1);
    src.At(0, 0, 1) = value;
    Plain<uint8_t> dst(1, 1);
    ASSERT_EQ(FilterGauss8u_C4(src.Inner(), dst.View(), kMask3x3), kOk);
    EXPECT_EQ(dst.At(0, 0, 1), expected) << int(value);
  }
}

TEST_P(FilterGaussOnEveryPath, FloatsMatchTheConvolution) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> unit(-0.5f, 1.5f);
  for (int32_t mask : {kMask3x3, kMask5x5}) {
    const int radius = mask == kMask3x3 ? 1 : 2;
    Bordered<float> src(29, 4, radius);
    for (auto& v : src.values)
      v = unit(random);
    Plain<float> dst(29, 4);
    ASSERT_EQ(FilterGauss32f_C4(src.Inner(), dst.View(), mask), kOk);
    const double divisor = radius == 1 ? 16 : 256;
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 29; ++x) {
        for (int c = 0; c < 4; ++c) {
          EXPECT_NEAR(dst.At(x, y, c), Convolve(src, x, y, c, radius) / divisor, 1e-5);
        }
      }
    }
  }
}

TEST_P(FilterGaussOnEveryPath, AgreesWithOpenCvOnInteriorPixels) {
  // OpenCV's 3x3 Gaussian with sigma 0 is the same 1 2 1 kernel; its bytes round halves
  // up where ours go to even, so bytes may differ by one at exact halves only.
  cv::Mat bytes(40, 53, CV_8UC4);
  cv::randu(bytes, 0, 256);
  cv::Mat floats;
  bytes.convertTo(floats, CV_32FC4, 1.0 / 255.0);
  for (const cv::Mat& in : {bytes, floats}) {
    cv::Mat expected;
    cv::GaussianBlur(in, expected, cv::Size(3, 3), 0, 0, cv::BORDER_REPLICATE);
    cv::Mat ours(in.rows - 2, in.cols - 2, in.type());
    const int32_t pixel = static_cast<int32_t>(in.elemSize());
    const ConstImageView src{in.data + in.step[0] + pixel, static_cast<ptrdiff_t>(in.step[0]),
                             ours.cols, ours.rows};
    const ImageView dst{ours.data, static_cast<ptrdiff_t>(ours.step[0]), ours.cols, ours.rows};
    const bool isFloat = in.depth() == CV_32F;
    ASSERT_EQ(
        isFloat ? FilterGauss32f_C4(src, dst, kMask3x3) : FilterGauss8u_C4(src, dst, kMask3x3),
        kOk);
    const cv::Mat interior = expected(cv::Rect(1, 1, ours.cols, ours.rows));
    EXPECT_LE(cv::norm(ours, interior, cv::NORM_INF), isFloat ? 1e-6 : 1.0);
  }
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(FilterGaussOnEveryPath);

TEST(FilterGauss, ReportsBadArguments) {
  uint8_t pixels[64] = {};
  const ImageView good{pixels + 16, 16, 1, 1};
  EXPECT_EQ(FilterGauss8u_C4(good, good, 34), kBadMaskSize);
  EXPECT_EQ(FilterGauss8u_C4(ConstImageView{nullptr, 16, 1, 1}, good, kMask3x3), kNullPointer);
  EXPECT_EQ(FilterGauss8u_C4(good, ImageView{pixels, 16, 0, 1}, kMask3x3), kBadSize);
  EXPECT_EQ(FilterGauss32f_C4(good, ImageView{pixels, 0, 1, 1}, kMask3x3), kBadPitch);
}

}  // namespace
}  // namespace vitrella::kernels
