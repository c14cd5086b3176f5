// Gradient Tint's rows, and the same work built from OpenCV's parts: the ramp rotated onto
// the frame by warpAffine (cubic, one row standing for the strip), the tint picture and
// every mix as blendLinear, the colour match from the squared colour distance and the hue
// distance of cvtColor's HSV, the mask's box filter, then Normal mode's mixes, or in Hue
// mode both pictures through HSV and back.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "bench/effect_bench.h"
#include "effects/gradient_tint.h"

namespace vitrella::bench {
namespace {

cv::Scalar TintColour(const ParamValue& colour, float blend, double full) {
  const auto channel = [&](int shift) {
    return (static_cast<double>((colour.color >> shift) & 0xFF) / 255.0 * blend + (1.0 - blend)) *
           full;
  };
  return {channel(16), channel(8), channel(0), full};  // blue, green, red, alpha
}

// The pictures of one render, kept from frame to frame as a pipeline that renders a clip
// would keep them: OpenCV then writes into memory it has already touched, as our image
// pool lets our render do.
struct TintWork {
  cv::Mat row, gradient, inverse, first, second, tint, pf, tf, diff, squared, distance;
  cv::Mat hsvP, hsvT, hue, match, mask1, mask2, mask, strength, tinted, hsv, bgr;
  std::vector<cv::Mat> planesP, planesT, planes;
};

void GradientTintOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  thread_local TintWork k;
  const bool bytes = src.depth() == CV_8U;
  const double full = bytes ? 255.0 : 1.0;
  const int w = src.cols;
  const int h = src.rows;
  const float b1 = v.Slider("Blend", "First Tint");
  const float b2 = v.Slider("Blend", "Second Tint");
  // The gradient: a falling ramp rotated about the centre onto the frame. Its rows are all
  // alike, so one row with its edge rows repeated stands for the whole strip.
  const double theta = v.Slider("Angle") * 360.0 + 90.0;
  const int ramp = std::max(1, static_cast<int>(v.Slider("Crossfade") * 1.5f * std::min(w, h)));
  const int reach = static_cast<int>(std::sqrt(2.0 * std::max(w, h) * std::max(w, h)));
  k.row.create(1, reach + reach / 2, CV_32F);
  for (int x = 0; x < k.row.cols; ++x)
    k.row.at<float>(x) = static_cast<float>(std::max(0.0, 1.0 - static_cast<double>(x) / ramp));
  const ParamValue centre = v.Get("Center");
  const double r = theta * CV_PI / 180.0;
  const double c = std::cos(r);
  const double s = std::sin(r);
  const auto half = static_cast<double>(ramp >> 1);
  const double cx = w * centre.point[0] - half * c - reach * s;
  const double cy = h * (1.0 - centre.point[1]) + half * s - reach * c;
  const cv::Matx23d map(c, s, cx, -s, c, cy);
  cv::warpAffine(k.row, k.gradient, map, src.size(), cv::INTER_CUBIC, cv::BORDER_REPLICATE);
  cv::subtract(1.0, k.gradient, k.inverse);

  // The tint picture, and the colour match of each pixel with it.
  const int type = src.type();
  k.first.create(h, w, type);
  k.first.setTo(TintColour(v.Get("Color", "First Tint"), b1, full));
  k.second.create(h, w, type);
  k.second.setTo(TintColour(v.Get("Color", "Second Tint"), b2, full));
  cv::blendLinear(k.first, k.second, k.gradient, k.inverse, k.tint);
  src.convertTo(k.pf, CV_32F, 1.0 / full);
  k.tint.convertTo(k.tf, CV_32F, 1.0 / full);
  cv::subtract(k.pf, k.tf, k.diff);
  cv::multiply(k.diff, k.diff, k.squared);
  cv::transform(k.squared, k.distance, cv::Matx14f(1.0f, 1.0f, 1.0f, 0.0f));
  cv::cvtColor(k.pf, k.hsvP, cv::COLOR_BGRA2BGR);
  cv::cvtColor(k.hsvP, k.hsvP, cv::COLOR_BGR2HSV);
  cv::cvtColor(k.tf, k.hsvT, cv::COLOR_BGRA2BGR);
  cv::cvtColor(k.hsvT, k.hsvT, cv::COLOR_BGR2HSV);
  cv::extractChannel(k.hsvP, k.hue, 0);
  cv::Mat tintHue;
  cv::extractChannel(k.hsvT, tintHue, 0);
  cv::absdiff(k.hue, tintHue, k.hue);
  cv::min(k.hue, 360.0 - k.hue, k.hue);
  cv::scaleAdd(k.hue, 1.0 / 60.0, k.distance, k.match);
  k.match.convertTo(k.match, CV_32F, -4.0 / 6.0, 1.0);
  cv::max(k.match, 0.0, k.match);
  const float base1 = 1.0f - v.Slider("Mask", "First Tint");
  const float base2 = 1.0f - v.Slider("Mask", "Second Tint");
  cv::add(k.match, base1, k.mask1);
  cv::min(k.mask1, 1.0, k.mask1);
  cv::add(k.match, base2, k.mask2);
  cv::min(k.mask2, 1.0, k.mask2);
  cv::multiply(k.mask1, k.gradient, k.mask1);
  cv::multiply(k.mask2, k.inverse, k.mask2);
  cv::add(k.mask1, k.mask2, k.mask);
  const int box = static_cast<int>(0.05 * std::min(w, h)) | 1;
  cv::boxFilter(k.mask, k.mask, -1, cv::Size(box, box), cv::Point(-1, -1), true,
                cv::BORDER_REPLICATE);

  // Strength, the blend, and the mix through the mask.
  cv::addWeighted(k.gradient, b1, k.inverse, b2, 0.0, k.strength);
  if (v.Get("Blend Mode").choice == 9) {
    cv::split(k.hsvP, k.planes);
    cv::Mat weak;
    cv::subtract(1.0, k.strength, weak);
    cv::multiply(tintHue, k.strength, tintHue);
    cv::multiply(k.planes[0], weak, k.planes[0]);
    cv::add(tintHue, k.planes[0], k.planes[0]);
    cv::merge(k.planes, k.hsv);
    cv::cvtColor(k.hsv, k.bgr, cv::COLOR_HSV2BGR);
    cv::cvtColor(k.bgr, k.tinted, cv::COLOR_BGR2BGRA);
    k.tinted.convertTo(k.tinted, type, full);
  } else {
    cv::subtract(1.0, k.strength, k.inverse);
    cv::blendLinear(k.tint, src, k.strength, k.inverse, k.tinted);
  }
  cv::subtract(1.0, k.mask, k.inverse);
  cv::blendLinear(k.tinted, src, k.mask, k.inverse, dst);
}

VITRELLA_EFFECT_BENCH(
    "GradientTint", []() -> IVideoEffect* { return new CGradientTint(); }, "Desert Victory",
    "DesertVictory", &GradientTintOpenCv);

}  // namespace
}  // namespace vitrella::bench
