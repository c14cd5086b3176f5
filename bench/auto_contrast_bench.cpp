// Auto Contrast's rows, and the same work built from OpenCV's parts: the triangular blur as
// two box passes, the three histograms of the blurred inner 90%, the same limits, then the
// stretch as a lookup table (bytes) or a scale and offset (floats) and the move from grey as
// a colour transform.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "bench/effect_bench.h"
#include "effects/auto_contrast.h"

namespace vitrella::bench {
namespace {

kernels::RgbHistogram InnerHistogram(const cv::Mat& blurred) {
  const int mx = static_cast<int>(static_cast<float>(blurred.cols) * 0.05f);
  const int my = static_cast<int>(static_cast<float>(blurred.rows) * 0.05f);
  const cv::Mat inner = blurred(cv::Rect(mx, my, blurred.cols - 2 * mx, blurred.rows - 2 * my));
  const bool bytes = blurred.depth() == CV_8U;
  const float range[] = {0.0f, bytes ? 256.0f : 256.0f * kernels::kFloatLevelStep};
  const float* ranges[] = {range};
  const int size[] = {256};
  kernels::RgbHistogram out{};
  uint32_t* planes[3] = {out.blue, out.green, out.red};
  for (int c = 0; c < 3; ++c) {
    cv::Mat hist;
    const int channels[] = {c};
    cv::calcHist(&inner, 1, channels, cv::Mat(), hist, 1, size, ranges);
    for (int k = 0; k < 256; ++k)
      planes[c][k] = static_cast<uint32_t>(hist.at<float>(k));
  }
  return out;
}

// c + s (c - mean) for each colour channel: one matrix over blue, green, red.
cv::Matx44f MoveFromGrey(float s) {
  cv::Matx44f m = cv::Matx44f::eye();
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c)
      m(r, c) = (r == c ? 1.0f + s : 0.0f) - s / 3.0f;
  }
  return m;
}

void AutoContrastOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  const AutoContrastValues values{v.Slider("Intensity"), v.Slider("Vibrance")};
  const int n = static_cast<int>(static_cast<float>(src.cols) * 0.1f);
  cv::Mat blurred;
  const cv::Size box(n / 2 + 1, n / 2 + 1);
  cv::blur(src, blurred, box, cv::Point(-1, -1), cv::BORDER_REPLICATE);
  cv::blur(blurred, blurred, box, cv::Point(-1, -1), cv::BORDER_REPLICATE);
  const kernels::RgbHistogram histogram = InnerHistogram(blurred);
  if (src.depth() == CV_8U) {
    const kernels::ByteLevels levels = AutoContrastByteLevels(histogram, values);
    cv::Mat table(1, 256, CV_8UC4);
    for (int i = 0; i < 256; ++i) {
      const int c = std::clamp(((i - levels.lo) * levels.gain) >> 8, 0, 255);
      table.at<cv::Vec4b>(i) = cv::Vec4b(static_cast<uint8_t>(c), static_cast<uint8_t>(c),
                                         static_cast<uint8_t>(c), static_cast<uint8_t>(i));
    }
    cv::LUT(src, table, dst);
    const float s = static_cast<float>(levels.strength) / 1024.0f;
    if (levels.strength != 0) cv::transform(dst, dst, MoveFromGrey(levels.away ? s : -s));
  } else {
    const kernels::FloatLevels levels = AutoContrastFloatLevels(histogram, values);
    const double scale = 1.0 / levels.range;
    cv::Mat stretched;
    src.convertTo(stretched, CV_32F, scale, -levels.lo * scale);
    const float s = levels.away ? levels.strength : -levels.strength;
    cv::transform(stretched, dst, MoveFromGrey(s));
    cv::min(cv::max(dst, 0.0), 1.0, dst);
  }
}

VITRELLA_EFFECT_BENCH(
    "AutoContrast", []() -> IVideoEffect* { return new CAutoContrast(); }, "Big Boost", "BigBoost",
    &AutoContrastOpenCv);

}  // namespace
}  // namespace vitrella::bench
