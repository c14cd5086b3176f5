// Split Screen's rows, and the same work built from OpenCV's parts: the zoom and shift as
// an affine warp onto a cleared picture, the edge as a strip of the profile warped onto a
// full mask by the line's rotation and multiplied by the picture's alpha, and the line as a
// strip of its colour warped and blended over the picture by its alpha.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "bench/effect_bench.h"
#include "effects/split_profiles.h"
#include "effects/split_screen.h"

namespace vitrella::bench {
namespace {

// A strip of `columns` values per row, then zeros, of the given width and height.
template <typename T>
cv::Mat Strip(const std::vector<T>& values, int width, int height, int type) {
  cv::Mat strip(height, width, type, cv::Scalar::all(0));
  const int n = std::min(static_cast<int>(values.size()), width);
  for (int y = 0; y < height; ++y)
    std::copy_n(values.begin(), n, strip.ptr<T>(y));
  return strip;
}

template <typename T>
void SplitScreenWork(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  constexpr bool kBytes = sizeof(T) == 1;
  const int w = src.cols;
  const int h = src.rows;
  const ParamValue center = v.Get("Split Center");
  const ParamValue shift = v.Get("Shift");
  const bool lock = v.Get("Lock Image to Split").check != 0;
  const auto q = static_cast<float>(std::min(w, h) >> 2);
  const float lineWidth = v.Slider("Line Width");
  int l = static_cast<int>(q * lineWidth);
  int f = static_cast<int>(q * v.Slider("Feather"));
  const float o = SplitLineOpacity(q, lineWidth, l);
  if (o > 0.0f) {
    l = std::max(l, 1);
    f = std::max(f, (l & 1) != 0 ? 1 : 2);
  }
  const int n = f + l;
  const double theta = v.Slider("Split Angle") * 2.0 * CV_PI;
  const double z = v.Slider("Crop") * 4.0 + 1.0;
  double s = shift.point[0] - 0.5;
  double t = 0.5 - shift.point[1];
  if (lock) {
    s += center.point[0] - 0.5;
    t += 0.5 - center.point[1];
  }
  s = std::clamp(s, -0.99, 0.99);
  t = std::clamp(t, -0.99, 0.99);

  cv::Mat zoomed(h, w, src.type(), cv::Scalar::all(0));
  const cv::Matx23d move(z, 0.0, s * w - (z - 1.0) * w * 0.5, 0.0, z, t * h - (z - 1.0) * h * 0.5);
  cv::warpAffine(src, zoomed, move, zoomed.size(), cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);

  // Strip pixel (u, v) lands on the centre at column n / 2, the strip's rows running along
  // the line.
  const int d = static_cast<int>(std::sqrt(2.0 * std::max(w, h) * std::max(w, h)));
  const double cx = (w - 1) * center.point[0];
  const double cy = (h - 1) * (1.0 - center.point[1]);
  const double c = std::cos(theta);
  const double si = std::sin(theta);
  const auto rotation = [&](double rowsBack) {
    const double u0 = -(n / 2);
    const double v0 = -rowsBack;
    return cv::Matx23d(c, si, cx + u0 * c + v0 * si, -si, c, cy - u0 * si + v0 * c);
  };

  const SplitProfiles<T> profiles = MakeSplitProfiles<T>(f, l, o);
  const int grey = kBytes ? CV_8UC1 : CV_32FC1;
  const double full = kBytes ? 255.0 : 1.0;
  cv::Mat edge(h, w, grey, cv::Scalar(full));
  cv::warpAffine(Strip(profiles.alpha, d + d / 2, 2 * d, grey), edge, rotation(d), edge.size(),
                 cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
  cv::Mat coverage;
  cv::extractChannel(zoomed, coverage, 3);
  cv::multiply(edge, coverage, edge, 1.0 / full);

  if (o > 0.0f) {
    const uint32_t colour = v.Get("Line Color").color;
    const double scale = kBytes ? 1.0 : 1.0 / 255.0;
    cv::Mat band(d + d / 4, n, src.type(),
                 cv::Scalar(((colour >> 16) & 0xFF) * scale, ((colour >> 8) & 0xFF) * scale,
                            (colour & 0xFF) * scale, full));
    cv::insertChannel(Strip(profiles.colour, n, band.rows, grey), band, 3);
    cv::Mat line(h, w, src.type(), cv::Scalar::all(0));
    cv::warpAffine(band, line, rotation((d + d / 4) * 0.5), line.size(), cv::INTER_LINEAR,
                   cv::BORDER_TRANSPARENT);
    cv::Mat weight;
    cv::extractChannel(line, weight, 3);
    weight.convertTo(weight, CV_32F, 1.0 / full);
    cv::Mat rest = 1.0 - weight;
    cv::blendLinear(line, zoomed, weight, rest, dst);
  } else {
    dst = zoomed;
  }
  cv::insertChannel(edge, dst, 3);
}

void SplitScreenOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  if (src.depth() == CV_8U) {
    SplitScreenWork<uint8_t>(src, dst, v);
  } else {
    SplitScreenWork<float>(src, dst, v);
  }
}

VITRELLA_EFFECT_BENCH(
    "SplitScreen", []() -> IVideoEffect* { return new CSplitScreen(); }, "Mow the Lawn",
    "MowTheLawn", &SplitScreenOpenCv);

}  // namespace
}  // namespace vitrella::bench
