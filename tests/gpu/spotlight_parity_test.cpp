// Spotlight on both paths over a real photograph, every preset, 8-bit and float, both row
// orders, opaque and with real alpha, through the reference host's GPU services on an EGL
// context (llvmpipe in CI). No context is a failure here, not a skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "effects/spotlight.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_frames.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

using host::OwnedFrame;
using host::RowOrder;

// Tolerances in 8-bit levels per channel, on both depths. Where the two paths compute
// alike they agree within a level: the GPU rounds into its targets where the CPU's byte
// tables and shifts truncate, and the triangular blur is exact integers on the CPU and
// floats on the card. The grade differs by design on 8 bits: luma from the weights
// 76, 149, 30 over 256 with the shift by 7, against 0.298, 0.586, 0.113 in floats, and the
// curve looked up from a table of 256 entries. Those differ by a level or two at the
// curve's input; the curve at its brightest exponent is a square root, whose slope at one
// level above black is about 8, so one level there becomes up to 16 after it, and the tint
// that follows can stretch that by a few more: the worst pixel may differ by 20. Such
// pixels are few, so the mean of each channel over the picture stays within 3.5 levels.
constexpr double kMeanLevels = 3.5;
constexpr double kMaxLevels = 20.0;

struct Difference {
  double mean[4] = {};
  double max[4] = {};
};

Difference Compare(const cv::Mat& a, const cv::Mat& b, double scale) {
  Difference d;
  cv::Mat fa;
  cv::Mat fb;
  a.convertTo(fa, CV_64FC4, scale);
  b.convertTo(fb, CV_64FC4, scale);
  cv::Mat diff = cv::abs(fa - fb);
  const cv::Scalar mean = cv::mean(diff);
  std::vector<cv::Mat> channels;
  cv::split(diff, channels);
  for (int c = 0; c < 4; ++c) {
    d.mean[c] = mean[c];
    cv::minMaxLoc(channels[static_cast<size_t>(c)], nullptr, &d.max[c]);
  }
  return d;
}

// The photograph, small: llvmpipe draws every pass on the CPU, and the blur programs read
// a tap per pixel of their length.
cv::Mat Photograph() {
  cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg");
  cv::Mat small;
  cv::resize(bgr, small, cv::Size(192, 144), 0, 0, cv::INTER_AREA);
  cv::Mat bgra;
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

// The same photograph with alpha of its own: falling off from the left edge to the right,
// and clear over a band, so that the mix weighs the background by its alpha.
cv::Mat WithAlpha(const cv::Mat& opaque) {
  cv::Mat picture = opaque.clone();
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      const int fall = 255 - x * 200 / picture.cols;
      picture.at<cv::Vec4b>(y, x)[3] = static_cast<uint8_t>(y / 8 == 5 ? 0 : fall);
    }
  }
  return picture;
}

class SpotlightParity : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    services_ = host::CreateEglServices(&reason);
    ASSERT_NE(services_, nullptr) << "no OpenGL context: " << reason;
    effect_ = new CSpotlight();
  }
  void TearDown() override {
    if (effect_ != nullptr) effect_->Release();
  }

  // The CPU and GPU pictures of one render, upright, in BGRA.
  std::pair<cv::Mat, cv::Mat> Both(const cv::Mat& picture, testing::FakeHost& params,
                                   PixelFormat format, RowOrder order, const RenderInfo& info) {
    OwnedFrame source = host::PictureToFrame(picture, format, order);
    OwnedFrame cpu = host::FrameLike(source.record());
    OwnedFrame gpu = host::FrameLike(source.record());
    EXPECT_TRUE(effect_->Render(&params, &source.record(), 0, &cpu.record(), &info));
    host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(), info,
                      "Spotlight");
    return {host::FrameToPicture(cpu.record()), host::FrameToPicture(gpu.record())};
  }

  std::unique_ptr<host::EglServices> services_;
  CSpotlight* effect_ = nullptr;
};

TEST_F(SpotlightParity, EveryPresetMatchesOnBothPaths) {
  const cv::Mat opaque = Photograph();
  ASSERT_FALSE(opaque.empty());
  const cv::Mat translucent = WithAlpha(opaque);
  const RenderInfo info = testing::WholeFrameInfo();

  struct Figure {
    std::string name;
    double worstMean, worstMax;
  };
  std::vector<Figure> figures;
  for (uint32_t preset = 0; const char* name = effect_->GetPresetName(preset); ++preset) {
    testing::FakeHost params(testing::EffectValues(effect_, static_cast<int>(preset)));
    Figure figure{name, 0, 0};
    for (PixelFormat format : testing::kHostFormats) {
      // The opaque picture in both row orders; the translucent one in one, turn about.
      const RowOrder alternate = format % 2 == 0 ? RowOrder::kTopFirst : RowOrder::kBottomFirst;
      const struct {
        const cv::Mat& picture;
        RowOrder order;
        const char* label;
      } runs[] = {{opaque, RowOrder::kTopFirst, "opaque, top first"},
                  {opaque, RowOrder::kBottomFirst, "opaque, bottom first"},
                  {translucent, alternate, "with alpha"}};
      for (const auto& run : runs) {
        const auto [cpu, gpu] = Both(run.picture, params, format, run.order, info);
        // Differences in 8-bit levels, on both depths.
        const Difference d = Compare(cpu, gpu, IsFloatFormat(format) ? 255.0 : 1.0);
        for (int c = 0; c < 4; ++c) {
          figure.worstMean = std::max(figure.worstMean, d.mean[c]);
          figure.worstMax = std::max(figure.worstMax, d.max[c]);
          EXPECT_LE(d.mean[c], kMeanLevels)
              << figure.name << ", format " << format << ", " << run.label << ", channel " << c;
          EXPECT_LE(d.max[c], kMaxLevels)
              << figure.name << ", format " << format << ", " << run.label << ", channel " << c;
        }
      }
    }
    figures.push_back(figure);
  }
  std::sort(figures.begin(), figures.end(),
            [](const Figure& a, const Figure& b) { return a.worstMax > b.worstMax; });
  for (const Figure& f : figures)
    std::printf("parity %-22s mean %.3f max %.1f\n", f.name.c_str(), f.worstMean, f.worstMax);
}

// How far the spot reaches through the middle of the picture: columns along the middle
// row and rows along the middle column whose alpha shows it.
struct Extent {
  int columns = 0;
  int rows = 0;
};
Extent SpotExtent(const cv::Mat& picture) {
  Extent extent;
  for (int x = 0; x < picture.cols; ++x)
    extent.columns += picture.at<cv::Vec4b>(picture.rows / 2, x)[3] > 0 ? 1 : 0;
  for (int y = 0; y < picture.rows; ++y)
    extent.rows += picture.at<cv::Vec4b>(y, picture.cols / 2)[3] > 0 ? 1 : 0;
  return extent;
}

// Only the CPU path takes the pixel aspect into account: it divides the spot's sizes, and
// a spot at the default angle keeps its width in pixels and loses half its height at an
// aspect of 2. The GPU path draws what it draws without one.
TEST_F(SpotlightParity, PixelAspectActsOnTheCpuPathAlone) {
  const cv::Mat picture = Photograph();
  std::vector<ParamValue> values = testing::EffectValues(effect_);
  values[static_cast<size_t>(testing::ParamIndex(effect_, "Transparent Background"))].check = 1;
  values[static_cast<size_t>(testing::ParamIndex(effect_, "Feather"))].slider = 0.0f;
  values[static_cast<size_t>(testing::ParamIndex(effect_, "Size"))].slider = 0.2f;
  testing::FakeHost params(values);
  const RenderInfo square = testing::WholeFrameInfo();
  RenderInfo wide = square;
  wide.infoFlags |= kInfoPixelAspectValid;
  wide.pixelAspect = 2.0;
  const auto [cpuSquare, gpuSquare] =
      Both(picture, params, PixelFormat8BGRA, RowOrder::kTopFirst, square);
  const auto [cpuWide, gpuWide] =
      Both(picture, params, PixelFormat8BGRA, RowOrder::kTopFirst, wide);
  const Extent before = SpotExtent(cpuSquare);
  const Extent after = SpotExtent(cpuWide);
  ASSERT_GT(before.rows, 20);
  EXPECT_NEAR(after.columns, before.columns, 2);
  EXPECT_NEAR(after.rows, before.rows / 2.0, 2.0);
  EXPECT_EQ(cv::norm(gpuWide, gpuSquare, cv::NORM_INF), 0.0);
}

}  // namespace
}  // namespace vitrella
