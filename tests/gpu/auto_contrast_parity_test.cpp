// Auto Contrast on both paths over a real photograph, every preset, each GPU way, 8-bit and
// float, both row orders, through the reference host's EGL services (llvmpipe in CI).
//
// The two paths measure different pictures: the CPU a blurred copy of the inner 90%, the
// GPU the whole picture unblurred. Their black and white levels differ, and the tolerance
// follows from that difference, preset by preset. The stretch c(x) = (x - lo) * gain / 256
// is affine in the level x, so two stretches differ most at x = 0 or x = 255; the move
// from grey, c +- s (c - mean), adds at most s to that for c and s for the mean:
//   (1 + 2s) * max(|dc(0)|, |dc(255)|).
// The levels here come from the 8-bit rules on each picture's histogram. The GPU's own
// rules may put each level up to one bucket away from those (the query way takes bucket
// middles, floats bucket by 1/257), and a level moved by one moves the stretch by up to
// gain / 256; the CPU's bytes stretch by 255/256 of what floats on the card stretch, which
// at the top is one more level moved: (1 + 2s) * 3 * |gain| / 256 more. Last, 2 levels
// for rounding: shifts that truncate on the CPU's bytes, rounding into the card's targets.
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
#include "common/hidden_ways.h"
#include "core/frame_blur.h"
#include "core/frame_buffer.h"
#include "effects/auto_contrast.h"
#include "host/gpu_render.h"
#include "host/host_frames.h"
#include "kernels/levels.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

using host::OwnedFrame;
using host::RowOrder;

// The photograph, small: the query way draws it 768 times on llvmpipe.
cv::Mat Photograph() {
  const cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg");
  cv::Mat small;
  cv::Mat bgra;
  if (bgr.empty()) return bgra;
  cv::resize(bgr, small, cv::Size(128, 96), 0, 0, cv::INTER_AREA);
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

kernels::RgbHistogram HistogramOf(const cv::Mat& bgra) {
  kernels::RgbHistogram h{};
  const kernels::ConstImageView view{bgra.data, static_cast<ptrdiff_t>(bgra.step), bgra.cols,
                                     bgra.rows};
  EXPECT_EQ(kernels::HistogramRgb8u_C4(view, {0, 1, 2}, &h), kernels::kOk);
  return h;
}

// What the CPU measures: the picture blurred by a tenth of its width, its inner 90%.
cv::Mat BlurredInner(const cv::Mat& bgra) {
  cv::Mat blurred(bgra.size(), CV_8UC4);
  FrameBuffer in;
  FrameBuffer out;
  in.Attach(const_cast<uint8_t*>(bgra.data), bgra.cols, bgra.rows, static_cast<int32_t>(bgra.step),
            4, PixelFormat8BGRA, false);
  out.Attach(blurred.data, blurred.cols, blurred.rows, static_cast<int32_t>(blurred.step), 4,
             PixelFormat8BGRA, false);
  const float size = static_cast<float>(bgra.cols) * 0.1f;
  EXPECT_TRUE(FrameBlur(in, out, size, size, nullptr, 1));
  const auto mx = static_cast<int>(static_cast<float>(bgra.cols) * 0.05f);
  const auto my = static_cast<int>(static_cast<float>(bgra.rows) * 0.05f);
  return blurred(cv::Rect(mx, my, bgra.cols - 2 * mx, bgra.rows - 2 * my)).clone();
}

double Tolerance(const kernels::ByteLevels& cpu, const kernels::ByteLevels& gpu) {
  const auto stretch = [](const kernels::ByteLevels& l, int x) {
    return static_cast<double>(x - l.lo) * l.gain / 256.0;
  };
  const double ends = std::max(std::fabs(stretch(cpu, 0) - stretch(gpu, 0)),
                               std::fabs(stretch(cpu, 255) - stretch(gpu, 255)));
  const double move = 1.0 + 2.0 * cpu.strength / 1024.0;
  return move * (ends + 3.0 * std::abs(gpu.gain) / 256.0) + 2.0;
}

TEST(AutoContrastParity, EveryPresetOnEachWayStaysWithinItsDerivedTolerance) {
  const cv::Mat picture = Photograph();
  ASSERT_FALSE(picture.empty());
  const kernels::RgbHistogram whole = HistogramOf(picture);
  const kernels::RgbHistogram inner = HistogramOf(BlurredInner(picture));
  CAutoContrast* effect = new CAutoContrast();
  const RenderInfo info = testing::WholeFrameInfo();
  for (const char* way : {"scatter", "query"}) {
    // The other way hidden, so that this one is taken.
    auto services = testing::ServicesHiding(way == std::string("scatter") ? "query" : "scatter");
    ASSERT_NE(services, nullptr);
    for (uint32_t preset = 0; const char* name = effect->GetPresetName(preset); ++preset) {
      const std::vector<ParamValue> values =
          testing::EffectValues(effect, static_cast<int>(preset));
      testing::FakeHost params(values);
      const AutoContrastValues v{values[0].slider, values[1].slider};
      const double tolerance =
          Tolerance(AutoContrastByteLevels(inner, v), AutoContrastByteLevels(whole, v));
      double worst = 0.0;
      double worstMean = 0.0;
      for (PixelFormat format : testing::kHostFormats) {
        for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
          OwnedFrame source = host::PictureToFrame(picture, format, order);
          OwnedFrame cpu = host::FrameLike(source.record());
          OwnedFrame gpu = host::FrameLike(source.record());
          ASSERT_TRUE(effect->Render(&params, &source.record(), 0, &cpu.record(), &info));
          host::RenderOnGpu(*services, *effect, params, source.record(), gpu.record(), info,
                            "Auto Contrast");
          cv::Mat a;
          cv::Mat b;
          const double scale = IsFloatFormat(format) ? 255.0 : 1.0;
          host::FrameToPicture(cpu.record()).convertTo(a, CV_64FC4, scale);
          host::FrameToPicture(gpu.record()).convertTo(b, CV_64FC4, scale);
          const cv::Mat diff = cv::abs(a - b);
          std::vector<cv::Mat> channels;
          cv::split(diff, channels);
          for (int c = 0; c < 3; ++c) {
            double max = 0.0;
            cv::minMaxLoc(channels[static_cast<size_t>(c)], nullptr, &max);
            worst = std::max(worst, max);
            worstMean = std::max(worstMean, cv::mean(channels[static_cast<size_t>(c)])[0]);
          }
          double alpha = 0.0;
          cv::minMaxLoc(channels[3], nullptr, &alpha);
          EXPECT_LE(alpha, 0.5) << name << ", " << way << ", format " << format;
        }
      }
      EXPECT_LE(worst, tolerance) << name << ", " << way;
      std::printf("parity %-7s %-14s max %5.1f mean %5.2f tolerance %5.1f\n", way, name, worst,
                  worstMean, tolerance);
    }
  }
  effect->Release();
}

}  // namespace
}  // namespace vitrella
