// The cost of one rolling-shutter analysis (analysis image, features, tracking, pick) at
// 1920x1080 and 3840x2160 of the same picture (the larger one scaled up from the smaller, the
// motion with it); the 640-column analysis image should make them alike. OpenCV's side is the
// same tracking on gray images it scales itself, without our selection rules.
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>
#include <utility>

#include "bench/bench_common.h"
#include "effects/rs_motion.h"

namespace vitrella::bench {
namespace {

constexpr int32_t kShift = 4;  // at 1920x1080

// The frame before and the current frame, `scale` times 1920x1080, the camera moved by
// kShift * scale pixels.
std::pair<cv::Mat, cv::Mat> FramePair(int32_t scale) {
  cv::Mat picture = TestPicture(1920 + kShift, 1080, CV_8UC4);
  if (scale != 1) cv::resize(picture, picture, cv::Size(), scale, scale, cv::INTER_LINEAR);
  const cv::Size size(1920 * scale, 1080 * scale);
  return {picture(cv::Rect(cv::Point(kShift * scale, 0), size)).clone(),
          picture(cv::Rect(cv::Point(0, 0), size)).clone()};
}

template <int32_t kScale>
void OursAnalysis(benchmark::State& state) {
  auto [earlier, current] = FramePair(kScale);
  FrameBuffer a;
  FrameBuffer c;
  AttachMat(a, earlier, PixelFormat8BGRA);
  AttachMat(c, current, PixelFormat8BGRA);
  RsMotionHistory history;
  int32_t frame = 0;
  for (auto _ : state) {
    FrameBuffer analysis;
    MakeRsAnalysisImage(c, analysis, nullptr);
    const RsMotionResult motion = EstimateRsMotion(a, analysis, nullptr, 0.55f, ++frame, history);
    benchmark::DoNotOptimize(motion);
  }
}

template <int32_t kScale>
void OpenCvAnalysis(benchmark::State& state) {
  auto [earlier, current] = FramePair(kScale);
  const cv::Size size(kRsAnalysisWidth, 1080 * kRsAnalysisWidth / 1920);
  for (auto _ : state) {
    cv::Mat grayA;
    cv::Mat grayB;
    cv::Mat smallA;
    cv::Mat smallB;
    cv::cvtColor(earlier, grayA, cv::COLOR_BGRA2GRAY);
    cv::cvtColor(current, grayB, cv::COLOR_BGRA2GRAY);
    cv::resize(grayA, smallA, size, 0, 0, cv::INTER_LINEAR);
    cv::resize(grayB, smallB, size, 0, 0, cv::INTER_NEAREST);
    std::vector<cv::Point2f> corners;
    std::vector<cv::Point2f> moved;
    std::vector<uint8_t> status;
    std::vector<float> error;
    cv::goodFeaturesToTrack(smallA, corners, 27 * 27, 0.01, 0.01, cv::noArray(), 3, true, 0.09);
    cv::calcOpticalFlowPyrLK(smallA, smallB, corners, moved, status, error, cv::Size(22, 22), 5);
    benchmark::DoNotOptimize(moved.data());
  }
}

VITRELLA_BENCH_PAIR(RsAnalysis_1080p, OursAnalysis<1>, OpenCvAnalysis<1>);
VITRELLA_BENCH_PAIR(RsAnalysis_2160p, OursAnalysis<2>, OpenCvAnalysis<2>);

}  // namespace
}  // namespace vitrella::bench
