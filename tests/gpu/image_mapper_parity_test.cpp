// Image Mapper on both paths over real photographs, every preset, 8-bit and float, both
// row orders, through the reference host's GPU services on an EGL context (llvmpipe in
// CI). No context is a failure here, not a skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "effects/image_mapper.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_frames.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

using host::OwnedFrame;
using host::RowOrder;

constexpr int kWidth = 192;
constexpr int kHeight = 108;

// Tolerances in 8-bit levels per channel, on both depths. The paths place the picture
// apart by up to about a pixel, and by an amount that changes across it: the CPU maps
// pixel centres (0 to W - 1), the GPU unit coordinates (0 to W), so at 192 pixels the two
// scales part by one pixel across the frame; the GPU's strips end at W and H where the
// CPU's end at W - 1 and H - 1, and its crop aligns the rectangle's end texels where the
// CPU's resize does not. The CPU smooths slanted edges by coverage and the GPU does not;
// the GPU's box for the edge blur has 2 (k / 2) + 1 taps where the CPU's has k. So each
// channel of a CPU pixel is held against the range of the GPU's values within kReach
// pixels, which such a displacement cannot leave; past the range, the two bilinear
// resamplings of the card (8 bits of fraction) and of the CPU (1/32768, rounded) differ
// by a few levels on sharp photographic detail, and along a bent edge the CPU's
// coverage-smoothed alpha, a pixel apart from the GPU's hard one and on a slope of up to
// a third of the frame per strip, leaves the range by up to a tenth of full: kMaxLevels,
// 24 (measured at most 24, Sideways Cone). The plain difference is large only along the
// shape's edges and on detail the displacement moves, a small share of the frame:
// kMeanLevels, 8 (measured at most 6.4, Apparition on the baboon).
//
// The corners are the exception that the two paths keep by design: the CPU maps them by a
// projective warp, the GPU's strip program by a bilinear map, and inside a shape that is
// far from a parallelogram the two put a pixel's source apart by many pixels, colours and
// bent edges alike. Bilinear() measures that distance; where it passes kReach, the preset
// is compared with its corners set to the frame's, which keeps its crop, curves and blur,
// and the corner stage is held by the presets whose shapes the two maps agree on.
//
// The crop is the other: the GPU's texture stage puts the rectangle's first and last
// texels on the first and last pixels, the CPU's resize samples x (W - 2c) / W, which
// reaches the rectangle's far end only past the last pixel; across a sliver two pixels
// wide (the streak presets, Aspect Ratio at an end) that is a whole source pixel, so
// presets with a crop margin are held to kCropMaxLevels instead, 48 (measured at most 48,
// Vertical Streaks).
constexpr double kMaxLevels = 24.0;
constexpr double kCropMaxLevels = 48.0;
constexpr double kMeanLevels = 8.0;
constexpr int kReach = 2;
constexpr int kBorder = 2;

// How far, in source pixels, the bilinear map of the unit square onto the corners puts a
// point from where the projective map puts it, at most over a grid of the shape.
double Bilinear(const std::vector<ParamValue>& values) {
  testing::FakeHost params(values);
  const ImageMapperValues v = ReadImageMapper(&params, true);
  cv::Point2f from[4] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  cv::Point2f to[4];
  for (int i = 0; i < 4; ++i) {
    to[i] = {static_cast<float>((v.corners[i][0] + v.sx) * kWidth),
             static_cast<float>((v.corners[i][1] + v.sy) * kHeight)};
  }
  const cv::Matx33d inverse = cv::getPerspectiveTransform(to, from);
  double most = 0.0;
  for (int j = 0; j <= 16; ++j) {
    for (int i = 0; i <= 16; ++i) {
      const double u = i / 16.0;
      const double w = j / 16.0;
      const double x = (1 - u) * (1 - w) * to[0].x + u * (1 - w) * to[1].x + u * w * to[2].x +
                       (1 - u) * w * to[3].x;
      const double y = (1 - u) * (1 - w) * to[0].y + u * (1 - w) * to[1].y + u * w * to[2].y +
                       (1 - u) * w * to[3].y;
      const cv::Vec3d p = inverse * cv::Vec3d(x, y, 1.0);
      most = std::max(
          {most, std::fabs(p[0] / p[2] - u) * kWidth, std::fabs(p[1] / p[2] - w) * kHeight});
    }
  }
  return most;
}

cv::Mat Photograph(const char* file) {
  cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/" + file);
  cv::Mat small;
  cv::resize(bgr, small, cv::Size(kWidth, kHeight), 0, 0, cv::INTER_AREA);
  cv::Mat bgra;
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

cv::Mat Levels(const cv::Mat& picture) {
  cv::Mat out;
  picture.convertTo(out, CV_64FC4, picture.depth() == CV_32F ? 255.0 : 1.0);
  return out;
}

struct Difference {
  double worst = 0.0;  // of the nearest match in the neighbourhood
  double mean = 0.0;   // plain, over the picture and the channels
};

Difference Compare(const cv::Mat& cpu, const cv::Mat& gpu, bool alphaOnly) {
  const cv::Mat a = Levels(cpu);
  const cv::Mat b = Levels(gpu);
  Difference d;
  const cv::Scalar mean = cv::mean(cv::abs(a - b));
  d.mean = alphaOnly ? mean[3] : std::max({mean[0], mean[1], mean[2], mean[3]});
  // The frame's outermost pixels aside: the GPU's strips end at W and H, the CPU's at
  // W - 1 and H - 1, so a bent edge that meets the frame's border ends a pixel apart.
  for (int y = kBorder; y < a.rows - kBorder; ++y) {
    for (int x = kBorder; x < a.cols - kBorder; ++x) {
      const cv::Vec4d p = a.at<cv::Vec4d>(y, x);
      for (int c = alphaOnly ? 3 : 0; c < 4; ++c) {
        double lo = 1e9;
        double hi = -1e9;
        for (int dy = -kReach; dy <= kReach; ++dy) {
          for (int dx = -kReach; dx <= kReach; ++dx) {
            const int u = std::clamp(x + dx, 0, a.cols - 1);
            const int v = std::clamp(y + dy, 0, a.rows - 1);
            lo = std::min(lo, b.at<cv::Vec4d>(v, u)[c]);
            hi = std::max(hi, b.at<cv::Vec4d>(v, u)[c]);
          }
        }
        d.worst = std::max({d.worst, lo - p[c], p[c] - hi});
      }
    }
  }
  return d;
}

class ImageMapperParity : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    services_ = host::CreateEglServices(&reason);
    ASSERT_NE(services_, nullptr) << "no OpenGL context: " << reason;
    effect_ = new CImageMapper();
  }
  void TearDown() override {
    if (effect_ != nullptr) effect_->Release();
  }

  std::unique_ptr<host::EglServices> services_;
  CImageMapper* effect_ = nullptr;
};

TEST_F(ImageMapperParity, EveryPresetMatchesOnBothPaths) {
  const RenderInfo info = testing::WholeFrameInfo();
  for (const char* file : {"fruits.jpg", "baboon.jpg"}) {
    const cv::Mat picture = Photograph(file);
    ASSERT_FALSE(picture.empty()) << file;
    for (uint32_t preset = 0; const char* name = effect_->GetPresetName(preset); ++preset) {
      std::vector<ParamValue> values = testing::EffectValues(effect_, static_cast<int>(preset));
      const double apart = Bilinear(values);
      const bool framed = apart > kReach;
      if (framed) {
        for (const char* corner : {"Top Left", "Top Right", "Bottom Left", "Bottom Right"}) {
          values[static_cast<size_t>(testing::ParamIndex(effect_, corner))] = testing::EffectValues(
              effect_)[static_cast<size_t>(testing::ParamIndex(effect_, corner))];
        }
      }
      testing::FakeHost params(values);
      const ImageMapperValues v = ReadImageMapper(&params, true);
      const CropMargins margins = CropMarginsOf(kWidth, kHeight, v.crop, v.aspect);
      const double most = margins.cx != 0 || margins.cy != 0 ? kCropMaxLevels : kMaxLevels;
      double worst = 0.0;
      double worstMean = 0.0;
      for (PixelFormat format : testing::kHostFormats) {
        for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
          SCOPED_TRACE(::testing::Message()
                       << file << ", " << name << ", format " << format << ", "
                       << (order == RowOrder::kTopFirst ? "top" : "bottom") << " first");
          OwnedFrame source = host::PictureToFrame(picture, format, order);
          OwnedFrame cpu = host::FrameLike(source.record());
          OwnedFrame gpu = host::FrameLike(source.record());
          host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(), info,
                            "Image Mapper");
          ASSERT_TRUE(effect_->Render(&params, &source.record(), 0, &cpu.record(), &info));
          const Difference d = Compare(host::FrameToPicture(cpu.record()),
                                       host::FrameToPicture(gpu.record()), false);
          worst = std::max(worst, d.worst);
          worstMean = std::max(worstMean, d.mean);
          EXPECT_LE(d.worst, most);
          EXPECT_LE(d.mean, kMeanLevels);
        }
      }
      std::printf("parity %-12s %-22s max %5.1f mean %6.3f%s (maps %.1f px apart)\n", file, name,
                  worst, worstMean, framed ? ", corners of the frame" : "", apart);
    }
  }
}

// A dart that the GPU's own test refuses shows its outline on a transparent frame, as the
// CPU's does for the shape its warp refuses.
TEST_F(ImageMapperParity, AShapeThatIsNotConvexShowsItsOutline) {
  std::vector<ParamValue> values = testing::EffectValues(effect_);
  values[static_cast<size_t>(testing::ParamIndex(effect_, "Bottom Left"))] =
      PointValue(0.75f, 0.25f);
  testing::FakeHost params(values);
  const cv::Mat picture = Photograph("fruits.jpg");
  OwnedFrame source = host::PictureToFrame(picture, PixelFormat8BGRA, RowOrder::kTopFirst);
  OwnedFrame gpu = host::FrameLike(source.record());
  host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(),
                    testing::WholeFrameInfo(), "Image Mapper");
  const cv::Mat out = host::FrameToPicture(gpu.record());
  int white = 0;
  for (int y = 0; y < out.rows; ++y) {
    for (int x = 0; x < out.cols; ++x) {
      const cv::Vec4b& p = out.at<cv::Vec4b>(y, x);
      if (p[3] == 0) {
        ASSERT_EQ(p, cv::Vec4b(0, 0, 0, 0)) << x << "," << y;
      } else {
        ++white;
      }
    }
  }
  EXPECT_GT(white, 200);
  EXPECT_LT(white, 900);
}

}  // namespace
}  // namespace vitrella
