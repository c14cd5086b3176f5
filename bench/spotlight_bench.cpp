// Spotlight's rows, and the same work built from OpenCV's parts: each region graded
// (saturation as a colour transform towards luma, the curve and tint as lookup tables on
// bytes, pow and a scale on floats), blurred by two box passes where its Blur asks, and the
// two mixed through a filled rotated ellipse softened by a box of the feather's width.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "bench/bench_common.h"
#include "bench/effect_bench.h"
#include "effects/spotlight.h"

namespace vitrella::bench {
namespace {

void Grade(const cv::Mat& src, cv::Mat& out, const BenchValues& v, const char* group) {
  const float s = 1.0f - v.Slider("Color", group) * 2.0f;
  constexpr float kLuma[3] = {0.113f, 0.586f, 0.298f};  // blue, green, red
  cv::Matx44f mix = cv::Matx44f::eye();
  for (int c = 0; c < 3; ++c) {
    for (int k = 0; k < 3; ++k)
      mix(c, k) = (c == k ? 1.0f - s : 0.0f) + s * kLuma[k];
  }
  cv::transform(src, out, mix);

  const float clarity = v.Slider("Clarity", group);
  const float e = std::pow(0.5f, v.Slider("Brightness", group) * 2.0f - 1.0f);
  const float range = v.Slider("Tint", group) * 4.0f - 2.0f;
  const uint32_t tint = v.Get("Tint", group).color;
  float amount[3];  // blue, green, red
  for (int c = 0; c < 3; ++c)
    amount[c] = (static_cast<float>((tint >> (8 * (2 - c))) & 0xFF) / 255.0f - 0.5f) * range;
  if (src.depth() == CV_8U) {
    cv::Mat table(1, 256, CV_8UC4);
    for (int i = 0; i < 256; ++i) {
      const float p = std::pow(static_cast<float>(i) / 255.0f, e);
      const float curve =
          (std::sin(p * 3.1415927f - 1.5707964f) + 1.0f) * 0.5f * clarity + (1.0f - clarity) * p;
      cv::Vec4b& entry = table.at<cv::Vec4b>(i);
      for (int c = 0; c < 3; ++c) {
        const float a = amount[c];
        const float t =
            a >= 0 ? (1 - a * 0.5f) * curve + a * 0.5f : std::max(0.0f, curve + a * 0.5f);
        entry[c] = cv::saturate_cast<uint8_t>(t * 255.0f);
      }
      entry[3] = static_cast<uint8_t>(i);
    }
    cv::LUT(out, table, out);
  } else {
    cv::pow(out, e, out);
    cv::multiply(out, cv::Scalar(1 - amount[0] * 0.5, 1 - amount[1] * 0.5, 1 - amount[2] * 0.5, 1),
                 out);
    cv::add(out, cv::Scalar(amount[0] * 0.5, amount[1] * 0.5, amount[2] * 0.5, 0), out);
  }
  // A triangle of n taps is two boxes of about n / 2.
  const int n = static_cast<int>(static_cast<float>(src.cols) * v.Slider("Blur", group) * 0.1f);
  if (n >= 2) {
    const cv::Size box(n / 2 + 1, n / 2 + 1);
    cv::blur(out, out, box, cv::Point(-1, -1), cv::BORDER_REPLICATE);
    cv::blur(out, out, box, cv::Point(-1, -1), cv::BORDER_REPLICATE);
  }
}

void SpotlightOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  cv::Mat spot;
  cv::Mat back;
  Grade(src, spot, v, "Spotlight");
  Grade(src, back, v, "Background");

  const ParamValue center = v.Get("Center");
  const ParamValue angle = v.Get("Angle");
  const float w = static_cast<float>(src.cols);
  const float dx = center.point[0] - angle.point[0];
  const float dy = center.point[1] - angle.point[1];
  const float r = v.Slider("Size") * 0.6f;
  const float feather = w * v.Slider("Feather") * v.Slider("Feather") * 0.7f;
  cv::Mat mask(src.size(), CV_32FC1, cv::Scalar(0));
  const cv::RotatedRect ellipse(
      cv::Point2f(center.point[0] * w, center.point[1] * static_cast<float>(src.rows)),
      cv::Size2f(2.0f * r * w, 2.0f * (dx * dx + dy * dy + r) * w), std::atan2(dx, dy) * 57.29578f);
  cv::ellipse(mask, ellipse, cv::Scalar(1.0), cv::FILLED);
  const int soft = static_cast<int>(feather);
  if (soft >= 2)
    cv::blur(mask, mask, cv::Size(soft, soft), cv::Point(-1, -1), cv::BORDER_REPLICATE);
  cv::Mat rest;
  cv::subtract(cv::Scalar(1.0), mask, rest);
  cv::blendLinear(spot, back, mask, rest, dst);
}

VITRELLA_EFFECT_BENCH(
    "Spotlight", []() -> IVideoEffect* { return new CSpotlight(); }, "Classic Portrait", "Portrait",
    &SpotlightOpenCv);

}  // namespace
}  // namespace vitrella::bench
