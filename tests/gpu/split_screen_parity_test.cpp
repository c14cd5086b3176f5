// Split Screen on both paths over a real photograph, every preset, 8-bit and float, both
// row orders, through the reference host's GPU services on an EGL context (llvmpipe in CI).
// Fields and the pixel aspect are the CPU's alone and stay out. No context is a failure
// here, not a skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "effects/split_screen.h"
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

// Tolerances in 8-bit levels per channel, on both depths. The two paths place the line
// apart by up to a pixel and a half, and by an amount that changes along it: the CPU
// truncates the centre to a whole pixel of (W - 1) x and the strip's origin to whole
// pixels, the GPU measures from W x at each pixel's corner. So each channel of a CPU pixel
// is held against the range of the GPU's values within kReach pixels of it, which a
// displacement of the line within that reach cannot leave. Past the range only rounding
// remains: the zoom samples the same positions on both paths, but the card's linear filter
// weighs with 8 bits of fraction, and the 8-bit profiles, over-operator and products
// truncate where the card rounds, a level each; where a line's Gaussian flank bends
// between two of the GPU's pixels, a sample of the CPU's at another phase lies outside
// their range by a few levels more: 6 at most. A colour counts by the pixel's alpha, as
// it shows over what the host lays below. The plain difference, without neighbours, is
// large only in the band along the line and the edge, a few pixels wide in 192, so its
// mean over the picture stays within 5 levels.
constexpr double kMaxLevels = 6.0;
constexpr double kMeanLevels = 5.0;
constexpr int kReach = 3;

cv::Mat Photograph() {
  cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg");
  cv::Mat small;
  cv::resize(bgr, small, cv::Size(kWidth, kHeight), 0, 0, cv::INTER_AREA);
  cv::Mat bgra;
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

// The pictures as doubles in 8-bit levels.
cv::Mat Levels(const cv::Mat& picture) {
  cv::Mat out;
  picture.convertTo(out, CV_64FC4, picture.depth() == CV_32F ? 255.0 : 1.0);
  return out;
}

struct Difference {
  double worst = 0.0;  // of the nearest match in the neighbourhood
  double mean = 0.0;   // plain, over the picture and the channels
};

// Pixels where `skip` is set are not compared.
Difference Compare(const cv::Mat& cpu, const cv::Mat& gpu, const cv::Mat& skip) {
  const cv::Mat a = Levels(cpu);
  const cv::Mat b = Levels(gpu);
  Difference d;
  cv::Mat plain = cv::abs(a - b);
  const cv::Scalar mean = cv::mean(plain, skip == 0);
  d.mean = std::max({mean[0], mean[1], mean[2], mean[3]});
  for (int y = 0; y < a.rows; ++y) {
    for (int x = 0; x < a.cols; ++x) {
      if (skip.at<uint8_t>(y, x) != 0) continue;
      // Each channel against the range of the GPU's values within two pixels.
      const cv::Vec4d p = a.at<cv::Vec4d>(y, x);
      double best = 0.0;
      for (int c = 0; c < 4; ++c) {
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
        // A colour shows by its alpha over what the host lays below: where the split leaves
        // almost nothing of the picture, the line's colour weight divides two small numbers,
        // and the colour alone would differ more than anyone could see.
        const double weight = c == 3 ? 1.0 : p[3] / 255.0;
        best = std::max({best, (lo - p[c]) * weight, (p[c] - hi) * weight});
      }
      d.worst = std::max(d.worst, best);
    }
  }
  return d;
}

// The pixels within `reach` of the split line, in the upright picture: the line runs
// through the centre, and the picture's side lies against (cos 2 pi a, sin 2 pi a) with y
// downwards.
cv::Mat Band(const SplitScreenValues& v, double reach) {
  cv::Mat band(kHeight, kWidth, CV_8UC1, cv::Scalar(0));
  const double phi = v.angle * 2.0 * CV_PI;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double d =
          -(x - kWidth * v.centerX) * std::cos(phi) - (y - kHeight * v.centerY) * std::sin(phi);
      band.at<uint8_t>(y, x) = std::fabs(d) <= reach ? 1 : 0;
    }
  }
  return band;
}

class SplitScreenParity : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    services_ = host::CreateEglServices(&reason);
    ASSERT_NE(services_, nullptr) << "no OpenGL context: " << reason;
    effect_ = new CSplitScreen();
  }
  void TearDown() override {
    if (effect_ != nullptr) effect_->Release();
  }

  std::unique_ptr<host::EglServices> services_;
  CSplitScreen* effect_ = nullptr;
};

TEST_F(SplitScreenParity, EveryPresetMatchesOnBothPaths) {
  const cv::Mat picture = Photograph();
  ASSERT_FALSE(picture.empty());
  const RenderInfo info = testing::WholeFrameInfo();
  const int centreIndex = testing::ParamIndex(effect_, "Split Center");
  const int shiftIndex = testing::ParamIndex(effect_, "Shift");
  const auto q = static_cast<float>(std::min(kWidth, kHeight) >> 2);

  for (uint32_t preset = 0; const char* name = effect_->GetPresetName(preset); ++preset) {
    const std::vector<ParamValue> values = testing::EffectValues(effect_, static_cast<int>(preset));
    testing::FakeHost params(values);
    const SplitScreenValues v = ReadSplitScreen(&params);
    // Lock with Center and Shift at their ends moves the picture a whole frame, which the
    // CPU stops at 0.99 of it and the GPU does not: a sliver against nothing.
    const float t = (0.5f - v.shiftY) + (v.lock ? 0.5f - v.centerY : 0.0f);
    const float s = (v.shiftX - 0.5f) + (v.lock ? v.centerX - 0.5f : 0.0f);
    if (std::fabs(s) > 0.99f || std::fabs(t) > 0.99f) {
      std::printf("parity %-22s left out: a shift past 0.99 of the frame\n", name);
      continue;
    }
    // The CPU raises a thin line to a pixel with a feather of one or two; the GPU draws it
    // as its pixels come out, none at all below one. Where that differs, the line's band
    // is left out of the comparison.
    const int l = static_cast<int>(q * v.lineWidth);
    const int f = static_cast<int>(q * v.feather);
    const bool line = SplitLineOpacity(q, v.lineWidth, l) > 0.0f;
    const bool raised = line && (l == 0 || f < ((l & 1) != 0 ? 1 : 2));
    const int n = f + std::max(l, line ? 1 : 0) + (raised ? 2 : 0);

    double worst = 0.0;
    double worstMean = 0.0;
    for (PixelFormat format : testing::kHostFormats) {
      for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
        SCOPED_TRACE(::testing::Message()
                     << name << ", format " << format << ", "
                     << (order == RowOrder::kTopFirst ? "top" : "bottom") << " first");
        OwnedFrame source = host::PictureToFrame(picture, format, order);
        OwnedFrame cpu = host::FrameLike(source.record());
        OwnedFrame gpu = host::FrameLike(source.record());
        host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(), info,
                          "Split Screen");
        // A flipped frame's centre and shift are turned over on the CPU alone: the GPU's
        // picture is the CPU's with both mirrored.
        std::vector<ParamValue> mirrored = values;
        const bool flipped = source.record().flipped != 0;
        if (flipped) {
          mirrored[static_cast<size_t>(centreIndex)].point[1] = 1.0f - v.centerY;
          mirrored[static_cast<size_t>(shiftIndex)].point[1] = 1.0f - v.shiftY;
        }
        testing::FakeHost cpuParams(mirrored);
        ASSERT_TRUE(effect_->Render(&cpuParams, &source.record(), 0, &cpu.record(), &info));
        SplitScreenValues drawn = v;
        if (flipped) drawn.centerY = 1.0f - v.centerY;
        const cv::Mat skip =
            raised ? Band(drawn, n * 0.5 + 3.0) : cv::Mat(kHeight, kWidth, CV_8UC1, cv::Scalar(0));
        const Difference d =
            Compare(host::FrameToPicture(cpu.record()), host::FrameToPicture(gpu.record()), skip);
        worst = std::max(worst, d.worst);
        worstMean = std::max(worstMean, d.mean);
        EXPECT_LE(d.worst, kMaxLevels);
        EXPECT_LE(d.mean, kMeanLevels);
      }
    }
    std::printf("parity %-22s max %.1f mean %.3f%s\n", name, worst, worstMean,
                raised ? " (line band left out)" : "");
  }
}

// The GPU's own rule for a flipped source turns the angle alone; the halves still keep the
// side their names say, in either row order.
TEST_F(SplitScreenParity, HalfPresetsKeepTheirSideOnTheGpu) {
  const cv::Mat picture = Photograph();
  const RenderInfo info = testing::WholeFrameInfo();
  for (const std::string name : {"Left Half", "Top Half", "Right Half", "Bottom Half"}) {
    testing::FakeHost params(testing::EffectValues(effect_, testing::PresetIndex(effect_, name)));
    for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
      for (PixelFormat format : {PixelFormat8ARGB, PixelFormat32FBGRA}) {
        SCOPED_TRACE(::testing::Message()
                     << name << ", format " << format << ", "
                     << (order == RowOrder::kTopFirst ? "top" : "bottom") << " first");
        OwnedFrame source = host::PictureToFrame(picture, format, order);
        OwnedFrame gpu = host::FrameLike(source.record());
        host::RenderOnGpu(*services_, *effect_, params, source.record(), gpu.record(), info,
                          "Split Screen");
        cv::Mat upright = Levels(host::FrameToPicture(gpu.record()));
        for (int y = 0; y < kHeight; ++y) {
          for (int x = 0; x < kWidth; ++x) {
            // Signed distance into the kept side; the feathers reach 14 pixels here.
            const int across = name == "Left Half"    ? kWidth / 2 - x
                               : name == "Right Half" ? x - kWidth / 2
                               : name == "Top Half"   ? kHeight / 2 - y
                                                      : y - kHeight / 2;
            if (std::abs(across) < 16) continue;
            ASSERT_NEAR(upright.at<cv::Vec4d>(y, x)[3], across > 0 ? 255.0 : 0.0, 0.5)
                << x << "," << y;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace vitrella
