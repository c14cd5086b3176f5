// Gradient Tint's rows, and the same work built from OpenCV's parts: the ramp strip rotated
// onto the frame by warpAffine (cubic), the tint picture and every mix as blendLinear, the
// colour match from the squared colour distance and the hue distance of cvtColor's HSV, the
// mask's box filter, then Normal mode's mixes, or in Hue mode both pictures through HSV and
// back.
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

void GradientTintOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  const bool bytes = src.depth() == CV_8U;
  const double full = bytes ? 255.0 : 1.0;
  const int w = src.cols;
  const int h = src.rows;
  const float b1 = v.Slider("Blend", "First Tint");
  const float b2 = v.Slider("Blend", "Second Tint");
  // The gradient: a falling ramp strip rotated about the centre onto a full frame.
  const double theta = v.Slider("Angle") * 360.0 + 90.0;
  const int ramp = std::max(1, static_cast<int>(v.Slider("Crossfade") * 1.5f * std::min(w, h)));
  const int reach = static_cast<int>(std::sqrt(2.0 * std::max(w, h) * std::max(w, h)));
  cv::Mat row(1, reach + reach / 2, CV_32F);
  for (int x = 0; x < row.cols; ++x)
    row.at<float>(x) = static_cast<float>(std::max(0.0, 1.0 - static_cast<double>(x) / ramp));
  cv::Mat strip;
  cv::repeat(row, 2 * reach, 1, strip);
  const ParamValue centre = v.Get("Center");
  const double r = theta * CV_PI / 180.0;
  const double c = std::cos(r);
  const double s = std::sin(r);
  const auto half = static_cast<double>(ramp >> 1);
  const double cx = w * centre.point[0] - half * c - reach * s;
  const double cy = h * (1.0 - centre.point[1]) + half * s - reach * c;
  const cv::Matx23d map(c, s, cx, -s, c, cy);
  cv::Mat gradient(h, w, CV_32F, cv::Scalar(1.0));
  cv::warpAffine(strip, gradient, map, gradient.size(), cv::INTER_CUBIC, cv::BORDER_TRANSPARENT);
  const cv::Mat inverse = 1.0 - gradient;

  // The tint picture, and the colour match of each pixel with it.
  const int type = src.type();
  const cv::Mat first(h, w, type, TintColour(v.Get("Color", "First Tint"), b1, full));
  const cv::Mat second(h, w, type, TintColour(v.Get("Color", "Second Tint"), b2, full));
  cv::Mat tint;
  cv::blendLinear(first, second, gradient, inverse, tint);
  cv::Mat pf, tf;
  src.convertTo(pf, CV_32F, 1.0 / full);
  tint.convertTo(tf, CV_32F, 1.0 / full);
  cv::Mat diff = pf - tf;
  cv::Mat squared;
  cv::multiply(diff, diff, squared);
  cv::Mat distance;
  cv::transform(squared, distance, cv::Matx14f(1.0f, 1.0f, 1.0f, 0.0f));
  cv::Mat hsvP, hsvT;
  cv::cvtColor(pf, hsvP, cv::COLOR_BGR2HSV);
  cv::cvtColor(tf, hsvT, cv::COLOR_BGR2HSV);
  std::vector<cv::Mat> planesP, planesT;
  cv::split(hsvP, planesP);
  cv::split(hsvT, planesT);
  cv::Mat hue;
  cv::absdiff(planesP[0], planesT[0], hue);
  cv::min(hue, 360.0 - hue, hue);
  cv::Mat match = 1.0 - 4.0 * (distance + hue / 60.0) / 6.0;
  cv::max(match, 0.0, match);
  const float base1 = 1.0f - v.Slider("Mask", "First Tint");
  const float base2 = 1.0f - v.Slider("Mask", "Second Tint");
  cv::Mat mask1, mask2;
  cv::min(match + base1, 1.0, mask1);
  cv::min(match + base2, 1.0, mask2);
  cv::Mat mask = mask1.mul(gradient) + mask2.mul(inverse);
  const int box = static_cast<int>(0.05 * std::min(w, h)) | 1;
  cv::boxFilter(mask, mask, -1, cv::Size(box, box), cv::Point(-1, -1), true, cv::BORDER_REPLICATE);

  // Strength, the blend, and the mix through the mask.
  const cv::Mat strength = gradient * b1 + inverse * b2;
  cv::Mat tinted;
  if (v.Get("Blend Mode").choice == 9) {
    cv::Mat hsv = hsvP.clone();
    std::vector<cv::Mat> planes;
    cv::split(hsv, planes);
    planes[0] = planesT[0].mul(strength) + planesP[0].mul(1.0 - strength);
    cv::merge(planes, hsv);
    cv::Mat bgr;
    cv::cvtColor(hsv, bgr, cv::COLOR_HSV2BGR);
    cv::cvtColor(bgr, tinted, cv::COLOR_BGR2BGRA);
    tinted.convertTo(tinted, type, full);
  } else {
    cv::blendLinear(tint, src, strength, 1.0 - strength, tinted);
  }
  cv::blendLinear(tinted, src, mask, 1.0 - mask, dst);
}

VITRELLA_EFFECT_BENCH(
    "GradientTint", []() -> IVideoEffect* { return new CGradientTint(); }, "Desert Victory",
    "DesertVictory", &GradientTintOpenCv);

}  // namespace
}  // namespace vitrella::bench
