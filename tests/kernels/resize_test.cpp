// The resizes on every code path: nearest neighbour against OpenCV, bilinear and cubic
// against a slow reference written here, identities, area averaging, and the bytes that
// must stay untouched.
#include "kernels/resize.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "common/kernel_variants.h"

namespace vitrella::kernels {
namespace {

constexpr uint8_t kSentinel = 0xA5;

// A picture whose rows are padded by `padding` channel values (odd byte counts for bytes,
// which leaves rows off word alignment), with guard bytes around it; all bytes start as
// kSentinel, so that writes outside the pixels show.
class Picture {
 public:
  Picture(int32_t width, int32_t height, int type, int32_t padding = 0)
      : pitch_((width * CV_MAT_CN(type) + padding) * static_cast<int32_t>(CV_ELEM_SIZE1(type))),
        rowBytes_(width * static_cast<int32_t>(CV_ELEM_SIZE(type))),
        storage_(static_cast<size_t>(pitch_) * height + 2 * kGuard, kSentinel),
        mat(height, width, type, storage_.data() + kGuard, pitch_) {}

  ImageView View() { return {mat.data, pitch_, mat.cols, mat.rows}; }
  bool OutsideUntouched() const {
    for (size_t i = 0; i < storage_.size(); ++i) {
      const ptrdiff_t at = static_cast<ptrdiff_t>(i) - kGuard;
      const bool pixel = at >= 0 && at < ptrdiff_t{pitch_} * mat.rows && at % pitch_ < rowBytes_;
      if (!pixel && storage_[i] != kSentinel) return false;
    }
    return true;
  }

 private:
  static constexpr ptrdiff_t kGuard = 64;
  int32_t pitch_;
  int32_t rowBytes_;
  std::vector<uint8_t> storage_;

 public:
  cv::Mat mat;
};

// The three variants by OpenCV type.
Status Resize(int type, ConstImageView src, Rect rect, ImageView dst, double fx, double fy,
              int32_t mode) {
  switch (type) {
    case CV_8UC4:
      return ResizeImage8u_C4(src, rect, dst, fx, fy, mode);
    case CV_32FC4:
      return ResizeImage32f_C4(src, rect, dst, fx, fy, mode);
    default:
      return ResizeImage8u_C1(src, rect, dst, fx, fy, mode);
  }
}

constexpr int kTypes[] = {CV_8UC4, CV_32FC4, CV_8UC1};

void FillRandom(cv::Mat& m, uint64_t seed) {
  cv::RNG random(seed);
  if (m.depth() == CV_32F) {
    random.fill(m, cv::RNG::UNIFORM, 0.0, 1.0);
  } else {
    random.fill(m, cv::RNG::UNIFORM, 0, 256);
  }
}

// Catmull-Rom as a kernel of the distance to a tap.
double CatmullRom(double d) {
  d = std::fabs(d);
  if (d < 1.0) return (1.5 * d - 2.5) * d * d + 1.0;
  if (d < 2.0) return ((-0.5 * d + 2.5) * d - 4.0) * d + 2.0;
  return 0.0;
}

// Channel c of the rectangle `area` of m sampled at (sx, sy): positions are clamped to
// the last pixel, taps to the rectangle.
double SlowSample(const cv::Mat& area, int c, double sx, double sy, bool cubic) {
  sx = std::fmin(sx, area.cols - 1.0);
  sy = std::fmin(sy, area.rows - 1.0);
  const int x0 = static_cast<int>(std::floor(sx));
  const int y0 = static_cast<int>(std::floor(sy));
  const int reach = cubic ? 2 : 1;
  double sum = 0.0;
  for (int y = y0 - reach + 1; y <= y0 + reach; ++y) {
    for (int x = x0 - reach + 1; x <= x0 + reach; ++x) {
      const double w =
          cubic ? CatmullRom(sx - x) * CatmullRom(sy - y)
                : std::fmax(0.0, 1.0 - std::fabs(sx - x)) * std::fmax(0.0, 1.0 - std::fabs(sy - y));
      const int cx = std::clamp(x, 0, area.cols - 1);
      const int cy = std::clamp(y, 0, area.rows - 1);
      const double v = area.depth() == CV_32F ? area.ptr<float>(cy)[cx * area.channels() + c]
                                              : area.ptr<uint8_t>(cy)[cx * area.channels() + c];
      sum += w * v;
    }
  }
  return sum;
}

double ValueAt(const cv::Mat& m, int x, int y, int c) {
  return m.depth() == CV_32F ? m.ptr<float>(y)[x * m.channels() + c]
                             : m.ptr<uint8_t>(y)[x * m.channels() + c];
}

class ResizeOnEveryPath : public OnEveryKernelPath {};

TEST_P(ResizeOnEveryPath, NearestMatchesOpenCv) {
  for (int type : kTypes) {
    Picture src(37, 23, type, 3);
    FillRandom(src.mat, 1);
    for (double factor : {0.25, 0.5, 0.75, 1.5, 2.0, 3.0}) {
      cv::Mat expected;
      cv::resize(src.mat, expected, cv::Size(), factor, 1.0 / factor, cv::INTER_NEAREST);
      Picture dst(expected.cols, expected.rows, type, 5);
      ASSERT_EQ(
          Resize(type, src.View(), {0, 0, 37, 23}, dst.View(), factor, 1.0 / factor, kInterNearest),
          kOk);
      EXPECT_EQ(cv::norm(dst.mat, expected, cv::NORM_INF), 0) << type << " " << factor;
      EXPECT_TRUE(dst.OutsideUntouched());
    }
  }
}

// Odd widths, padded pitches, a source rectangle inside a larger picture whose other
// pixels must not be read, and a destination with sentinel bytes around it.
TEST_P(ResizeOnEveryPath, BilinearAndCubicMatchTheSlowReference) {
  for (int type : kTypes) {
    for (int32_t width : {1, 7, 33}) {
      const Rect rect{2, 3, width, 9};
      Picture src(width + 5, 14, type, 4);
      src.mat.setTo(cv::Scalar::all(type == CV_32FC4 ? 1e6 : 255));
      cv::Mat area = src.mat(cv::Rect(rect.x, rect.y, rect.width, rect.height));
      FillRandom(area, width);
      for (int32_t mode : {kInterLinear, kInterCubic}) {
        for (double factor : {0.37, 1.0, 2.5}) {
          const int32_t dw = static_cast<int32_t>(std::ceil(width * factor)) + 1;
          Picture dst(dw, 12, type, 3);
          ASSERT_EQ(Resize(type, src.View(), rect, dst.View(), factor, 1.3, mode), kOk);
          EXPECT_TRUE(dst.OutsideUntouched()) << type << " " << width;
          for (int y = 0; y < dst.mat.rows; ++y) {
            for (int x = 0; x < dw; ++x) {
              for (int c = 0; c < src.mat.channels(); ++c) {
                const double expected =
                    SlowSample(area, c, x / factor, y / 1.3, mode == kInterCubic);
                const double got = ValueAt(dst.mat, x, y, c);
                if (type == CV_32FC4) {
                  ASSERT_NEAR(got, expected, 1e-4);
                } else {
                  ASSERT_NEAR(got, std::clamp(expected, 0.0, 255.0), 0.5 + 1e-3)
                      << type << " width " << width << " mode " << mode << " factor " << factor
                      << " at " << x << "," << y;
                }
              }
            }
          }
        }
      }
    }
  }
}

TEST_P(ResizeOnEveryPath, FactorOneIsAnIdentityAndConstantsStayConstant) {
  for (int type : kTypes) {
    Picture src(33, 9, type, 2);
    FillRandom(src.mat, 5);
    Picture flat(7, 5, type);
    flat.mat.setTo(cv::Scalar::all(type == CV_32FC4 ? 0.3 : 201));
    for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic, kInterSuper}) {
      Picture same(33, 9, type, 1);
      ASSERT_EQ(Resize(type, src.View(), {0, 0, 33, 9}, same.View(), 1.0, 1.0, mode), kOk);
      EXPECT_EQ(cv::norm(same.mat, src.mat, cv::NORM_INF), 0) << type << " " << mode;

      Picture scaled(19, 11, type);
      ASSERT_EQ(Resize(type, flat.View(), {0, 0, 7, 5}, scaled.View(), 2.7, 2.2, mode), kOk);
      cv::Mat expected(11, 19, type, cv::Scalar::all(type == CV_32FC4 ? 0.3 : 201));
      EXPECT_EQ(cv::norm(scaled.mat, expected, cv::NORM_INF), 0) << type << " " << mode;
    }
  }
}

// A ramp stays a ramp along the positions x / factor, away from the clamped edges.
TEST_P(ResizeOnEveryPath, LinearRampsStayLinear) {
  Picture src(40, 20, CV_32FC4);
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 40; ++x) {
      for (int c = 0; c < 4; ++c)
        src.mat.ptr<float>(y)[4 * x + c] = 3.0f * x - 2.0f * y + c;
    }
  }
  for (int32_t mode : {kInterLinear, kInterCubic}) {
    Picture dst(70, 30, CV_32FC4);
    ASSERT_EQ(ResizeImage32f_C4(src.View(), {0, 0, 40, 20}, dst.View(), 1.75, 1.5, mode), kOk);
    for (int y = 3; y < 27; ++y) {
      for (int x = 4; x < 64; ++x) {
        EXPECT_NEAR(dst.mat.ptr<float>(y)[4 * x + 2], 3.0 * x / 1.75 - 2.0 * y / 1.5 + 2, 1e-4);
      }
    }
  }
}

TEST_P(ResizeOnEveryPath, SupersamplingByHalfAveragesBlocks) {
  for (int type : kTypes) {
    Picture src(34, 10, type, 1);
    FillRandom(src.mat, 9);
    Picture dst(17, 5, type, 3);
    ASSERT_EQ(Resize(type, src.View(), {0, 0, 34, 10}, dst.View(), 0.5, 0.5, kInterSuper), kOk);
    for (int y = 0; y < 5; ++y) {
      for (int x = 0; x < 17; ++x) {
        for (int c = 0; c < src.mat.channels(); ++c) {
          const double sum =
              ValueAt(src.mat, 2 * x, 2 * y, c) + ValueAt(src.mat, 2 * x + 1, 2 * y, c) +
              ValueAt(src.mat, 2 * x, 2 * y + 1, c) + ValueAt(src.mat, 2 * x + 1, 2 * y + 1, c);
          // Bytes: the mean rounded to nearest, ties to even.
          const double expected = type == CV_32FC4 ? sum / 4 : std::nearbyint(sum / 4);
          ASSERT_NEAR(ValueAt(dst.mat, x, y, c), expected, 1e-6) << type << " " << x << "," << y;
        }
      }
    }
    EXPECT_TRUE(dst.OutsideUntouched());

    // Enlarging along one axis, supersampling is bilinear.
    Picture super(40, 25, type);
    Picture linear(40, 25, type);
    ASSERT_EQ(Resize(type, src.View(), {0, 0, 34, 10}, super.View(), 0.9, 2.5, kInterSuper), kOk);
    ASSERT_EQ(Resize(type, src.View(), {0, 0, 34, 10}, linear.View(), 0.9, 2.5, kInterLinear), kOk);
    EXPECT_EQ(cv::norm(super.mat, linear.mat, cv::NORM_INF), 0);
  }
}

// The vector rows against the plain ones, byte for byte, including floats.
TEST_P(ResizeOnEveryPath, GivesTheBytesOfThePlainLoops) {
  const KernelVariant reference{"reference", 0};
  for (int type : kTypes) {
    Picture src(61, 31, type, 3);  // byte rows off word alignment
    FillRandom(src.mat, 17);
    for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic, kInterSuper}) {
      for (double factor : {0.3, 0.66, 1.9}) {
        const int32_t dw = static_cast<int32_t>(57 * factor) + 2;
        const int32_t dh = static_cast<int32_t>(29 * factor) + 2;
        Picture ours(dw, dh, type, 1);
        Picture plain(dw, dh, type, 1);
        const Rect rect{3, 1, 57, 29};
        ASSERT_EQ(Resize(type, src.View(), rect, ours.View(), factor, factor * 1.1, mode), kOk);
        UseKernelVariant(reference);
        ASSERT_EQ(Resize(type, src.View(), rect, plain.View(), factor, factor * 1.1, mode), kOk);
        UseKernelVariant(GetParam());
        ASSERT_EQ(cv::norm(ours.mat, plain.mat, cv::NORM_INF), 0)
            << type << " mode " << mode << " factor " << factor;
        EXPECT_TRUE(ours.OutsideUntouched());
      }
    }
  }
}

// A shifted resize writes exactly the pixels whose centres fall on the moved picture,
// with the values of the slow reference at (x - shift) / factor there, the same bytes as
// the plain loops, and leaves every other pixel as it was: whole shifts at factor 1 too.
TEST_P(ResizeOnEveryPath, ShiftedWritesWhereThePictureReaches) {
  const KernelVariant reference{"reference", 0};
  for (int type : {CV_8UC4, CV_32FC4}) {
    Picture src(23, 13, type, 3);
    FillRandom(src.mat, 5);
    struct Move {
      double factor, xs, ys;
    };
    for (const Move m :
         {Move{1.0, 4.0, -3.0}, Move{1.0, 2.5, 1.25}, Move{1.0, 0.012, -0.3}, Move{2.5, -20.3, 3.7},
          Move{0.6, 7.0, -1.5}, Move{5.0, -46.0, -26.0}, Move{1.0, 40.0, 0.0}}) {
      for (int32_t mode : {kInterLinear, kInterCubic}) {
        Picture dst(27, 17, type, 2);
        Picture plain(27, 17, type, 2);
        const auto resize = type == CV_8UC4 ? ResizeShifted8u_C4 : ResizeShifted32f_C4;
        ASSERT_EQ(resize(src.View(), dst.View(), m.factor, m.factor, m.xs, m.ys, mode), kOk);
        UseKernelVariant(reference);
        ASSERT_EQ(resize(src.View(), plain.View(), m.factor, m.factor, m.xs, m.ys, mode), kOk);
        UseKernelVariant(GetParam());
        EXPECT_TRUE(dst.OutsideUntouched());
        EXPECT_EQ(std::memcmp(dst.mat.data, plain.mat.data, dst.mat.step * dst.mat.rows), 0)
            << "the plain loops differ, factor " << m.factor;
        for (int y = 0; y < dst.mat.rows; ++y) {
          for (int x = 0; x < dst.mat.cols; ++x) {
            const double cx = (x + 0.5 - m.xs) / m.factor;
            const double cy = (y + 0.5 - m.ys) / m.factor;
            const bool inside = cx >= 0.0 && cx < 23.0 && cy >= 0.0 && cy < 13.0;
            const double sx = std::max(0.0, (x - m.xs) / m.factor);
            const double sy = std::max(0.0, (y - m.ys) / m.factor);
            for (int c = 0; c < 4; ++c) {
              const double got = ValueAt(dst.mat, x, y, c);
              if (!inside) {
                ASSERT_EQ(std::memcmp(dst.mat.ptr(y) + x * dst.mat.elemSize(),
                                      std::vector<uint8_t>(dst.mat.elemSize(), kSentinel).data(),
                                      dst.mat.elemSize()),
                          0)
                    << "written outside the picture at " << x << "," << y;
                continue;
              }
              const double expected = SlowSample(src.mat, c, sx, sy, mode == kInterCubic);
              if (type == CV_32FC4) {
                ASSERT_NEAR(got, expected, 1e-4) << x << "," << y;
              } else {
                ASSERT_NEAR(got, std::clamp(expected, 0.0, 255.0), 0.5 + 1e-3) << x << "," << y;
              }
            }
          }
        }
      }
    }
  }
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(ResizeOnEveryPath);

TEST(ResizeImage, ReportsBadArguments) {
  uint8_t pixels[256] = {};
  const ImageView view{pixels, 32, 4, 4};
  const Rect all{0, 0, 4, 4};
  EXPECT_EQ(ResizeImage8u_C4({nullptr, 32, 4, 4}, all, view, 1, 1, kInterLinear), kNullPointer);
  EXPECT_EQ(ResizeImage8u_C4(view, all, {pixels, 32, 0, 4}, 1, 1, kInterLinear), kBadSize);
  EXPECT_EQ(ResizeImage32f_C4(view, all, {pixels, 0, 1, 1}, 1, 1, kInterLinear), kBadPitch);
  for (const Rect outside :
       {Rect{1, 0, 4, 4}, Rect{0, -1, 2, 2}, Rect{0, 0, 0, 2}, Rect{2, 2, INT32_MAX, 1}}) {
    EXPECT_EQ(ResizeImage8u_C1(view, outside, view, 1, 1, kInterLinear), kBadSize);
  }
  for (double factor : {0.0, -1.0, HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(ResizeImage8u_C4(view, all, view, factor, 1, kInterLinear), kBadResizeFactor);
    EXPECT_EQ(ResizeImage8u_C4(view, all, view, 1, factor, kInterLinear), kBadResizeFactor);
  }
  for (int32_t mode : {0, 3, 16, kInterLinear | kSmoothEdges}) {
    EXPECT_EQ(ResizeImage8u_C4(view, all, view, 1, 1, mode), kBadInterpolation);
  }
  EXPECT_EQ(ResizeShifted8u_C4(view, view, 1, 1, std::nan(""), 0, kInterLinear), kBadResizeFactor);
  EXPECT_EQ(ResizeShifted32f_C4(view, view, 1, 1, 0, HUGE_VAL, kInterLinear), kBadResizeFactor);
  EXPECT_EQ(ResizeShifted8u_C4(view, view, 1, 1, 0, 0, kInterNearest), kBadInterpolation);
  EXPECT_EQ(ResizeShifted8u_C4({nullptr, 32, 4, 4}, view, 1, 1, 0, 0, kInterLinear), kNullPointer);
  // Tiny factors send every position past the picture: the last pixel, no overflow.
  pixels[3 * 32 + 15] = 9;
  uint8_t out[4 * 8 * 3];
  ASSERT_EQ(ResizeImage8u_C4(view, all, {out, 32, 8, 3}, 1e-300, 1e-300, kInterCubic), kOk);
  EXPECT_EQ(out[2 * 32 + 31], 9);
}

}  // namespace
}  // namespace vitrella::kernels
