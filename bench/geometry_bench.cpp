// Resizes and warps of a 1920x1080 four-channel picture beside OpenCV's resize and
// warpPerspective, with the same interpolation.
#include <opencv2/imgproc.hpp>
#include <vector>

#include "bench/bench_common.h"
#include "kernels/resize.h"
#include "kernels/warp_quad.h"

namespace vitrella::bench {
namespace {

kernels::ImageView ViewOf(cv::Mat& m) {
  return {m.data, static_cast<ptrdiff_t>(m.step[0]), m.cols, m.rows};
}

template <int kType, int32_t kInterpolation, int kOutWidth, int kOutHeight>
void ResizeOurs(benchmark::State& state) {
  cv::Mat in = TestPicture(kWidth, kHeight, kType);
  cv::Mat out(kOutHeight, kOutWidth, kType);
  const double fx = static_cast<double>(kOutWidth) / kWidth;
  const double fy = static_cast<double>(kOutHeight) / kHeight;
  const auto resize = kType == CV_8UC4 ? kernels::ResizeImage8u_C4 : kernels::ResizeImage32f_C4;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        resize(ViewOf(in), {0, 0, kWidth, kHeight}, ViewOf(out), fx, fy, kInterpolation));
  }
}

template <int kType, int kCvInterpolation, int kOutWidth, int kOutHeight>
void ResizeOpenCv(benchmark::State& state) {
  const cv::Mat in = TestPicture(kWidth, kHeight, kType);
  cv::Mat out(kOutHeight, kOutWidth, kType);
  for (auto _ : state) {
    cv::resize(in, out, out.size(), 0, 0, kCvInterpolation);
    benchmark::DoNotOptimize(out.data);
  }
}

// A perspective view of the whole picture that covers most of the frame.
constexpr kernels::Quad kFrame = {
    {0, 0}, {kWidth - 1, 0}, {kWidth - 1, kHeight - 1}, {0, kHeight - 1}};
constexpr kernels::Quad kView = {{60, 40}, {1860, 90}, {1800, 1050}, {120, 1000}};

template <int kType>
void WarpOurs(benchmark::State& state) {
  cv::Mat in = TestPicture(kWidth, kHeight, kType);
  cv::Mat out(kHeight, kWidth, kType, cv::Scalar::all(0));
  const auto warp = kType == CV_8UC4 ? kernels::WarpQuad8u_C4 : kernels::WarpQuad32f_C4;
  const kernels::Rect whole{0, 0, kWidth, kHeight};
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        warp(ViewOf(in), whole, kFrame, ViewOf(out), whole, kView, kernels::kInterLinear));
  }
}

template <int kType>
void WarpOpenCv(benchmark::State& state) {
  const cv::Mat in = TestPicture(kWidth, kHeight, kType);
  cv::Mat out(kHeight, kWidth, kType, cv::Scalar::all(0));
  std::vector<cv::Point2f> from, to;
  for (int i = 0; i < 4; ++i) {
    from.emplace_back(static_cast<float>(kFrame[i][0]), static_cast<float>(kFrame[i][1]));
    to.emplace_back(static_cast<float>(kView[i][0]), static_cast<float>(kView[i][1]));
  }
  const cv::Mat map = cv::getPerspectiveTransform(from, to);
  for (auto _ : state) {
    cv::warpPerspective(in, out, map, out.size(), cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
    benchmark::DoNotOptimize(out.data);
  }
}

using kernels::kInterCubic;
using kernels::kInterLinear;

VITRELLA_BENCH_PAIR(ResizeLinear_8u_To720p, (ResizeOurs<CV_8UC4, kInterLinear, 1280, 720>),
                    (ResizeOpenCv<CV_8UC4, cv::INTER_LINEAR, 1280, 720>));
VITRELLA_BENCH_PAIR(ResizeLinear_8u_To2160p, (ResizeOurs<CV_8UC4, kInterLinear, 3840, 2160>),
                    (ResizeOpenCv<CV_8UC4, cv::INTER_LINEAR, 3840, 2160>));
VITRELLA_BENCH_PAIR(ResizeCubic_8u_To720p, (ResizeOurs<CV_8UC4, kInterCubic, 1280, 720>),
                    (ResizeOpenCv<CV_8UC4, cv::INTER_CUBIC, 1280, 720>));
VITRELLA_BENCH_PAIR(ResizeCubic_8u_To2160p, (ResizeOurs<CV_8UC4, kInterCubic, 3840, 2160>),
                    (ResizeOpenCv<CV_8UC4, cv::INTER_CUBIC, 3840, 2160>));
VITRELLA_BENCH_PAIR(ResizeLinear_32f_To720p, (ResizeOurs<CV_32FC4, kInterLinear, 1280, 720>),
                    (ResizeOpenCv<CV_32FC4, cv::INTER_LINEAR, 1280, 720>));
VITRELLA_BENCH_PAIR(WarpQuad_8u, WarpOurs<CV_8UC4>, WarpOpenCv<CV_8UC4>);
VITRELLA_BENCH_PAIR(WarpQuad_32f, WarpOurs<CV_32FC4>, WarpOpenCv<CV_32FC4>);

}  // namespace
}  // namespace vitrella::bench
