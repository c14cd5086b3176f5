// Warps in strips on every code path: the bytes of one quadrilateral warp after another,
// for pictures cut into columns the way bent edges cut them and for strips that are not
// columns.
#include "kernels/warp_strips.h"

#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/core.hpp>
#include <vector>

#include "common/kernel_variants.h"
#include "kernels/warp_quad.h"

namespace vitrella::kernels {
namespace {

ImageView ViewOf(cv::Mat& m) {
  return {m.data, static_cast<ptrdiff_t>(m.step), m.cols, m.rows};
}

// Strips of `step` columns across the picture, the last one running to its right edge,
// with top and bottom ends bent along a sine by depth (negative bends the middle in).
std::vector<WarpStrip> BentColumns(int32_t width, int32_t height, int32_t step, double depth) {
  std::vector<WarpStrip> strips;
  const auto top = [&](int32_t x) {
    return (depth > 0 ? depth : 0.0) - std::sin(M_PI * x / width) * depth;
  };
  const auto bottom = [&](int32_t x) { return height - 1 - top(x) * 0.7; };
  for (int32_t x0 = 0; x0 < width; x0 += step) {
    int32_t x1 = x0 + step;
    if (x1 >= width - 3) x1 = width - 1;  // may leave a strip of no width at the end
    const double l = x0, r = x1;
    strips.push_back({{{l, 0}, {r, 0}, {r, height - 1.0}, {l, height - 1.0}},
                      {{l, top(x0)}, {r, top(x1)}, {r, bottom(x1)}, {l, bottom(x0)}}});
  }
  return strips;
}

Status Strips(int type, const cv::Mat& src, cv::Mat& dst, const std::vector<WarpStrip>& strips,
              int32_t interpolation) {
  const ConstImageView from{src.data, static_cast<ptrdiff_t>(src.step), src.cols, src.rows};
  const auto count = static_cast<int32_t>(strips.size());
  return type == CV_8UC4 ? WarpStrips8u_C4(from, ViewOf(dst), strips.data(), count, interpolation)
                         : WarpStrips32f_C4(from, ViewOf(dst), strips.data(), count, interpolation);
}

void OneByOne(int type, const cv::Mat& src, cv::Mat& dst, const std::vector<WarpStrip>& strips,
              int32_t interpolation) {
  const ConstImageView from{src.data, static_cast<ptrdiff_t>(src.step), src.cols, src.rows};
  const Rect srcRect{0, 0, src.cols, src.rows};
  const Rect dstRect{0, 0, dst.cols, dst.rows};
  for (const WarpStrip& s : strips) {
    (void)(type == CV_8UC4
               ? WarpQuad8u_C4(from, srcRect, s.from, ViewOf(dst), dstRect, s.to, interpolation)
               : WarpQuad32f_C4(from, srcRect, s.from, ViewOf(dst), dstRect, s.to, interpolation));
  }
}

class WarpStripsOnEveryPath : public OnEveryKernelPath {};

TEST_P(WarpStripsOnEveryPath, GiveTheBytesOfOneWarpAfterAnother) {
  // Widths whose last strips overlap, end in a strip of no width, or come out even.
  struct Case {
    int32_t width, height, step;
    double depth;
  };
  const Case cases[] = {{70, 41, 8, 9.0},  {65, 30, 8, -7.5}, {64, 33, 8, 0.4},
                        {53, 47, 3, 14.0}, {40, 20, 1, 5.0},  {37, 25, 8, 30.0}};
  for (int type : {CV_8UC4, CV_32FC4}) {
    const double scale = type == CV_8UC4 ? 255.0 : 1.0;
    for (const Case& c : cases) {
      cv::Mat src(c.height, c.width, type);
      cv::randu(src, cv::Scalar::all(0), cv::Scalar::all(scale));
      cv::Mat background(c.height, c.width, type);
      cv::randu(background, cv::Scalar::all(0), cv::Scalar::all(scale));
      const std::vector<WarpStrip> strips = BentColumns(c.width, c.height, c.step, c.depth);
      for (int32_t mode : {kInterNearest, kInterLinear, kInterCubic}) {
        for (int32_t smooth : {0, kSmoothEdges}) {
          cv::Mat ours = background.clone();
          cv::Mat plain = background.clone();
          ASSERT_EQ(Strips(type, src, ours, strips, mode | smooth), kOk);
          OneByOne(type, src, plain, strips, mode | smooth);
          ASSERT_EQ(cv::norm(ours, plain, cv::NORM_INF), 0)
              << type << " width " << c.width << " depth " << c.depth << " mode "
              << (mode | smooth);
        }
      }
    }
  }
}

// Strips across the rows, strips out of order, strips reaching past the picture and
// mirrored ones are warped one after another as they come.
TEST_P(WarpStripsOnEveryPath, OtherStripsAsTheyCome) {
  const int32_t w = 48, h = 36;
  std::vector<std::vector<WarpStrip>> sets;
  std::vector<WarpStrip> rows;
  for (int32_t y0 = 0; y0 < h - 1; y0 += 6) {
    const double t = y0, b = std::min(y0 + 6, h - 1);
    rows.push_back(
        {{{0, t}, {w - 1.0, t}, {w - 1.0, b}, {0, b}},
         {{2 + 0.3 * t, t}, {w - 3 - 0.2 * t, t}, {w - 3 - 0.2 * b, b}, {2 + 0.3 * b, b}}});
  }
  sets.push_back(rows);
  std::vector<WarpStrip> columns = BentColumns(w, h, 8, 6.0);
  sets.push_back({columns.rbegin(), columns.rend()});
  columns.back().to[1][0] = columns.back().to[2][0] = w + 4.0;
  sets.push_back(columns);
  std::vector<WarpStrip> mirrored = BentColumns(w, h, 8, -6.0);
  for (WarpStrip& s : mirrored) {
    std::swap(s.to[0][1], s.to[3][1]);
    std::swap(s.to[1][1], s.to[2][1]);
  }
  sets.push_back(mirrored);
  for (int type : {CV_8UC4, CV_32FC4}) {
    cv::Mat src(h, w, type);
    cv::randu(src, cv::Scalar::all(0), cv::Scalar::all(type == CV_8UC4 ? 255.0 : 1.0));
    for (size_t set = 0; set < sets.size(); ++set) {
      cv::Mat ours(h, w, type, cv::Scalar::all(0));
      cv::Mat plain(h, w, type, cv::Scalar::all(0));
      ASSERT_EQ(Strips(type, src, ours, sets[set], kInterLinear | kSmoothEdges), kOk);
      OneByOne(type, src, plain, sets[set], kInterLinear | kSmoothEdges);
      ASSERT_EQ(cv::norm(ours, plain, cv::NORM_INF), 0) << type << " set " << set;
    }
  }
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(WarpStripsOnEveryPath);

TEST(WarpStrips, ReportsBadArgumentsAndWritesNothing) {
  uint8_t pixels[4 * 4 * 4] = {};
  const ImageView view{pixels, 16, 4, 4};
  const WarpStrip strip{{{0, 0}, {3, 0}, {3, 3}, {0, 3}}, {{0, 0}, {3, 0}, {3, 3}, {0, 3}}};
  EXPECT_EQ(WarpStrips8u_C4({nullptr, 16, 4, 4}, view, &strip, 1, kInterLinear), kNullPointer);
  EXPECT_EQ(WarpStrips8u_C4(view, view, nullptr, 1, kInterLinear), kNullPointer);
  EXPECT_EQ(WarpStrips8u_C4(view, view, &strip, -1, kInterLinear), kBadSize);
  EXPECT_EQ(WarpStrips32f_C4(view, {pixels, 0, 1, 1}, &strip, 1, kInterLinear), kBadPitch);
  EXPECT_EQ(WarpStrips8u_C4(view, view, &strip, 1, kInterSuper), kBadInterpolation);
  EXPECT_EQ(WarpStrips8u_C4(view, view, nullptr, 0, kInterLinear), kOk);
  // A strip that WarpQuad refuses is left out.
  const WarpStrip flat{{{0, 0}, {0, 0}, {3, 3}, {0, 3}}, {{0, 0}, {3, 0}, {3, 3}, {0, 3}}};
  uint8_t before[sizeof pixels];
  std::memcpy(before, pixels, sizeof pixels);
  EXPECT_EQ(WarpStrips8u_C4(view, view, &flat, 1, kInterLinear), kOk);
  EXPECT_EQ(std::memcmp(before, pixels, sizeof pixels), 0);
}

}  // namespace
}  // namespace vitrella::kernels
