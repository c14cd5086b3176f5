// Dual Booster's rows, and the same work built from OpenCV's parts: the luminance by a
// one-row transform, the steepened mask by a scaled conversion, each band by a transform
// with its 3x4 colour matrix (alpha kept), and the two bands mixed through the mask.
#include <opencv2/imgproc.hpp>

#include "bench/effect_bench.h"
#include "core/colour_adjust.h"
#include "effects/dual_booster.h"

namespace vitrella::bench {
namespace {

// The band's matrix as a 4x4 transform of blue-first pixels that keeps alpha.
cv::Matx44f BandTransform(float brightness, float colour, bool bytes) {
  const ColourMatrix m = ColourAdjustMatrix(brightness, colour, bytes);
  cv::Matx44f t = cv::Matx44f::zeros();
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j)
      t(i, j) = m.m[i][j];
  }
  t(3, 3) = 1.0f;
  return t;
}

void DualBoosterOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  const bool bytes = src.depth() == CV_8U;
  const float c = v.Slider("Center");
  const float k = DualBoosterSteepness(v.Slider("Blend"));
  const double full = bytes ? 255.0 : 1.0;
  cv::Mat mask;
  cv::transform(src, mask, cv::Matx14f(0.113f, 0.586f, 0.298f, 0.0f));
  mask.convertTo(mask, CV_32F, k / full, c * (1.0 - k));
  cv::min(cv::max(mask, 0.0), 1.0, mask);
  // The transform's offsets go through the matrix's fifth column.
  const auto band = [&](const char* group, cv::Mat& out) {
    const float b = DualBoosterCurve(v.Slider("Brightness", group));
    const float s = DualBoosterCurve(v.Slider("Color", group));
    const ColourMatrix m = ColourAdjustMatrix(b, s, bytes);
    cv::Matx<float, 4, 5> t = cv::Matx<float, 4, 5>::zeros();
    const cv::Matx44f square = BandTransform(b, s, bytes);
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 4; ++j)
        t(i, j) = square(i, j);
    }
    for (int i = 0; i < 3; ++i)
      t(i, 4) = m.m[i][3];
    cv::transform(src, out, t);
  };
  cv::Mat light;
  cv::Mat dark;
  band("Light", light);
  band("Dark", dark);
  cv::Mat inverse = 1.0f - mask;
  cv::blendLinear(light, dark, mask, inverse, dst);
}

VITRELLA_EFFECT_BENCH(
    "DualBooster", []() -> IVideoEffect* { return new CDualBooster(); }, "Add Pop", "AddPop",
    &DualBoosterOpenCv);

}  // namespace
}  // namespace vitrella::bench
