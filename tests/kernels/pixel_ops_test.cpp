// Per-pixel kernels on every code path: gray against OpenCV, the 4:2:2 decoder and the
// colour twist against the plain formulas, conversions, compositing and channel moves.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "common/kernel_variants.h"
#include "kernels/arithmetic.h"
#include "kernels/channels.h"
#include "kernels/composite.h"
#include "kernels/convert.h"
#include "kernels/gray.h"
#include "kernels/yuy2.h"

namespace vitrella::kernels {
namespace {

cv::Mat RandomMat(int rows, int cols, int type, uint32_t seed) {
  cv::Mat m(rows, cols, type);
  cv::RNG random(seed);
  if (CV_MAT_DEPTH(type) == CV_32F) {
    random.fill(m, cv::RNG::UNIFORM, -0.25, 1.25);
  } else {
    random.fill(m, cv::RNG::UNIFORM, 0, 256);
  }
  return m;
}

ImageView ViewOf(cv::Mat& m) {
  return {m.data, static_cast<ptrdiff_t>(m.step[0]), m.cols, m.rows};
}

class PixelKernels : public OnEveryKernelPath {};

TEST_P(PixelKernels, GrayMatchesOpenCvExactly) {
  for (int width : {1, 7, 33, 640}) {
    cv::Mat bgra = RandomMat(5, width, CV_8UC4, width);
    cv::Mat expected;
    cv::cvtColor(bgra, expected, cv::COLOR_BGRA2GRAY);
    cv::Mat gray(5, width, CV_8UC1, cv::Scalar(7));
    ASSERT_EQ(ToGray8u(ViewOf(bgra), 4, {0, 1, 2}, ViewOf(gray)), kOk);
    EXPECT_EQ(cv::norm(gray, expected, cv::NORM_INF), 0) << width;

    // The same picture as ARGB gives the same gray.
    cv::Mat argb;
    cv::mixChannels(std::vector<cv::Mat>{bgra},
                    std::vector<cv::Mat>{argb = cv::Mat(5, width, CV_8UC4)},
                    std::vector<int>{0, 3, 1, 2, 2, 1, 3, 0});
    ASSERT_EQ(ToGray8u(ViewOf(argb), 4, {3, 2, 1}, ViewOf(gray)), kOk);
    EXPECT_EQ(cv::norm(gray, expected, cv::NORM_INF), 0) << width;
  }
}

TEST_P(PixelKernels, GrayOfFloatsAndIntoFloats) {
  cv::Mat bgra = RandomMat(3, 9, CV_8UC4, 1);
  cv::Mat asFloat(3, 9, CV_32FC1);
  ASSERT_EQ(ToGray8uTo32f(ViewOf(bgra), 4, {0, 1, 2}, ViewOf(asFloat)), kOk);
  cv::Mat unit;
  bgra.convertTo(unit, CV_32FC4, 1.0 / 255.0);
  cv::Mat fromFloat(3, 9, CV_32FC1);
  ASSERT_EQ(ToGray32f(ViewOf(unit), {0, 1, 2}, ViewOf(fromFloat)), kOk);
  cv::Mat backToBytes(3, 9, CV_8UC1);
  ASSERT_EQ(ToGray32fTo8u(ViewOf(unit), {0, 1, 2}, ViewOf(backToBytes)), kOk);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 9; ++x) {
      const cv::Vec4b p = bgra.at<cv::Vec4b>(y, x);
      const double gray = (0.114 * p[0] + 0.587 * p[1] + 0.299 * p[2]) / 255.0;
      EXPECT_NEAR(asFloat.at<float>(y, x), gray, 1e-6);
      EXPECT_NEAR(fromFloat.at<float>(y, x), gray, 1e-6);
      EXPECT_NEAR(backToBytes.at<uint8_t>(y, x), gray * 255.0, 0.5 + 1e-3);
    }
  }
  EXPECT_EQ(ToGray8u(ViewOf(bgra), 4, {0, 1, 4}, ViewOf(backToBytes)), kBadChannel);
}

// The decoder's formulas, written out.
uint8_t Clamp16(int64_t v) {
  return static_cast<uint8_t>(std::clamp<int64_t>(v >> 16, 0, 255));
}

TEST_P(PixelKernels, DecodesPairsWithTheFixedPointFormulas) {
  for (int width : {2, 3, 5, 17, 64, 67}) {
    cv::Mat yuy2 = RandomMat(3, width * 2, CV_8UC1, width);
    cv::Mat bgra(3, width, CV_8UC4, cv::Scalar::all(9));
    const ConstImageView src{yuy2.data, static_cast<ptrdiff_t>(yuy2.step[0]), width, 3};
    ASSERT_EQ(YUY2ToBGRA(src, ViewOf(bgra), 200), kOk);
    for (int y = 0; y < 3; ++y) {
      const uint8_t* in = yuy2.ptr(y);
      for (int x = 0; x < width; ++x) {
        const int pair = x & ~1;
        const int luma = in[2 * x];
        const int cb = in[2 * pair + 1];
        const int cr = pair + 1 < width ? in[2 * pair + 3] : 128;  // a lone last pixel
        const cv::Vec4b got = bgra.at<cv::Vec4b>(y, x);
        ASSERT_EQ(got[0], Clamp16(luma * 76284 + cb * 132186 - 18140365)) << width << " " << x;
        ASSERT_EQ(got[1], Clamp16(luma * 76284 - cb * 25690 - cr * 53281 + 8887730));
        ASSERT_EQ(got[2], Clamp16(luma * 76284 + cr * 104595 - 14608761));
        ASSERT_EQ(got[3], 200);
      }
    }
  }
}

TEST_P(PixelKernels, TwistsColoursAndKeepsAlpha) {
  const float m[3][4] = {{0.5f, 0.25f, -1.0f, 0.1f}, {2.0f, 0.0f, 0.5f, -0.2f}, {1, 1, 1, 0}};
  for (int first : {0, 1}) {
    cv::Mat in = RandomMat(4, 37, CV_32FC4, first + 3);
    cv::Mat out(4, 37, CV_32FC4);
    ASSERT_EQ(ColorTwist32f_C4(ViewOf(in), ViewOf(out), m, first), kOk);
    const int other = first == 0 ? 3 : 0;
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 37; ++x) {
        const cv::Vec4f p = in.at<cv::Vec4f>(y, x);
        const cv::Vec4f q = out.at<cv::Vec4f>(y, x);
        for (int r = 0; r < 3; ++r) {
          const float want =
              m[r][0] * p[first] + m[r][1] * p[first + 1] + m[r][2] * p[first + 2] + m[r][3];
          ASSERT_FLOAT_EQ(q[first + r], want);
        }
        ASSERT_EQ(q[other], p[other]);
      }
    }
    // In place gives the same floats.
    ASSERT_EQ(ColorTwist32f_C4(ViewOf(in), ViewOf(in), m, first), kOk);
    EXPECT_EQ(cv::norm(in, out, cv::NORM_INF), 0);
  }
}

TEST_P(PixelKernels, MovesAByteChannelIntoFourBytePixelsAndKeepsTheRest) {
  for (int width : {1, 7, 33, 130}) {
    for (int from : {1, 4}) {
      cv::Mat src = RandomMat(3, width, from == 1 ? CV_8UC1 : CV_8UC4, width);
      cv::Mat dst = RandomMat(3, width, CV_8UC4, width + 1);
      const cv::Mat before = dst.clone();
      const int32_t fromChannel = from == 1 ? 0 : 2;
      ASSERT_EQ(CopyChannel8u(ViewOf(src), from, fromChannel, ViewOf(dst), 4, 3), kOk);
      for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < width; ++x) {
          const uint8_t want = from == 1 ? src.at<uint8_t>(y, x) : src.at<cv::Vec4b>(y, x)[2];
          for (int c = 0; c < 4; ++c) {
            ASSERT_EQ(dst.at<cv::Vec4b>(y, x)[c], c == 3 ? want : before.at<cv::Vec4b>(y, x)[c])
                << "width " << width << " from " << from << " at " << x;
          }
        }
      }
    }
  }
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(PixelKernels);

TEST(Yuy2, EncodesPairsAndAnOddLastPixel) {
  // Two pixels: white and black, then a lone mid-grey pixel.
  uint8_t bgra[12] = {255, 255, 255, 255, 0, 0, 0, 255, 128, 128, 128, 255};
  uint8_t yuy2[6] = {};
  ASSERT_EQ(BGRAToYUY2(ConstImageView{bgra, 12, 3, 1}, ImageView{yuy2, 6, 3, 1}), kOk);
  const auto luma = [](int b, int g, int r) {
    return (b * 6423 + g * 33030 + r * 16843 + 0x108000) >> 16;
  };
  EXPECT_EQ(yuy2[0], luma(255, 255, 255));
  EXPECT_EQ(yuy2[2], luma(0, 0, 0));
  EXPECT_EQ(yuy2[1],
            static_cast<uint8_t>(((255 * 28770 - 255 * 19071 - 255 * 9699 + 0x4000) >> 17) + 128));
  EXPECT_EQ(yuy2[4], luma(128, 128, 128));
  EXPECT_EQ(yuy2[5],
            static_cast<uint8_t>(((128 * 28770 - 128 * 19071 - 128 * 9699 + 0x2000) >> 16) + 128));
  EXPECT_EQ(BGRAToYUY2(ConstImageView{bgra, 12, 1, 1}, ImageView{yuy2, 6, 1, 1}), kBadSize);
  EXPECT_EQ(YUY2ToBGRA(ConstImageView{yuy2, 6, 1, 1}, ImageView{bgra, 12, 1, 1}, 0), kBadSize);
}

TEST(Yuy2, RoundTripStaysCloseOnSmoothColours) {
  cv::Mat bgra(4, 64, CV_8UC4);
  for (int x = 0; x < 64; ++x) {
    for (int y = 0; y < 4; ++y)
      bgra.at<cv::Vec4b>(y, x) = cv::Vec4b(60 + x, 100 + x / 2, 180 - x, 255);
  }
  cv::Mat yuy2(4, 128, CV_8UC1);
  cv::Mat back(4, 64, CV_8UC4);
  ASSERT_EQ(BGRAToYUY2(ViewOf(bgra), ImageView{yuy2.data, 128, 64, 4}), kOk);
  ASSERT_EQ(YUY2ToBGRA(ConstImageView{yuy2.data, 128, 64, 4}, ViewOf(back), 255), kOk);
  EXPECT_LE(cv::norm(back, bgra, cv::NORM_INF), 4);
}

TEST(Conversions, ByteAndFloatPairs) {
  uint8_t bgra[8] = {0, 128, 255, 64, 1, 2, 3, 4};
  float floats[8];
  ASSERT_EQ(BytesToUnitFloats_C4(ConstImageView{bgra, 8, 2, 1},
                                 ImageView{reinterpret_cast<uint8_t*>(floats), 32, 2, 1}, true),
            kOk);
  EXPECT_FLOAT_EQ(floats[0], 64 * 0.003921569f);  // reversed
  EXPECT_FLOAT_EQ(floats[3], 0.0f);
  float wild[4] = {-0.5f, 0.5f, 1.5f, std::nanf("")};
  uint8_t bytes[4];
  ASSERT_EQ(UnitFloatsToBytes_C4(ConstImageView{reinterpret_cast<uint8_t*>(wild), 16, 1, 1},
                                 ImageView{bytes, 4, 1, 1}, false),
            kOk);
  EXPECT_EQ(bytes[0], 0);
  EXPECT_EQ(bytes[1], 128);  // 127.5 + 0.5, truncated
  EXPECT_EQ(bytes[2], 255);
  EXPECT_EQ(bytes[3], 0);
  float raw[4] = {-3.0f, 2.5f, 3.5f, 300.0f};
  ASSERT_EQ(FloatToByte(ConstImageView{reinterpret_cast<uint8_t*>(raw), 16, 1, 1},
                        ImageView{bytes, 4, 1, 1}, 4, 1),
            kOk);
  EXPECT_EQ(std::vector<int>(bytes, bytes + 4),
            (std::vector<int>{0, 2, 4, 255}));  // nearest, ties even
  ASSERT_EQ(FloatToByte(ConstImageView{reinterpret_cast<uint8_t*>(raw), 16, 1, 1},
                        ImageView{bytes, 4, 1, 1}, 4, 0),
            kOk);
  EXPECT_EQ(std::vector<int>(bytes, bytes + 4), (std::vector<int>{0, 2, 3, 255}));  // truncated
  // Rounding agrees with nearbyint on every 1/256 step over the range and just beyond it,
  // ties and NaN included.
  std::vector<float> steps;
  for (int32_t i = -512; i <= 256 * 256 + 512; ++i)
    steps.push_back(static_cast<float>(i) / 256.0f);
  steps.push_back(std::nanf(""));
  std::vector<uint8_t> rounded(steps.size());
  const auto count = static_cast<int32_t>(steps.size());
  ASSERT_EQ(
      FloatToByte(ConstImageView{reinterpret_cast<uint8_t*>(steps.data()), count * 4, count, 1},
                  ImageView{rounded.data(), count, count, 1}, 1, 1),
      kOk);
  for (size_t i = 0; i < steps.size(); ++i) {
    const float v = steps[i] > 0.0f ? std::min(steps[i], 255.0f) : 0.0f;
    ASSERT_EQ(rounded[i], static_cast<uint8_t>(std::nearbyint(v))) << steps[i];
  }
  // The scaled forms equal the conversion after a multiplication, and a division after the
  // conversion.
  std::vector<uint8_t> scaled(steps.size());
  ASSERT_EQ(ScaledFloatToByte(
                ConstImageView{reinterpret_cast<uint8_t*>(steps.data()), count * 4, count, 1},
                ImageView{scaled.data(), count, count, 1}, 1, 0.7f),
            kOk);
  std::vector<float> divided(steps.size());
  ASSERT_EQ(
      ByteToDividedFloat(ConstImageView{scaled.data(), count, count, 1},
                         ImageView{reinterpret_cast<uint8_t*>(divided.data()), count * 4, count, 1},
                         1, 255.0f),
      kOk);
  for (size_t i = 0; i < steps.size(); ++i) {
    const float product = steps[i] * 0.7f;
    const float v = product > 0.0f ? std::min(product, 255.0f) : 0.0f;
    ASSERT_EQ(scaled[i], static_cast<uint8_t>(std::nearbyint(v))) << steps[i];
    ASSERT_EQ(divided[i], static_cast<float>(scaled[i]) / 255.0f);
  }
}

TEST(Composite, BytesFollowTheTruncatingFormulas) {
  cv::Mat fg = RandomMat(3, 19, CV_8UC4, 5);
  cv::Mat bg = RandomMat(3, 19, CV_8UC4, 6);
  cv::Mat out(3, 19, CV_8UC4);
  for (bool premultiplied : {false, true}) {
    for (int alpha : {0, 3}) {
      ASSERT_EQ(Composite8u_C4(ViewOf(fg), ViewOf(bg), ViewOf(out), alpha, premultiplied), kOk);
      for (int x = 0; x < 19; ++x) {
        const cv::Vec4b f = fg.at<cv::Vec4b>(1, x), b = bg.at<cv::Vec4b>(1, x),
                        o = out.at<cv::Vec4b>(1, x);
        const int fa = f[alpha];
        const int t = std::min(255, b[alpha] * (255 - fa) / 255);
        for (int c = 0; c < 4; ++c) {
          int want;
          if (c == alpha) {
            want = premultiplied ? std::min(255, b[alpha] * (255 - fa) / 255 + fa)
                                 : std::min(255, fa + t);
          } else {
            want = premultiplied ? std::min(255, b[c] * (255 - fa) / 255 + f[c])
                                 : std::min(255, (f[c] * fa + b[c] * t) / 255);
          }
          ASSERT_EQ(o[c], want) << premultiplied << " alpha " << alpha << " x " << x << " c " << c;
        }
      }
    }
  }
}

TEST(Composite, FloatsClampAtOne) {
  float fg[4] = {0.9f, 0.8f, 0.7f, 0.5f};
  float bg[4] = {1.0f, 0.6f, 0.2f, 1.0f};
  float out[4];
  const auto view = [](float* p) { return ImageView{reinterpret_cast<uint8_t*>(p), 16, 1, 1}; };
  ASSERT_EQ(Composite32f_C4(view(fg), view(bg), view(out), 3, true), kOk);
  EXPECT_FLOAT_EQ(out[0], 1.0f);  // 0.5 + 0.9 clamps
  EXPECT_FLOAT_EQ(out[2], 0.2f * 0.5f + 0.7f);
  EXPECT_FLOAT_EQ(out[3], 1.0f);
  ASSERT_EQ(Composite32f_C4(view(fg), view(bg), view(out), 3, false), kOk);
  EXPECT_FLOAT_EQ(out[1], 0.8f * 0.5f + 0.6f * 0.5f);
  EXPECT_FLOAT_EQ(out[3], 1.0f);
}

TEST(Channels, ReverseSwapInvertAndTheirRefusals) {
  uint8_t px[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_EQ(ReverseChannels8u_C4(ConstImageView{px, 8, 2, 1}, ImageView{px, 8, 2, 1}), kOk);
  EXPECT_EQ(std::vector<int>(px, px + 8), (std::vector<int>{4, 3, 2, 1, 8, 7, 6, 5}));
  const int32_t order[4] = {3, 3, 0, 1};
  ASSERT_EQ(SwapChannels8u_C4(ImageView{px, 8, 2, 1}, order), kOk);
  EXPECT_EQ(std::vector<int>(px, px + 4), (std::vector<int>{1, 1, 4, 3}));
  const int32_t bad[4] = {0, 1, 2, 4};
  EXPECT_EQ(SwapChannels8u_C4(ImageView{px, 8, 2, 1}, bad), kBadChannel);
  ASSERT_EQ(InvertChannel8u(ImageView{px, 8, 2, 1}, 4, 2), kOk);
  EXPECT_EQ(px[2], 255 - 4);
  float gray[3] = {0.25f, 1.0f, -1.0f};
  ASSERT_EQ(InvertChannel32f(ImageView{reinterpret_cast<uint8_t*>(gray), 12, 3, 1}, 1, 3), kOk);
  EXPECT_EQ(std::vector<float>(gray, gray + 3), (std::vector<float>{0.75f, 0.0f, 2.0f}));
}

TEST(Arithmetic, SquareRootsMarkNegativesWithAQuietNaN) {
  float v[8] = {4.0f, 0.0f, -1.0f, 2.25f, -0.0f, 9.0f, 1.0f, 16.0f};
  EXPECT_EQ(SquareRoot32f(ImageView{reinterpret_cast<uint8_t*>(v), 32, 2, 1}), kSqrtOfNegative);
  uint32_t bits;
  std::memcpy(&bits, &v[2], 4);
  EXPECT_EQ(bits, 0xFFC00000u);
  EXPECT_EQ(v[0], 2.0f);
  EXPECT_EQ(v[1], 0.0f);
  EXPECT_EQ(v[3], 1.5f);
  EXPECT_EQ(v[7], 4.0f);
  float fine[4] = {1, 4, 9, 0};
  EXPECT_EQ(SquareRoot32f(ImageView{reinterpret_cast<uint8_t*>(fine), 16, 1, 1}), kOk);
}

TEST(Arithmetic, MaskedChannelsComeBackBitForBit) {
  float v[4] = {-0.0f, 2.0f, std::nanf(""), 3.0f};
  const float k[4] = {5, 5, 5, 5};
  ASSERT_EQ(AddChannels32f(ImageView{reinterpret_cast<uint8_t*>(v), 16, 1, 1}, k, 0x2), kOk);
  EXPECT_TRUE(std::signbit(v[0]));
  EXPECT_EQ(v[1], 7.0f);
  EXPECT_TRUE(std::isnan(v[2]));
  ASSERT_EQ(MultiplyChannels32f(ImageView{reinterpret_cast<uint8_t*>(v), 16, 1, 1}, k, 0x8), kOk);
  EXPECT_EQ(v[3], 15.0f);
  EXPECT_TRUE(std::signbit(v[0]));
  const float bounds[4] = {0, 8, 0, 0};
  ASSERT_EQ(ClampBelow32f(ImageView{reinterpret_cast<uint8_t*>(v), 16, 1, 1}, bounds), kOk);
  EXPECT_EQ(v[1], 8.0f);
}

}  // namespace
}  // namespace vitrella::kernels
