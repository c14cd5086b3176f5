// Proportion Helper's rows, and the same work built from OpenCV's parts: the guide drawn
// into a one-byte mask with anti-aliased lines and elliptic arcs of the same thickness,
// then the picture mixed with its own negative by the mask and the alpha raised to the
// guide's strength.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "bench/effect_bench.h"
#include "effects/proportion_guides.h"
#include "effects/proportion_helper.h"

namespace vitrella::bench {
namespace {

void DrawGuide(cv::Mat& mask, int shape, int t) {
  const int w = mask.cols;
  const int h = mask.rows;
  const cv::Scalar ink(0);
  const auto line = [&](int x0, int y0, int x1, int y1) {
    cv::line(mask, {x0, y0}, {x1, y1}, ink, t, cv::LINE_AA);
  };
  const int g = static_cast<int>(w * kGoldenRatio);
  const int gh = static_cast<int>(h * kGoldenRatio);
  switch (shape) {
    case 0:
      for (int i = 1; i <= 2; ++i) {
        line(0, i * h / 3, w, i * h / 3);
        line(i * w / 3, 0, i * w / 3, h);
      }
      break;
    case 1:
      line(g, 0, g, h);
      line(w - g, 0, w - g, h);
      line(0, gh, w, gh);
      line(0, h - gh, w, h - gh);
      break;
    case 2:
    case 3: {
      const GoldenSteps s = GoldenStepsOf(w, h);
      if (shape == 3) {
        line(s.x1, 0, s.x1, h);
        line(s.x1, s.y1, w, s.y1);
        line(s.x2, s.y1, s.x2, h);
        line(s.x1, s.y2, s.x2, s.y2);
        line(s.x3, s.y1, s.x3, s.y2);
        line(s.x3, s.y3, s.x2, s.y3);
      } else {
        cv::ellipse(mask, {s.x1, h}, {s.x1, h}, 0, 180, 270, ink, t, cv::LINE_AA);
        cv::ellipse(mask, {s.x1, s.y1}, {w - s.x1, s.y1}, 0, 270, 360, ink, t, cv::LINE_AA);
        cv::ellipse(mask, {s.x2, s.y1}, {w - s.x2, h - s.y1}, 0, 0, 90, ink, t, cv::LINE_AA);
        cv::ellipse(mask, {s.x2, s.y2}, {s.x2 - s.x1, h - s.y2}, 0, 90, 180, ink, t, cv::LINE_AA);
      }
      break;
    }
    case 4:
      line(0, h, w, 0);
      line(0, 0, w - g, h);
      line(g, 0, w, h);
      break;
    default:
      line(0, h, w, 0);
      line(0, 0, w, h);
      break;
  }
  cv::rectangle(mask, {0, 0}, {w - 1, h - 1}, ink, 1);
}

void ProportionHelperOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  const int w = src.cols;
  const int h = src.rows;
  const bool bytes = src.depth() == CV_8U;
  int t = static_cast<int>(std::max(w, h) * (v.Slider("Thickness") * 0.033f));
  if (t < 2) t = 1;
  cv::Mat mask(h, w, CV_8UC1, cv::Scalar(255));
  DrawGuide(mask, v.Get("Shape").choice, t);
  cv::Mat strength;
  cv::subtract(cv::Scalar(255), mask, strength);
  cv::Mat k;
  cv::Mat g;
  strength.convertTo(k, CV_32F, 1.0 / 255.0);
  mask.convertTo(g, CV_32F, 1.0 / 255.0);
  cv::Mat negative;
  cv::subtract(cv::Scalar::all(bytes ? 255.0 : 1.0), src, negative);
  cv::blendLinear(negative, src, k, g, dst);
  cv::Mat alpha;
  cv::extractChannel(src, alpha, 3);
  if (!bytes) strength.convertTo(strength, CV_32F, 1.0 / 255.0);
  cv::max(alpha, strength, alpha);
  cv::insertChannel(alpha, dst, 3);
}

VITRELLA_EFFECT_BENCH(
    "ProportionHelper", []() -> IVideoEffect* { return new PropHelper(); }, "Golden Spiral",
    "GoldenSpiral", &ProportionHelperOpenCv);

}  // namespace
}  // namespace vitrella::bench
