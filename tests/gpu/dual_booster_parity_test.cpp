// Dual Booster on both paths over real photographs, every preset, 8-bit and float, both
// row orders, through the reference host's GPU services on an EGL context (llvmpipe in CI).
// No context is a failure here, not a skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "effects/dual_booster.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_frames.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

using host::OwnedFrame;
using host::RowOrder;

// The GPU's band matrices weigh the neutral with 0.3086 on red, as the CPU does on the
// alpha-first formats, whose stored colour order is red, green, blue; on blue-first
// pictures the CPU puts it on blue, and the two differ by (1 - S) 0.2266 (blue - red), up
// to 115 levels. So every GPU render is held against the CPU's render of the alpha-first
// format of its depth.
//
// Tolerances in 8-bit levels per channel. Floats: the same formulas in single precision on
// both sides; only the card's order of operations differs, far below a level.
// Bytes: the CPU's mask is fixed point. Its luminance weighs by 76, 149, 30 over 256 and
// truncates (1.5 levels at most from the float one), its centre is c 256 where the float
// mask has c 255 (c (k - 1) <= 2.4 levels), k is truncated to 1/256 (1 level) and the shift
// truncates (1 level): with k up to 3.375, |mask difference| <= 3.375 1.5 + 2.4 + 2 = 9.5
// levels of 255. That moves a result by 9.5 / 255 of |light - dark|, at most 9.5 levels,
// and the CPU's rounding of each band and its truncating mix add 2: kMaxByteLevels 12. Part
// of the mask's difference leans one way (c (k - 1) and the truncations), so over a
// photograph the mean of the mask that Test shows reaches 2.5 levels: kMeanByteLevels 4.
// Measured: worst 6 levels, worst mean 2.5 (Test on bytes), floats within 0.5 of a level.
constexpr double kMaxFloatLevels = 0.5;
constexpr double kMaxByteLevels = 12.0;
constexpr double kMeanByteLevels = 4.0;

cv::Mat Photograph(const char* file) {
  cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/" + file);
  cv::Mat small;
  cv::resize(bgr, small, cv::Size(160, 120), 0, 0, cv::INTER_AREA);
  cv::Mat bgra;
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

struct Difference {
  double mean = 0.0;
  double max = 0.0;
};

Difference Compare(const cv::Mat& a, const cv::Mat& b, double scale) {
  cv::Mat fa;
  cv::Mat fb;
  a.convertTo(fa, CV_64FC4, scale);
  b.convertTo(fb, CV_64FC4, scale);
  const cv::Mat diff = cv::abs(fa - fb);
  const cv::Scalar mean = cv::mean(diff);
  double max = 0.0;
  cv::minMaxLoc(diff.reshape(1), nullptr, &max);
  return {std::max({mean[0], mean[1], mean[2], mean[3]}), max};
}

class DualBoosterParity : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    services_ = host::CreateEglServices(&reason);
    ASSERT_NE(services_, nullptr) << "no OpenGL context: " << reason;
    effect_ = new CDualBooster();
  }
  void TearDown() override {
    if (effect_ != nullptr) effect_->Release();
  }

  std::unique_ptr<host::EglServices> services_;
  CDualBooster* effect_ = nullptr;
};

TEST_F(DualBoosterParity, EveryPresetMatchesOnBothPaths) {
  const cv::Mat pictures[] = {Photograph("fruits.jpg"), Photograph("baboon.jpg")};
  const RenderInfo info = testing::WholeFrameInfo();
  for (uint32_t preset = 0; const char* name = effect_->GetPresetName(preset); ++preset) {
    std::vector<ParamValue> values = testing::EffectValues(effect_, static_cast<int>(preset));
    Difference worst;
    // Every preset, and the mask that Test shows.
    for (bool test : {false, true}) {
      values[3].check = test ? 1 : 0;
      testing::FakeHost params(values);
      for (PixelFormat format : testing::kHostFormats) {
        const bool floats = IsFloatFormat(format);
        const PixelFormat reference = floats ? PixelFormat32FARGB : PixelFormat8ARGB;
        for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
          const cv::Mat& picture = pictures[(format + (order == RowOrder::kTopFirst)) % 2];
          OwnedFrame cpuSource = host::PictureToFrame(picture, reference, order);
          OwnedFrame cpu = host::FrameLike(cpuSource.record());
          ASSERT_TRUE(effect_->Render(&params, &cpuSource.record(), 0, &cpu.record(), &info));
          OwnedFrame source = host::PictureToFrame(picture, format, order);
          OwnedFrame gpu = host::FrameLike(source.record());
          host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(), info,
                            "Dual Booster");
          const Difference d = Compare(host::FrameToPicture(cpu.record()),
                                       host::FrameToPicture(gpu.record()), floats ? 255.0 : 1.0);
          const std::string where = std::string(name) + (test ? ", test" : "") + ", format " +
                                    std::to_string(format) +
                                    (order == RowOrder::kTopFirst ? ", top" : ", bottom");
          EXPECT_LE(d.max, floats ? kMaxFloatLevels : kMaxByteLevels) << where;
          EXPECT_LE(d.mean, kMeanByteLevels) << where;
          worst.mean = std::max(worst.mean, d.mean);
          worst.max = std::max(worst.max, d.max);
        }
      }
    }
    std::printf("parity %-20s mean %.3f max %.2f\n", name, worst.mean, worst.max);
  }
}

}  // namespace
}  // namespace vitrella
