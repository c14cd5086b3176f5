// The quadrilateral warps on every code path: the projective map against OpenCV and
// against known points, the pixels a warp may write, edge smoothing, refused shapes.
#include "kernels/warp_quad.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "common/kernel_variants.h"

namespace vitrella::kernels {
namespace {

constexpr uint8_t kSentinel = 0xA5;

// A picture whose rows are padded by `padding` channel values, with guard bytes around
// it; all bytes start as kSentinel, so that writes outside the pixels show.
class Picture {
 public:
  Picture(int32_t width, int32_t height, int type, int32_t padding = 0)
      : pitch_((width * 4 + padding) * static_cast<int32_t>(CV_ELEM_SIZE1(type))),
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
  // Whether the pixel's bytes all still hold kSentinel.
  bool Untouched(int x, int y) const {
    const uint8_t* p = mat.ptr(y) + x * mat.elemSize();
    return std::all_of(p, p + mat.elemSize(), [](uint8_t b) { return b == kSentinel; });
  }

 private:
  static constexpr ptrdiff_t kGuard = 64;
  int32_t pitch_;
  int32_t rowBytes_;
  std::vector<uint8_t> storage_;

 public:
  cv::Mat mat;
};

constexpr int kTypes[] = {CV_8UC4, CV_32FC4};

Status Warp(int type, ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
            Rect dstRect, const Quad dstQuad, int32_t interpolation) {
  return type == CV_8UC4
             ? WarpQuad8u_C4(src, srcRect, srcQuad, dst, dstRect, dstQuad, interpolation)
             : WarpQuad32f_C4(src, srcRect, srcQuad, dst, dstRect, dstQuad, interpolation);
}

Rect Whole(const cv::Mat& m) {
  return {0, 0, m.cols, m.rows};
}

// Byte pictures at 0..255, float pictures at 0..1.
double Scale(int type) {
  return type == CV_8UC4 ? 1.0 : 1.0 / 255.0;
}

// Signed distances of a point inside each edge, for either winding.
std::vector<double> Distances(const Quad q, double x, double y) {
  double area = 0.0;
  for (int i = 0; i < 4; ++i) {
    area += q[i][0] * q[(i + 1) % 4][1] - q[(i + 1) % 4][0] * q[i][1];
  }
  std::vector<double> d;
  for (int i = 0; i < 4; ++i) {
    const double* p = q[i];
    const double* n = q[(i + 1) % 4];
    const double ex = n[0] - p[0], ey = n[1] - p[1];
    d.push_back((ex * (y - p[1]) - ey * (x - p[0])) / std::hypot(ex, ey) * (area > 0 ? 1 : -1));
  }
  return d;
}

double Inside(const Quad q, double x, double y) {
  const std::vector<double> d = Distances(q, x, y);
  return *std::min_element(d.begin(), d.end());
}

cv::Mat SmoothPicture(int width, int height, int type) {
  cv::Mat m(height, width, CV_32FC4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 4; ++c) {
        m.ptr<float>(y)[4 * x + c] =
            static_cast<float>(128 + 100 * std::sin(0.2 * x + c) * std::cos(0.15 * y - c));
      }
    }
  }
  cv::Mat out;
  m.convertTo(out, type, Scale(type));
  return out;
}

class WarpQuadOnEveryPath : public OnEveryKernelPath {};

TEST_P(WarpQuadOnEveryPath, MatchesOpenCvWarpPerspectiveInside) {
  const Quad from = {{3, 2}, {60, 2}, {60, 45}, {3, 45}};
  const Quad rectangle = {{5, 4}, {74, 4}, {74, 55}, {5, 55}};
  const Quad perspective = {{10, 6}, {70, 12}, {66, 52}, {4, 44}};
  for (int type : kTypes) {
    Picture src(64, 48, type, 3);
    SmoothPicture(64, 48, type).copyTo(src.mat);
    for (const auto* to : {&rectangle, &perspective}) {
      std::vector<cv::Point2f> a, b;
      for (int i = 0; i < 4; ++i) {
        a.emplace_back(static_cast<float>(from[i][0]), static_cast<float>(from[i][1]));
        b.emplace_back(static_cast<float>((*to)[i][0]), static_cast<float>((*to)[i][1]));
      }
      cv::Mat expected(60, 80, type, cv::Scalar::all(0));
      cv::warpPerspective(src.mat, expected, cv::getPerspectiveTransform(a, b), expected.size(),
                          cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
      Picture dst(80, 60, type);
      dst.mat.setTo(cv::Scalar::all(0));
      ASSERT_EQ(Warp(type, src.View(), Whole(src.mat), from, dst.View(), Whole(dst.mat), *to,
                     kInterLinear),
                kOk);
      int compared = 0;
      for (int y = 0; y < 60; ++y) {
        for (int x = 0; x < 80; ++x) {
          if (Inside(*to, x, y) < 1.5) continue;
          for (int c = 0; c < 4; ++c) {
            // OpenCV places positions on a 1/32 pixel grid.
            const double ours =
                type == CV_8UC4 ? dst.mat.at<cv::Vec4b>(y, x)[c] : dst.mat.at<cv::Vec4f>(y, x)[c];
            const double theirs =
                type == CV_8UC4 ? expected.at<cv::Vec4b>(y, x)[c] : expected.at<cv::Vec4f>(y, x)[c];
            ASSERT_NEAR(ours, theirs, 2 * Scale(type)) << type << " at " << x << "," << y;
          }
          ++compared;
        }
      }
      EXPECT_GT(compared, 2000);
    }
  }
}

// A picture that holds its own coordinates: a warp then shows where each pixel sampled.
// Projective maps keep lines, so the crossing of the diagonals goes to the crossing.
TEST_P(WarpQuadOnEveryPath, PerspectiveMapsCornersAndTheDiagonalsCrossing) {
  const Quad from = {{10, 5}, {90, 12}, {80, 70}, {5, 60}};
  const Quad to = {{0, 0}, {60, 0}, {40, 40}, {0, 30}};  // diagonals cross at (20, 20)
  // The crossing of from's diagonals P0 P2 and P1 P3.
  const double ax = from[2][0] - from[0][0], ay = from[2][1] - from[0][1];
  const double bx = from[3][0] - from[1][0], by = from[3][1] - from[1][1];
  const double t =
      ((from[1][0] - from[0][0]) * by - (from[1][1] - from[0][1]) * bx) / (ax * by - ay * bx);
  const double cross[2] = {from[0][0] + t * ax, from[0][1] + t * ay};
  for (int type : kTypes) {
    Picture src(100, 80, type);
    for (int y = 0; y < 80; ++y) {
      for (int x = 0; x < 100; ++x) {
        if (type == CV_8UC4) {
          src.mat.at<cv::Vec4b>(y, x) = cv::Vec4b(x, y, 0, 255);
        } else {
          src.mat.at<cv::Vec4f>(y, x) = cv::Vec4f(x, y, 0, 1);
        }
      }
    }
    for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic}) {
      Picture dst(64, 48, type);
      ASSERT_EQ(Warp(type, src.View(), Whole(src.mat), from, dst.View(), Whole(dst.mat), to, mode),
                kOk);
      const auto sampled = [&](int x, int y, int c) {
        return type == CV_8UC4 ? double(dst.mat.at<cv::Vec4b>(y, x)[c])
                               : double(dst.mat.at<cv::Vec4f>(y, x)[c]);
      };
      // Nearest neighbour lands on whole pixels; bytes round, bilinear ones in fixed point.
      const double tolerance = mode == kInterNearest ? 0.5
                               : type == CV_8UC4     ? 0.5 + 1.0 / 32
                                                     : 1e-3;
      for (int i = 0; i < 4; ++i) {
        const int x = static_cast<int>(to[i][0]), y = static_cast<int>(to[i][1]);
        EXPECT_NEAR(sampled(x, y, 0), from[i][0], tolerance) << mode << " corner " << i;
        EXPECT_NEAR(sampled(x, y, 1), from[i][1], tolerance) << mode << " corner " << i;
      }
      EXPECT_NEAR(sampled(20, 20, 0), cross[0], tolerance) << mode;
      EXPECT_NEAR(sampled(20, 20, 1), cross[1], tolerance) << mode;
      // An affine map would send the crossing to the middle of the corners instead.
      EXPECT_GT(std::fabs(cross[0] - 46.25) + std::fabs(cross[1] - 36.75), 1.0);
    }
  }
}

TEST_P(WarpQuadOnEveryPath, WritesOnlyInsideTheQuadrilateralAndTheRectangle) {
  const Rect dstRect{6, 5, 35, 28};
  const Quad slanted = {{-5, 10.3}, {30.7, -3.2}, {47.1, 25.5}, {12.2, 44.9}};
  const Quad throughCentres = {{8, 7}, {30, 7}, {30, 25}, {8, 25}};  // edges on centres
  const Quad from = {{0, 0}, {19, 0}, {19, 14}, {0, 14}};
  for (int type : kTypes) {
    Picture src(20, 15, type);
    src.mat.setTo(cv::Scalar::all(7 * Scale(type)));
    for (const auto* to : {&slanted, &throughCentres}) {
      for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic}) {
        for (int32_t smooth : {0, kSmoothEdges}) {
          Picture dst(50, 40, type, 2);
          ASSERT_EQ(
              Warp(type, src.View(), Whole(src.mat), from, dst.View(), dstRect, *to, mode | smooth),
              kOk);
          EXPECT_TRUE(dst.OutsideUntouched());
          for (int y = 0; y < 40; ++y) {
            for (int x = 0; x < 50; ++x) {
              const bool inRect = x >= dstRect.x && x < dstRect.x + dstRect.width &&
                                  y >= dstRect.y && y < dstRect.y + dstRect.height;
              const double inside = Inside(*to, x, y);
              if (std::fabs(inside) < 1e-6 && to == &slanted) continue;
              const bool written = inRect && inside >= 0.0;
              ASSERT_EQ(dst.Untouched(x, y), !written)
                  << type << " mode " << (mode | smooth) << " at " << x << "," << y;
            }
          }
        }
      }
    }
  }
}

// With smoothing, pixels half a pixel or more inside every edge are the unsmoothed warp;
// nearer the edges the sample is laid over the old pixel by the documented coverage.
TEST_P(WarpQuadOnEveryPath, SmoothingBlendsOnlyAlongTheEdges) {
  const Quad to = {{10.3, 4.2}, {52.6, 9.9}, {47.2, 41.4}, {6.1, 33.7}};
  const Quad from = {{0, 0}, {29, 0}, {29, 19}, {0, 19}};
  for (int type : kTypes) {
    Picture src(30, 20, type);
    src.mat.setTo(cv::Scalar::all(200 * Scale(type)));
    Picture plain(64, 48, type);
    Picture smooth(64, 48, type);
    plain.mat.setTo(cv::Scalar::all(0));
    smooth.mat.setTo(cv::Scalar::all(0));
    ASSERT_EQ(Warp(type, src.View(), Whole(src.mat), from, plain.View(), Whole(plain.mat), to,
                   kInterLinear),
              kOk);
    ASSERT_EQ(Warp(type, src.View(), Whole(src.mat), from, smooth.View(), Whole(smooth.mat), to,
                   kInterLinear | kSmoothEdges),
              kOk);
    int blended = 0;
    for (int y = 0; y < 48; ++y) {
      for (int x = 0; x < 64; ++x) {
        const std::vector<double> d = Distances(to, x, y);
        const double inside = *std::min_element(d.begin(), d.end());
        const double got =
            type == CV_8UC4 ? smooth.mat.at<cv::Vec4b>(y, x)[1] : smooth.mat.at<cv::Vec4f>(y, x)[1];
        if (inside >= 0.5 + 1e-6 || inside < -1e-6) {
          ASSERT_EQ(std::memcmp(smooth.mat.ptr(y) + x * smooth.mat.elemSize(),
                                plain.mat.ptr(y) + x * plain.mat.elemSize(), smooth.mat.elemSize()),
                    0)
              << type << " at " << x << "," << y;
        } else if (inside >= 1e-6) {
          double coverage = 1.0;
          for (double di : d)
            coverage *= std::clamp(0.5 + di, 0.0, 1.0);
          const double tolerance = type == CV_8UC4 ? 0.5 + 1e-3 : 1e-5;
          ASSERT_NEAR(got, 200 * coverage * Scale(type), tolerance) << x << "," << y;
          ++blended;
        }
      }
    }
    EXPECT_GT(blended, 60);
  }
}

// A picture warped in strips cut along a column, slanted tops smoothed: where the strips
// meet, the column shows the picture, not a blend with what lay below.
TEST_P(WarpQuadOnEveryPath, StripsCutAlongAColumnJoinWithoutASeam) {
  for (int type : kTypes) {
    Picture src(17, 20, type);
    src.mat.setTo(cv::Scalar::all(200 * Scale(type)));
    Picture dst(17, 20, type);
    dst.mat.setTo(cv::Scalar::all(0));
    for (int x0 : {0, 8}) {
      const Quad from = {{double(x0), 0}, {x0 + 8.0, 0}, {x0 + 8.0, 19}, {double(x0), 19}};
      const Quad to = {
          {double(x0), 0.3 * x0}, {x0 + 8.0, 0.3 * (x0 + 8)}, {x0 + 8.0, 19}, {double(x0), 19}};
      ASSERT_EQ(Warp(type, src.View(), Whole(src.mat), from, dst.View(), Whole(dst.mat), to,
                     kInterLinear | kSmoothEdges),
                kOk);
    }
    for (int y = 6; y < 20; ++y) {
      for (int x = 0; x < 17; ++x) {
        const double v = type == CV_8UC4 ? dst.mat.at<cv::Vec4b>(y, x)[0]
                                         : dst.mat.at<cv::Vec4f>(y, x)[0] * 255.0;
        ASSERT_NEAR(v, 200, 1e-3) << type << " at " << x << "," << y;
      }
    }
  }
}

TEST_P(WarpQuadOnEveryPath, RefusesShapesThatAreNotConvexAndWritesNothing) {
  const double nan = std::nan("");
  const Quad bad[] = {{{0, 0}, {20, 0}, {5, 5}, {0, 20}},           // a dart
                      {{0, 0}, {20, 20}, {20, 0}, {0, 20}},         // crossed
                      {{0, 0}, {10, 0}, {20, 0}, {10, 10}},         // three corners on a line
                      {{0, 0}, {10, 0}, {10, 0}, {0, 10}},          // a repeated corner
                      {{0, 0}, {10, 10}, {20, 20}, {30, 30}},       // no area
                      {{8, 0}, {8, 0}, {8, 47}, {8, 47}},           // a strip of no width
                      {{0, 0}, {10, 0}, {10, nan}, {0, 10}},        // not a number
                      {{0, 0}, {HUGE_VAL, 0}, {10, 10}, {0, 10}}};  // infinite
  const Quad good = {{0, 0}, {15, 0}, {15, 11}, {0, 11}};
  for (int type : kTypes) {
    Picture src(16, 12, type);
    src.mat.setTo(cv::Scalar::all(0));
    for (const Quad& shape : bad) {
      Picture dst(16, 12, type);
      EXPECT_EQ(Warp(type, src.View(), Whole(src.mat), shape, dst.View(), Whole(dst.mat), good,
                     kInterLinear),
                kBadQuadrilateral);
      EXPECT_EQ(Warp(type, src.View(), Whole(src.mat), good, dst.View(), Whole(dst.mat), shape,
                     kInterLinear | kSmoothEdges),
                kBadQuadrilateral);
      for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 16; ++x)
          ASSERT_TRUE(dst.Untouched(x, y));
      }
    }
  }
}

// Either winding, as long as both agree, and any interpolation: the picture as it was.
TEST_P(WarpQuadOnEveryPath, IdentityIsExact) {
  const Quad forward = {{0, 0}, {32, 0}, {32, 18}, {0, 18}};
  const Quad backward = {{0, 18}, {32, 18}, {32, 0}, {0, 0}};
  for (int type : kTypes) {
    Picture src(33, 19, type, 1);
    cv::randu(src.mat, cv::Scalar::all(0), cv::Scalar::all(255 * Scale(type)));
    for (const auto* quad : {&forward, &backward}) {
      // Edges along rows and columns stay sharp, so smoothing leaves the identity too.
      for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic, kInterLinear | kSmoothEdges}) {
        Picture dst(33, 19, type, 3);
        ASSERT_EQ(
            Warp(type, src.View(), Whole(src.mat), *quad, dst.View(), Whole(dst.mat), *quad, mode),
            kOk);
        EXPECT_EQ(cv::norm(dst.mat, src.mat, cv::NORM_INF), 0) << type << " " << mode;
        EXPECT_TRUE(dst.OutsideUntouched());
      }
    }
  }
}

TEST_P(WarpQuadOnEveryPath, ReadsOnlyInsideTheSourceRectangle) {
  const Quad from = {{0, 0}, {39, 0}, {39, 29}, {0, 29}};  // beyond the rectangle
  const Quad to = {{2, 1}, {45, 4}, {41, 33}, {1, 30}};
  for (int type : kTypes) {
    Picture src(40, 30, type);
    src.mat.setTo(cv::Scalar::all(250 * Scale(type)));
    src.mat(cv::Rect(5, 4, 20, 15)).setTo(cv::Scalar::all(50 * Scale(type)));
    for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic}) {
      Picture dst(48, 36, type);
      ASSERT_EQ(Warp(type, src.View(), {5, 4, 20, 15}, from, dst.View(), Whole(dst.mat), to, mode),
                kOk);
      for (int y = 0; y < 36; ++y) {
        for (int x = 0; x < 48; ++x) {
          if (dst.Untouched(x, y)) continue;
          const double v = type == CV_8UC4 ? dst.mat.at<cv::Vec4b>(y, x)[2]
                                           : dst.mat.at<cv::Vec4f>(y, x)[2] * 255.0;
          ASSERT_NEAR(v, 50, 1e-3) << mode << " at " << x << "," << y;
        }
      }
    }
  }
}

// The vector rows against the plain ones on random perspective warps, byte for byte.
TEST_P(WarpQuadOnEveryPath, GivesTheBytesOfThePlainLoops) {
  const KernelVariant reference{"reference", 0};
  std::mt19937 random(3);
  std::uniform_real_distribution<double> jitter(-9.0, 9.0);
  for (int type : kTypes) {
    Picture src(71, 53, type, 3);
    cv::randu(src.mat, cv::Scalar::all(0), cv::Scalar::all(255 * Scale(type)));
    cv::Mat background(60, 90, type);
    cv::randu(background, cv::Scalar::all(0), cv::Scalar::all(255 * Scale(type)));
    for (int round = 0; round < 6; ++round) {
      const Quad from = {{2 + jitter(random) / 3, 3 + jitter(random) / 3},
                         {68 + jitter(random), 1 + jitter(random) / 3},
                         {60 + jitter(random), 50 + jitter(random) / 3},
                         {5 + jitter(random) / 3, 51 + jitter(random) / 3}};
      const Quad to = {{-4 + jitter(random), 2 + jitter(random)},
                       {85 + jitter(random), 6 + jitter(random)},
                       {80 + jitter(random), 55 + jitter(random)},
                       {9 + jitter(random), 62 + jitter(random)}};
      for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic}) {
        for (int32_t smooth : {0, kSmoothEdges}) {
          Picture ours(90, 60, type, 1);
          Picture plain(90, 60, type, 1);
          background.copyTo(ours.mat);
          background.copyTo(plain.mat);
          const Rect srcRect{1, 2, 69, 50};
          const Rect dstRect{0, 1, 88, 59};
          ASSERT_EQ(Warp(type, src.View(), srcRect, from, ours.View(), dstRect, to, mode | smooth),
                    kOk);
          UseKernelVariant(reference);
          ASSERT_EQ(Warp(type, src.View(), srcRect, from, plain.View(), dstRect, to, mode | smooth),
                    kOk);
          UseKernelVariant(GetParam());
          ASSERT_EQ(cv::norm(ours.mat, plain.mat, cv::NORM_INF), 0)
              << type << " round " << round << " mode " << (mode | smooth);
        }
      }
    }
  }
}

// A one-channel warp samples as the four-channel one does: each channel on its own, so the
// mask equals any channel of the same picture warped with four.
TEST_P(WarpQuadOnEveryPath, OneChannelGivesTheValuesOfEachOfFourChannels) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> jitter(-6.0, 6.0);
  for (int type : kTypes) {
    const int single = type == CV_8UC4 ? CV_8UC1 : CV_32FC1;
    cv::Mat mask(41, 37, single);
    cv::randu(mask, cv::Scalar::all(0), cv::Scalar::all(255 * Scale(type)));
    cv::Mat four;
    cv::merge(std::vector<cv::Mat>(4, mask), four);
    cv::Mat background(50, 45, single);
    cv::randu(background, cv::Scalar::all(0), cv::Scalar::all(255 * Scale(type)));
    cv::Mat background4;
    cv::merge(std::vector<cv::Mat>(4, background), background4);
    for (int round = 0; round < 4; ++round) {
      const Quad from = {{0, 0}, {36, 0}, {36, 40}, {0, 40}};
      const Quad to = {{-3 + jitter(random), 4 + jitter(random)},
                       {40 + jitter(random), -2 + jitter(random)},
                       {47 + jitter(random), 44 + jitter(random)},
                       {2 + jitter(random), 52 + jitter(random)}};
      for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic}) {
        for (int32_t smooth : {0, kSmoothEdges}) {
          cv::Mat one = background.clone();
          cv::Mat many = background4.clone();
          const ImageView oneView{one.data, static_cast<ptrdiff_t>(one.step), one.cols, one.rows};
          const ImageView manyView{many.data, static_cast<ptrdiff_t>(many.step), many.cols,
                                   many.rows};
          const ConstImageView maskView{mask.data, static_cast<ptrdiff_t>(mask.step), mask.cols,
                                        mask.rows};
          const ConstImageView fourView{four.data, static_cast<ptrdiff_t>(four.step), four.cols,
                                        four.rows};
          const Rect srcRect = Whole(mask);
          const Rect dstRect = Whole(one);
          const Status status =
              type == CV_8UC4
                  ? WarpQuad8u_C1(maskView, srcRect, from, oneView, dstRect, to, mode | smooth)
                  : WarpQuad32f_C1(maskView, srcRect, from, oneView, dstRect, to, mode | smooth);
          ASSERT_EQ(status, kOk);
          ASSERT_EQ(Warp(type, fourView, srcRect, from, manyView, dstRect, to, mode | smooth), kOk);
          std::vector<cv::Mat> channels;
          cv::split(many, channels);
          ASSERT_EQ(cv::norm(one, channels[round], cv::NORM_INF), 0)
              << type << " round " << round << " mode " << (mode | smooth);
        }
      }
    }
  }
}

// A source of pitch 0 stands for a picture whose rows all repeat its first: the warp of
// that one row equals the warp of the whole picture, bit for bit, at any angle.
TEST_P(WarpQuadOnEveryPath, ARowOfPitchZeroWarpsAsThePictureOfAlikeRows) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> jitter(-9.0, 9.0);
  for (int type : {CV_8UC1, CV_32FC1, CV_8UC4, CV_32FC4}) {
    const bool bytes = CV_MAT_DEPTH(type) == CV_8U;
    cv::Mat row(1, 90, type);
    cv::randu(row, cv::Scalar::all(0), cv::Scalar::all(bytes ? 255 : 1));
    cv::Mat whole;
    cv::repeat(row, 70, 1, whole);
    const Rect srcRect = Whole(whole);
    const Quad from = {{0, 0}, {89, 0}, {89, 69}, {0, 69}};
    for (int round = 0; round < 3; ++round) {
      const double turn = 0.7 + round;
      const double c = std::cos(turn), s = std::sin(turn);
      Quad to;
      for (int i = 0; i < 4; ++i) {
        const double u = from[i][0] - 45, v = from[i][1] - 35;
        to[i][0] = 40 + u * c + v * s + jitter(random);
        to[i][1] = 40 - u * s + v * c + jitter(random);
      }
      for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic}) {
        for (int32_t smooth : {0, kSmoothEdges}) {
          cv::Mat fromWhole(80, 80, type, cv::Scalar::all(0));
          cv::Mat fromRow = fromWhole.clone();
          const auto view = [](cv::Mat& m) {
            return ImageView{m.data, static_cast<ptrdiff_t>(m.step), m.cols, m.rows};
          };
          const ConstImageView wholeView{whole.data, static_cast<ptrdiff_t>(whole.step), whole.cols,
                                         whole.rows};
          const ConstImageView rowView{row.data, 0, whole.cols, whole.rows};
          const auto warp = [&](ConstImageView src, ImageView dst) {
            const Rect dstRect{0, 0, dst.width, dst.height};
            const int32_t m = mode | smooth;
            switch (type) {
              case CV_8UC1:
                return WarpQuad8u_C1(src, srcRect, from, dst, dstRect, to, m);
              case CV_32FC1:
                return WarpQuad32f_C1(src, srcRect, from, dst, dstRect, to, m);
              case CV_8UC4:
                return WarpQuad8u_C4(src, srcRect, from, dst, dstRect, to, m);
              default:
                return WarpQuad32f_C4(src, srcRect, from, dst, dstRect, to, m);
            }
          };
          ASSERT_EQ(warp(wholeView, view(fromWhole)), kOk);
          ASSERT_EQ(warp(rowView, view(fromRow)), kOk);
          ASSERT_EQ(cv::norm(fromWhole, fromRow, cv::NORM_INF), 0)
              << type << " round " << round << " mode " << (mode | smooth);
        }
      }
    }
  }
}

// A quadrilateral beside the rectangle, or between its pixel centres, writes nothing and
// says so in a status that callers let through.
TEST_P(WarpQuadOnEveryPath, ReportsAWarpThatWritesNothing) {
  const Quad from = {{0, 0}, {15, 0}, {15, 11}, {0, 11}};
  const Quad beside = {{20, 0}, {35, 0}, {35, 11}, {20, 11}};
  const Quad between = {{2.2, -5}, {2.8, -5}, {2.8, 30}, {2.2, 30}};
  for (int type : kTypes) {
    Picture src(16, 12, type);
    src.mat.setTo(cv::Scalar::all(0));
    Picture dst(16, 12, type);
    EXPECT_EQ(Warp(type, src.View(), Whole(src.mat), from, dst.View(), Whole(dst.mat), beside,
                   kInterCubic | kSmoothEdges),
              kNoOverlap);
    EXPECT_EQ(Warp(type, src.View(), Whole(src.mat), from, dst.View(), Whole(dst.mat), between,
                   kInterLinear),
              kNoPixelInside);
    EXPECT_TRUE(dst.OutsideUntouched());
    for (int y = 0; y < 12; ++y) {
      for (int x = 0; x < 16; ++x)
        ASSERT_TRUE(dst.Untouched(x, y));
    }
  }
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(WarpQuadOnEveryPath);

TEST(WarpQuad, ReportsBadArguments) {
  uint8_t pixels[4 * 4 * 4] = {};
  const ImageView view{pixels, 16, 4, 4};
  const Rect all{0, 0, 4, 4};
  const Quad quad = {{0, 0}, {3, 0}, {3, 3}, {0, 3}};
  EXPECT_EQ(WarpQuad8u_C4({nullptr, 16, 4, 4}, all, quad, view, all, quad, kInterLinear),
            kNullPointer);
  EXPECT_EQ(WarpQuad8u_C4(view, all, nullptr, view, all, quad, kInterLinear), kNullPointer);
  EXPECT_EQ(WarpQuad8u_C4(view, all, quad, view, all, nullptr, kInterLinear), kNullPointer);
  EXPECT_EQ(WarpQuad8u_C4(view, all, quad, {pixels, 16, 4, 0}, all, quad, kInterLinear), kBadSize);
  EXPECT_EQ(WarpQuad32f_C4(view, all, quad, {pixels, 0, 1, 1}, all, quad, kInterLinear), kBadPitch);
  EXPECT_EQ(WarpQuad8u_C4(view, {1, 0, 4, 4}, quad, view, all, quad, kInterLinear), kBadSize);
  EXPECT_EQ(WarpQuad8u_C4(view, all, quad, view, {0, 0, 5, 1}, quad, kInterLinear), kBadSize);
  for (int32_t mode : {0, 3, kInterSuper, kSmoothEdges, kInterSuper | kSmoothEdges}) {
    EXPECT_EQ(WarpQuad8u_C4(view, all, quad, view, all, quad, mode), kBadInterpolation) << mode;
  }
  // Corners far outside the frame cost nothing and write nothing out of bounds.
  const Quad far = {{-1e12, -1e12}, {1e12, -1e12}, {1e12, 1e12}, {-1e12, 1e12}};
  EXPECT_EQ(WarpQuad8u_C4(view, all, far, view, all, far, kInterCubic | kSmoothEdges), kOk);
}

}  // namespace
}  // namespace vitrella::kernels
