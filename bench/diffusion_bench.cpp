// Diffusion's rows, and the same work built from OpenCV's parts: the dimming by a scaled
// conversion, the colour sum by a one-row transform, the bright mask by two thresholds, the
// triangular blur as two box passes in each direction (a triangle is a box convolved with
// a box), and the glow added in its colour; alpha copied back.
#include <opencv2/imgproc.hpp>

#include "bench/effect_bench.h"
#include "effects/diffusion.h"

namespace vitrella::bench {
namespace {

void DiffusionOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  const bool bytes = src.depth() == CV_8U;
  const double full = bytes ? 255.0 : 1.0;
  const float glow = v.Slider("Glow");
  const float m = 1.0f - v.Slider("Dim") * 0.5f;
  const DiffusionKernels k = DiffusionKernelSizes(src.cols, v.Slider("Blur"), 1.0f, 3);
  src.convertTo(dst, -1, m);
  // A third of the sum, so that bytes do not saturate.
  cv::Mat third;
  cv::transform(dst, third, cv::Matx14f(1.0f / 3.0f, 1.0f / 3.0f, 1.0f / 3.0f, 0.0f));
  const double low = (1.0 - v.Slider("Ambience")) * 320.0 / 3.0 * full / 255.0;
  const double high = ((1.0 - glow) * 385.0 + 321.0) / 3.0 * full / 255.0;
  // (s - low) from low, plus (s - high) and the step of low from high: 2 s - high.
  cv::Mat mask;
  cv::Mat above;
  cv::Mat step;
  cv::threshold(third, mask, low, 0, cv::THRESH_TOZERO);
  cv::subtract(mask, cv::Scalar(low), mask, mask > 0);
  cv::threshold(third, above, high, 0, cv::THRESH_TOZERO);
  cv::subtract(above, cv::Scalar(high), above, above > 0);
  cv::threshold(third, step, high, low, cv::THRESH_BINARY);
  mask += above + step;
  const int half = (k.kx + 1) / 2;
  if (k.kx > 1) {
    cv::blur(mask, mask, cv::Size(half, 1), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    cv::blur(mask, mask, cv::Size(half, 1), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    cv::blur(mask, mask, cv::Size(1, half), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    cv::blur(mask, mask, cv::Size(1, half), cv::Point(-1, -1), cv::BORDER_REPLICATE);
  }
  const uint32_t color = v.Get("Color").color;
  const auto gain = [&](int shift) { return static_cast<double>(((color >> shift) & 0xFF) >> 6); };
  cv::Mat glow4;
  cv::cvtColor(mask, glow4, cv::COLOR_GRAY2BGRA);
  cv::multiply(glow4, cv::Scalar(gain(16) * glow, gain(8) * glow, gain(0) * glow, 0.0), glow4);
  cv::add(dst, glow4, dst);
  if (!bytes) cv::min(dst, 1.0, dst);
  const int alpha[] = {3, 3};
  cv::mixChannels(&src, 1, &dst, 1, alpha, 1);
}

VITRELLA_EFFECT_BENCH(
    "Diffusion", []() -> IVideoEffect* { return new CDiffusionFilter(); }, "Toxic Crush",
    "ToxicCrush", &DiffusionOpenCv);

}  // namespace
}  // namespace vitrella::bench
