// Image Mapper's rows, and the same work built from OpenCV's parts: the crop as a cubic
// resize of the rectangle, the bent edges as two remaps (rows' ends, then columns' ends)
// from maps of the same sines, the edge blur as box filters and a threshold on the alpha
// plane, and the corners as a projective warp (OpenCV's) onto a cleared frame. Stages that ours
// passes over (no margin, no bend, no blur, the picture's own corners) are passed over
// here too.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "bench/effect_bench.h"
#include "effects/image_mapper.h"

namespace vitrella::bench {
namespace {

// Bends the ends of each column (or row) of src by half a sine into dst, as the edge stage
// does: the side at the start pulled in by `first`, the far side by `last`.
void Bend(const cv::Mat& src, cv::Mat& dst, float first, float last, bool columns) {
  const int w = src.cols;
  const int h = src.rows;
  const int across = columns ? w : h;  // the extent that bends
  const int along = columns ? h : w;
  const int n0 = static_cast<int>(static_cast<float>(across) * first * 0.333333f);
  const int n1 = static_cast<int>(static_cast<float>(across) * last * 0.333333f);
  const double b0 = first >= 0.0f ? n0 : 0.0;
  const double b1 = last >= 0.0f ? -n1 : 0.0;
  cv::Mat mapX(h, w, CV_32FC1);
  cv::Mat mapY(h, w, CV_32FC1);
  for (int i = 0; i < along; ++i) {
    const double s = std::sin(CV_PI * i / along);
    const double lo = first != 0.0f ? b0 - s * n0 : 0.0;
    const double hi = last != 0.0f ? (across - 1) + b1 + s * n1 : across - 1.0;
    const double scale = (across - 1) / std::max(hi - lo, 1e-6);
    for (int j = 0; j < across; ++j) {
      const auto from = static_cast<float>((j - lo) * scale);
      const int x = columns ? j : i;
      const int y = columns ? i : j;
      mapX.at<float>(y, x) = columns ? from : static_cast<float>(x);
      mapY.at<float>(y, x) = columns ? static_cast<float>(y) : from;
    }
  }
  cv::remap(src, dst, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar::all(0));
}

void ImageMapperOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  const int w = src.cols;
  const int h = src.rows;
  const auto curve = [](float value) { return (value - 0.5f) * 2.0f; };
  cv::Mat picture = src;
  const CropMargins m =
      CropMarginsOf(w, h, v.Slider("Crop") * 0.2f, curve(v.Slider("Aspect Ratio")));
  if (m.cx != 0 || m.cy != 0) {
    cv::Mat cropped;
    cv::resize(src(cv::Rect(m.cx, m.cy, w - 2 * m.cx, h - 2 * m.cy)), cropped, src.size(), 0, 0,
               cv::INTER_CUBIC);
    picture = cropped;
  }
  const float top = curve(v.Slider("Top"));
  const float bottom = curve(v.Slider("Bottom"));
  const float left = curve(v.Slider("Left"));
  const float right = curve(v.Slider("Right"));
  const auto bends = [](float a, float b, int extent) {
    return static_cast<int>(extent * a * 0.333333f) != 0 ||
           static_cast<int>(extent * b * 0.333333f) != 0;
  };
  if (bends(top, bottom, h)) {
    cv::Mat bent;
    Bend(picture, bent, top, bottom, false);
    picture = bent;
  }
  if (bends(left, right, w)) {
    cv::Mat bent;
    Bend(picture, bent, left, right, true);
    picture = bent;
  }
  const float blur = v.Slider("Edge Blur") * 0.2f;
  if (blur != 0.0f) {
    const int k = std::max(3, static_cast<int>(w * blur * 0.49));
    cv::Mat alpha;
    cv::extractChannel(picture, alpha, 3);
    const double full = src.depth() == CV_8U ? 255.0 : 1.0;
    cv::boxFilter(alpha, alpha, -1, cv::Size(k, k), cv::Point(-1, -1), true, cv::BORDER_CONSTANT);
    cv::threshold(alpha, alpha, 252.5 / 255.0 * full, full, cv::THRESH_TOZERO);
    cv::boxFilter(alpha, alpha, -1, cv::Size(k, k), cv::Point(-1, -1), true, cv::BORDER_CONSTANT);
    if (picture.data == src.data) picture = src.clone();
    cv::insertChannel(alpha, picture, 3);
  }
  const ParamValue shift = v.Get("Shift ");
  const float sx = curve(shift.point[0]) * static_cast<float>(w);
  const float sy = curve(shift.point[1]) * static_cast<float>(h);
  const auto corner = [&](const char* label) {
    const ParamValue p = v.Get(label);
    return cv::Point2f(p.point[0] * (w - 1) + sx, p.point[1] * (h - 1) + sy);
  };
  const cv::Point2f from[4] = {
      {0.0f, 0.0f}, {w - 1.0f, 0.0f}, {w - 1.0f, h - 1.0f}, {0.0f, h - 1.0f}};
  const cv::Point2f to[4] = {corner("Top Left"), corner("Top Right"), corner("Bottom Right"),
                             corner("Bottom Left")};
  if (std::equal(from, from + 4, to)) {
    picture.copyTo(dst);
    return;
  }
  dst.create(src.size(), src.type());
  dst.setTo(cv::Scalar::all(0));
  cv::warpPerspective(picture, dst, cv::getPerspectiveTransform(from, to), dst.size(),
                      cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
}

VITRELLA_EFFECT_BENCH(
    "ImageMapper", []() -> IVideoEffect* { return new CImageMapper(); }, "Apparition", "Apparition",
    &ImageMapperOpenCv);

}  // namespace
}  // namespace vitrella::bench
