// Gradient Tint on both paths over a real photograph, every preset, 8-bit and float, both
// row orders, through the reference host's GPU services on an EGL context (llvmpipe in
// CI). The GPU path knows no pixel aspect and no fields: the frames here are whole, with
// no aspect given. No context is a failure here, not a skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "effects/gradient_tint.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_frames.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

using host::OwnedFrame;
using host::RowOrder;

// Tolerances in 8-bit levels. The CPU truncates the centre to a whole pixel and rotates a
// ramp strip through a cubic with smoothed edges; the GPU takes the distance from the exact
// line. The gradient may then differ by up to a pixel's step of the ramp, 255 / L levels,
// which passes kFarLevels on ramps shorter than 16 pixels: then a band of L + 2 pixels
// along the line may differ by more, and otherwise a band of two pixels where a smoothed
// edge meets an exact one, a share of (band) (W + H) / (W H) of the picture at most.
// Elsewhere the paths differ by the 8-bit CPU's integer hue against the GPU's floats (768
// hue steps against continuous move the mask by a few levels), by the box blur of an 8-bit
// mask rounding in each pass, by Multiply and Screen shifting by 8 and by hue mode's
// rounded HSV planes: each channel's mean stays within kMeanLevels. ARGB bytes mix by a
// shift by 8, losing up to a level and a half in each of three mixes in series, hence
// kArgbMeanLevels.
constexpr double kMeanLevels = 3.0;
constexpr double kArgbMeanLevels = 5.0;
constexpr double kFarLevels = 16.0;

double MostFarShare(float crossfade, int width, int height) {
  const auto ramp =
      static_cast<int>(crossfade * 1.5f * static_cast<float>(std::min(width, height)));
  const double band = ramp < 1 || 255.0 / ramp <= kFarLevels ? 2.0 : ramp + 2.0;
  return band * (width + height) / (static_cast<double>(width) * height);
}

struct Difference {
  double mean = 0.0;
  double max = 0.0;
  double farShare = 0.0;  // of pixels with a colour channel beyond kFarLevels
};

Difference Compare(const cv::Mat& a, const cv::Mat& b, double scale) {
  cv::Mat fa;
  cv::Mat fb;
  a.convertTo(fa, CV_64FC4, scale);
  b.convertTo(fb, CV_64FC4, scale);
  const cv::Mat diff = cv::abs(fa - fb);
  Difference d;
  const cv::Scalar mean = cv::mean(diff);
  int far = 0;
  for (int y = 0; y < diff.rows; ++y) {
    for (int x = 0; x < diff.cols; ++x) {
      const cv::Vec4d& p = diff.at<cv::Vec4d>(y, x);
      const double worst = std::max({p[0], p[1], p[2], p[3]});
      d.max = std::max(d.max, worst);
      far += worst > kFarLevels ? 1 : 0;
    }
  }
  d.mean = std::max({mean[0], mean[1], mean[2], mean[3]});
  d.farShare = static_cast<double>(far) / static_cast<double>(diff.total());
  return d;
}

// A small photograph: llvmpipe draws every pass on the CPU.
cv::Mat Photograph(const char* file) {
  cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/" + file);
  cv::Mat small;
  cv::resize(bgr, small, cv::Size(160, 120), 0, 0, cv::INTER_AREA);
  cv::Mat bgra;
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

class GradientTintParity : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    services_ = host::CreateEglServices(&reason);
    ASSERT_NE(services_, nullptr) << "no OpenGL context: " << reason;
    effect_ = new CGradientTint();
  }
  void TearDown() override {
    if (effect_ != nullptr) effect_->Release();
  }

  std::pair<cv::Mat, cv::Mat> Both(const cv::Mat& picture, testing::FakeHost& params,
                                   PixelFormat format, RowOrder order) {
    const RenderInfo info = testing::WholeFrameInfo();
    OwnedFrame source = host::PictureToFrame(picture, format, order);
    OwnedFrame cpu = host::FrameLike(source.record());
    OwnedFrame gpu = host::FrameLike(source.record());
    EXPECT_TRUE(effect_->Render(&params, &source.record(), 0, &cpu.record(), &info));
    host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(), info,
                      "Gradient Tint");
    return {host::FrameToPicture(cpu.record()), host::FrameToPicture(gpu.record())};
  }

  std::unique_ptr<host::EglServices> services_;
  CGradientTint* effect_ = nullptr;
};

TEST_F(GradientTintParity, EveryPresetMatchesOnBothPaths) {
  const cv::Mat pictures[] = {Photograph("fruits.jpg"), Photograph("baboon.jpg")};
  struct Figure {
    std::string name;
    double mean, max, farShare;
  };
  std::vector<Figure> figures;
  for (uint32_t preset = 0; const char* name = effect_->GetPresetName(preset); ++preset) {
    const std::vector<ParamValue> values = testing::EffectValues(effect_, static_cast<int>(preset));
    testing::FakeHost params(values);
    const float crossfade =
        values[static_cast<size_t>(testing::ParamIndex(effect_, "Crossfade"))].slider;
    Figure figure{name, 0, 0, 0};
    for (PixelFormat format : testing::kHostFormats) {
      for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
        // One photograph per format, turn about, to keep llvmpipe's work small.
        const cv::Mat& picture = pictures[format % 2];
        const auto [cpu, gpu] = Both(picture, params, format, order);
        const Difference d = Compare(cpu, gpu, IsFloatFormat(format) ? 255.0 : 1.0);
        figure.mean = std::max(figure.mean, d.mean);
        figure.max = std::max(figure.max, d.max);
        figure.farShare = std::max(figure.farShare, d.farShare);
        const std::string where = figure.name + ", format " + std::to_string(format) +
                                  (order == RowOrder::kTopFirst ? ", top first" : ", bottom first");
        EXPECT_LE(d.mean, format == PixelFormat8ARGB ? kArgbMeanLevels : kMeanLevels) << where;
        EXPECT_LE(d.farShare, MostFarShare(crossfade, picture.cols, picture.rows)) << where;
      }
    }
    figures.push_back(figure);
  }
  std::sort(figures.begin(), figures.end(),
            [](const Figure& a, const Figure& b) { return a.mean > b.mean; });
  for (const Figure& f : figures) {
    std::printf("parity %-22s mean %.3f max %.1f beyond %.0f: %.2f%%\n", f.name.c_str(), f.mean,
                f.max, kFarLevels, f.farShare * 100.0);
  }
}

// Only the CPU path tilts the line by the pixel aspect; the GPU draws the same picture with
// an aspect as without one.
TEST_F(GradientTintParity, PixelAspectActsOnTheCpuPathAlone) {
  const cv::Mat picture = Photograph("fruits.jpg");
  std::vector<ParamValue> values = testing::EffectValues(effect_);
  values[static_cast<size_t>(testing::ParamIndex(effect_, "Angle"))].slider = 0.1f;
  values[static_cast<size_t>(testing::ParamIndex(effect_, "Crossfade"))].slider = 0.0f;
  testing::FakeHost params(values);
  const RenderInfo square = testing::WholeFrameInfo();
  RenderInfo wide = square;
  wide.infoFlags |= kInfoPixelAspectValid;
  wide.pixelAspect = 2.0;
  const auto render = [&](const RenderInfo& info) {
    OwnedFrame source = host::PictureToFrame(picture, PixelFormat8BGRA, RowOrder::kTopFirst);
    OwnedFrame cpu = host::FrameLike(source.record());
    OwnedFrame gpu = host::FrameLike(source.record());
    EXPECT_TRUE(effect_->Render(&params, &source.record(), 0, &cpu.record(), &info));
    host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(), info,
                      "Gradient Tint");
    return std::pair{host::FrameToPicture(cpu.record()), host::FrameToPicture(gpu.record())};
  };
  const auto [cpuSquare, gpuSquare] = render(square);
  const auto [cpuWide, gpuWide] = render(wide);
  EXPECT_GT(cv::norm(cpuWide, cpuSquare, cv::NORM_INF), 20.0);
  EXPECT_EQ(cv::norm(gpuWide, gpuSquare, cv::NORM_INF), 0.0);
}

}  // namespace
}  // namespace vitrella
