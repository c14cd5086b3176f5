// The cost of one rolling-shutter analysis (analysis image, features, tracking, pick) at
// 1920x1080 and 3840x2160; the 640-column analysis image should make them alike. OpenCV's
// side is the same tracking on gray images it scales itself, without our selection rules.
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>

#include "bench/bench_common.h"
#include "effects/rs_motion.h"

namespace vitrella::bench {
namespace {

constexpr int32_t kShift = 4;

template <int32_t kFrameWidth, int32_t kFrameHeight>
void OursAnalysis(benchmark::State& state) {
  cv::Mat picture = TestPicture(kFrameWidth + kShift, kFrameHeight, CV_8UC4);
  cv::Mat earlier = picture(cv::Rect(kShift, 0, kFrameWidth, kFrameHeight)).clone();
  cv::Mat current = picture(cv::Rect(0, 0, kFrameWidth, kFrameHeight)).clone();
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

template <int32_t kFrameWidth, int32_t kFrameHeight>
void OpenCvAnalysis(benchmark::State& state) {
  cv::Mat picture = TestPicture(kFrameWidth + kShift, kFrameHeight, CV_8UC4);
  cv::Mat earlier = picture(cv::Rect(kShift, 0, kFrameWidth, kFrameHeight)).clone();
  cv::Mat current = picture(cv::Rect(0, 0, kFrameWidth, kFrameHeight)).clone();
  const cv::Size size(kRsAnalysisWidth, kFrameHeight * kRsAnalysisWidth / kFrameWidth);
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

VITRELLA_BENCH_PAIR(RsAnalysis_1080p, (OursAnalysis<1920, 1080>), (OpenCvAnalysis<1920, 1080>));
VITRELLA_BENCH_PAIR(RsAnalysis_2160p, (OursAnalysis<3840, 2160>), (OpenCvAnalysis<3840, 2160>));

}  // namespace
}  // namespace vitrella::bench
