// The cost of one rolling-shutter analysis (analysis image, features, tracking, pick) at
// 1920x1080 and 3840x2160 of the same picture (the larger one scaled up from the smaller, the
// motion with it); the 640-column analysis image should make them alike. OpenCV's side is the
// same tracking on gray images it scales itself, without our selection rules.
#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>
#include <utility>
#include <vector>

#include "bench/bench_common.h"
#include "bench/effect_bench.h"
#include "effects/rolling_shutter.h"
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

// The whole effect's work from OpenCV's parts: the motion from the frame before as above,
// then the frame sheared by the correction's share of it.
void RollingShutterOpenCv(const cv::Mat& src, cv::Mat& dst, const BenchValues& v) {
  const bool isFloat = src.depth() == CV_32F;
  static const cv::Mat kEarlier[2] = {BenchPicture(false, kBenchPan),
                                      BenchPicture(true, kBenchPan)};
  const cv::Mat& earlier = kEarlier[isFloat ? 1 : 0];
  cv::Mat bytes[2];
  for (int i = 0; i < 2; ++i) {
    const cv::Mat& frame = i == 0 ? earlier : src;
    if (isFloat) {
      frame.convertTo(bytes[i], CV_8UC4, 255.0);
    } else {
      bytes[i] = frame;
    }
  }
  const cv::Size size(kRsAnalysisWidth, src.rows * kRsAnalysisWidth / src.cols);
  cv::Mat gray[2];
  cv::Mat small[2];
  for (int i = 0; i < 2; ++i) {
    cv::cvtColor(bytes[i], gray[i], cv::COLOR_BGRA2GRAY);
    cv::resize(gray[i], small[i], size, 0, 0, cv::INTER_LINEAR);
  }
  std::vector<cv::Point2f> corners;
  std::vector<cv::Point2f> moved;
  std::vector<uint8_t> status;
  std::vector<float> error;
  cv::goodFeaturesToTrack(small[0], corners, 27 * 27, 0.01, 0.01, cv::noArray(), 3, true, 0.09);
  float motion = 0.0f;
  if (!corners.empty()) {
    cv::calcOpticalFlowPyrLK(small[0], small[1], corners, moved, status, error, cv::Size(22, 22),
                             5);
    std::vector<float> dx;
    for (size_t i = 0; i < corners.size(); ++i) {
      if (status[i] != 0) dx.push_back(moved[i].x - corners[i].x);
    }
    if (!dx.empty()) {
      std::nth_element(dx.begin(), dx.begin() + static_cast<ptrdiff_t>(dx.size() / 2), dx.end());
      motion = dx[dx.size() / 2] * static_cast<float>(src.cols) / kRsAnalysisWidth;
    }
  }
  const float shear = motion * v.Slider("Correction") / static_cast<float>(src.rows);
  const cv::Matx23f warp(1, -shear, 0, 0, 1, 0);
  cv::warpAffine(src, dst, warp, src.size(), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
}

VITRELLA_EFFECT_BENCH(
    "RollingShutter", []() -> IVideoEffect* { return new CRollingShutterFixer(); }, "Reset to None",
    "ResetToNone", &RollingShutterOpenCv, true);

}  // namespace
}  // namespace vitrella::bench
