// Diffusion on both paths over real photographs, every preset, 8-bit and float, both row
// orders, through the reference host's GPU services on an EGL context (llvmpipe in CI).
// Frames are whole with no pixel aspect, which only the CPU path heeds. No context is a
// failure here, not a skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "effects/diffusion.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_frames.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

using host::OwnedFrame;
using host::RowOrder;

constexpr int kWidth = 160;
constexpr int kHeight = 120;

// The GPU blurs with kg + 2 taps where the CPU blurs with kx = kg (and not at all at
// Blur 0). Two triangles that differ by two taps differ at a pixel by as much as the mask
// changes over their reach, which on a photograph is anything up to the full glow: no
// tolerance could hold both sizes and still catch a fault. So the CPU render that the GPU's
// is held against is taken at the Blur that gives the CPU's kernel the GPU's size,
// (kg + 2.5) / (0.3 W): then both blur by the same triangle. What remains:
// - Edges: the shared blur programs repeat the third texel from each edge over the outer
//   two, the CPU repeats the edge pixel itself; pixels within half a kernel and two of an
//   edge are left out of the worst case, not of the mean.
// - The step of the mask at the upper threshold (from high - low to high): a pixel whose
//   dimmed sum lies within rounding of it may fall on either side, and moves the glow of
//   its neighbours by its weight in the triangle, up to a quarter of the step for 3 taps.
//   Such pixels are few: the share of interior pixels beyond kFarLevels stays within
//   kFarShare.
// - Bytes: the CPU truncates the mask (v / 3), rounds each blur pass and truncates the
//   strength's shift, where the card rounds each 8-bit target once: up to a level per
//   stage, times a gain of up to 3, and half a level of the dimming's rounding. They lean
//   one way, so their mean over the inside reaches 2.2 levels (Blacklight Night):
//   kMeanByteLevels.
// - Floats: the card's float targets hold what the CPU holds; inside, the two agree to
//   hundredths of a level: kMeanFloatLevels.
// With the edges, the means grow to 3.3 levels on bytes and 1.5 on floats (the largest
// kernel's edge band covers a third of a 160 by 120 picture): kMeanLevelsWithEdges.
// Measured worst share beyond kFarLevels: 1.8% (Cyan Spirit, 3 taps).
constexpr double kFarLevels = 8.0;
constexpr double kFarShare = 0.03;
constexpr double kMeanByteLevels = 2.5;
constexpr double kMeanFloatLevels = 0.5;
constexpr double kMeanLevelsWithEdges = 4.0;

cv::Mat Photograph(const char* file) {
  cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/" + file);
  cv::Mat small;
  cv::resize(bgr, small, cv::Size(kWidth, kHeight), 0, 0, cv::INTER_AREA);
  cv::Mat bgra;
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

struct Difference {
  double mean = 0.0;       // over the picture
  double innerMean = 0.0;  // inside the margin
  double max = 0.0;        // inside the margin
  double farShare = 0.0;   // of inside pixels beyond kFarLevels
};

Difference Compare(const cv::Mat& a, const cv::Mat& b, double scale, int margin) {
  cv::Mat fa;
  cv::Mat fb;
  a.convertTo(fa, CV_64FC4, scale);
  b.convertTo(fb, CV_64FC4, scale);
  const cv::Mat diff = cv::abs(fa - fb);
  Difference d;
  const cv::Scalar mean = cv::mean(diff);
  d.mean = std::max({mean[0], mean[1], mean[2], mean[3]});
  const cv::Rect inner(margin, margin, diff.cols - 2 * margin, diff.rows - 2 * margin);
  if (inner.width > 0 && inner.height > 0) {
    const cv::Scalar m = cv::mean(diff(inner));
    d.innerMean = std::max({m[0], m[1], m[2], m[3]});
  }
  int far = 0;
  int inside = 0;
  for (int y = margin; y < diff.rows - margin; ++y) {
    for (int x = margin; x < diff.cols - margin; ++x) {
      const cv::Vec4d& p = diff.at<cv::Vec4d>(y, x);
      const double worst = std::max({p[0], p[1], p[2], p[3]});
      d.max = std::max(d.max, worst);
      far += worst > kFarLevels ? 1 : 0;
      ++inside;
    }
  }
  d.farShare = inside > 0 ? static_cast<double>(far) / inside : 0.0;
  return d;
}

class DiffusionParity : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    services_ = host::CreateEglServices(&reason);
    ASSERT_NE(services_, nullptr) << "no OpenGL context: " << reason;
    effect_ = new CDiffusionFilter();
  }
  void TearDown() override {
    if (effect_ != nullptr) effect_->Release();
  }

  std::unique_ptr<host::EglServices> services_;
  CDiffusionFilter* effect_ = nullptr;
};

TEST_F(DiffusionParity, EveryPresetMatchesOnBothPathsAtTheGpusBlurSize) {
  const cv::Mat pictures[] = {Photograph("fruits.jpg"), Photograph("baboon.jpg")};
  const RenderInfo info = testing::WholeFrameInfo();
  const int blur = testing::ParamIndex(effect_, "Blur");
  for (uint32_t preset = 0; const char* name = effect_->GetPresetName(preset); ++preset) {
    const std::vector<ParamValue> values = testing::EffectValues(effect_, static_cast<int>(preset));
    std::vector<ParamValue> widened = values;
    const int32_t kg = DiffusionKernelSizes(kWidth, values[blur].slider, 1.0f, kFieldModeFrame).kx;
    widened[blur].slider = (static_cast<float>(kg) + 2.5f) / (0.3f * kWidth);
    ASSERT_EQ(DiffusionKernelSizes(kWidth, widened[blur].slider, 1.0f, kFieldModeFrame).kx, kg + 2);
    const int margin = (kg + 2) / 2 + 2;
    testing::FakeHost gpuParams(values);
    testing::FakeHost cpuParams(widened);
    Difference worst;
    for (PixelFormat format : testing::kHostFormats) {
      const bool floats = IsFloatFormat(format);
      for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
        const cv::Mat& picture = pictures[(format + (order == RowOrder::kTopFirst)) % 2];
        OwnedFrame source = host::PictureToFrame(picture, format, order);
        OwnedFrame cpu = host::FrameLike(source.record());
        OwnedFrame gpu = host::FrameLike(source.record());
        ASSERT_TRUE(effect_->Render(&cpuParams, &source.record(), 0, &cpu.record(), &info));
        host::RenderOnGpu(*services_, *effect_, gpuParams, source.record(), gpu.record(), info,
                          "Diffusion");
        const Difference d =
            Compare(host::FrameToPicture(cpu.record()), host::FrameToPicture(gpu.record()),
                    floats ? 255.0 : 1.0, margin);
        const std::string where = std::string(name) + ", format " + std::to_string(format) +
                                  (order == RowOrder::kTopFirst ? ", top" : ", bottom");
        EXPECT_LE(d.innerMean, floats ? kMeanFloatLevels : kMeanByteLevels) << where;
        EXPECT_LE(d.mean, kMeanLevelsWithEdges) << where;
        EXPECT_LE(d.farShare, kFarShare) << where;
        worst.mean = std::max(worst.mean, d.mean);
        worst.max = std::max(worst.max, d.max);
        worst.farShare = std::max(worst.farShare, d.farShare);
      }
    }
    std::printf("parity %-20s mean %.3f max %.1f beyond %.0f: %.2f%%\n", name, worst.mean,
                worst.max, kFarLevels, worst.farShare * 100.0);
  }
}

// The GPU blurs by 3 at Blur 0 where the CPU does not blur at all.
TEST_F(DiffusionParity, AtBlurZeroOnlyTheGpuBlurs) {
  const cv::Mat picture = Photograph("fruits.jpg");
  std::vector<ParamValue> values = testing::EffectValues(effect_);
  values[static_cast<size_t>(testing::ParamIndex(effect_, "Blur"))].slider = 0.0f;
  testing::FakeHost params(values);
  const RenderInfo info = testing::WholeFrameInfo();
  OwnedFrame source = host::PictureToFrame(picture, PixelFormat32FBGRA, RowOrder::kTopFirst);
  OwnedFrame cpu = host::FrameLike(source.record());
  OwnedFrame gpu = host::FrameLike(source.record());
  ASSERT_TRUE(effect_->Render(&params, &source.record(), 0, &cpu.record(), &info));
  host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(), info, "Diffusion");
  const Difference d =
      Compare(host::FrameToPicture(cpu.record()), host::FrameToPicture(gpu.record()), 255.0, 3);
  EXPECT_GT(d.max, kFarLevels) << "a sharp mask and a blurred one should differ";
}

}  // namespace
}  // namespace vitrella
