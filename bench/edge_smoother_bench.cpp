// Edge Smoother's rows, and the same work built from OpenCV's parts: a 3x3 Gaussian of the
// whole picture, and one compare pass that takes it where a pixel differs from its
// neighbour beyond the strength's threshold.
#include <opencv2/imgproc.hpp>

#include "bench/effect_bench.h"
#include "effects/edge_smoother.h"

namespace vitrella::bench {
namespace {

void EdgeSmootherOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  const double full = src.depth() == CV_8U ? 255.0 : 1.0;
  const double threshold = (1.0 - v.Slider("Strength")) * full;
  cv::Mat blurred;
  cv::GaussianBlur(src, blurred, cv::Size(3, 3), 0, 0, cv::BORDER_REPLICATE);
  const cv::Rect right(1, 0, src.cols - 1, src.rows);
  const cv::Rect left(0, 0, src.cols - 1, src.rows);
  cv::Mat difference;
  cv::absdiff(src(right), src(left), difference);
  cv::Mat over = difference > threshold;  // per channel
  cv::Mat any;
  cv::cvtColor(over, any, cv::COLOR_BGRA2GRAY);
  src.copyTo(dst);
  cv::Mat target = dst(right);
  blurred(right).copyTo(target, any);
}

VITRELLA_EFFECT_BENCH(
    "EdgeSmoother", []() -> IVideoEffect* { return new CEdgeSmoother(); }, "Smooth SD to HD Upres",
    "Upres", &EdgeSmootherOpenCv);

}  // namespace
}  // namespace vitrella::bench
