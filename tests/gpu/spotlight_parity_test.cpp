// Spotlight on both paths over a real photograph, every preset, 8-bit and float, both row
// orders, through the reference host's GPU services on an EGL context (llvmpipe in CI).
// No context is a failure here, not a skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "common/fake_host.h"
#include "effects/spotlight.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_frames.h"

namespace vitrella {
namespace {

using host::OwnedFrame;
using host::RowOrder;

// Tolerances in 8-bit levels per channel. The paths differ by design in the 8-bit grade
// (integer luma weights and tables on the CPU, float weights on the GPU), in rounding
// (tables truncate, render targets round) and in the mask's quantisation.
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

cv::Mat Photograph() {
  cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg");
  cv::Mat small;
  cv::resize(bgr, small, cv::Size(320, 300), 0, 0, cv::INTER_AREA);
  cv::Mat bgra;
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

TEST(SpotlightParity, EveryPresetMatchesOnBothPaths) {
  std::string reason;
  const std::unique_ptr<host::EglServices> services = host::CreateEglServices(&reason);
  ASSERT_NE(services, nullptr) << "no OpenGL context: " << reason;
  const cv::Mat picture = Photograph();
  ASSERT_FALSE(picture.empty());
  auto* effect = new CSpotlight();
  const RenderInfo info = testing::WholeFrameInfo();

  struct Figure {
    std::string name;
    double worstMean, worstMax;
  };
  std::vector<Figure> figures;
  for (int preset = 0; preset < 34; ++preset) {
    testing::FakeHost params(testing::EffectValues(effect, preset));
    Figure figure{effect->GetPresetName(static_cast<uint32_t>(preset)), 0, 0};
    for (PixelFormat format :
         {PixelFormat8BGRA, PixelFormat8ARGB, PixelFormat32FBGRA, PixelFormat32FARGB}) {
      for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
        OwnedFrame source = host::PictureToFrame(picture, format, order);
        OwnedFrame cpu = host::FrameLike(source.record());
        OwnedFrame gpu = host::FrameLike(source.record());
        ASSERT_TRUE(effect->Render(&params, &source.record(), 0, &cpu.record(), &info));
        host::RenderOnGpu(*services, *effect, params, source.record(), gpu.record(), info,
                          "Spotlight");
        // Differences in 8-bit levels, on both depths.
        const bool isFloat = format == PixelFormat32FBGRA || format == PixelFormat32FARGB;
        const Difference d = Compare(host::FrameToPicture(cpu.record()),
                                     host::FrameToPicture(gpu.record()), isFloat ? 255.0 : 1.0);
        for (int c = 0; c < 4; ++c) {
          figure.worstMean = std::max(figure.worstMean, d.mean[c]);
          figure.worstMax = std::max(figure.worstMax, d.max[c]);
          EXPECT_LE(d.mean[c], kMeanLevels)
              << figure.name << " format " << format << " channel " << c;
          EXPECT_LE(d.max[c], kMaxLevels)
              << figure.name << " format " << format << " channel " << c;
        }
      }
    }
    figures.push_back(figure);
  }
  std::sort(figures.begin(), figures.end(),
            [](const Figure& a, const Figure& b) { return a.worstMax > b.worstMax; });
  for (const Figure& f : figures)
    std::printf("parity %-22s mean %.3f max %.1f\n", f.name.c_str(), f.worstMean, f.worstMax);
  effect->Release();
}

}  // namespace
}  // namespace vitrella
