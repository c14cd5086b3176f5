// Per-pixel conversions beside their OpenCV counterparts: gray, 4:2:2 decoding and the
// colour twist.
#include <opencv2/imgproc.hpp>

#include "bench/bench_common.h"
#include "kernels/arithmetic.h"
#include "kernels/gray.h"
#include "kernels/yuy2.h"

namespace vitrella::bench {
namespace {

kernels::ImageView ViewOf(cv::Mat& m) {
  return {m.data, static_cast<ptrdiff_t>(m.step[0]), m.cols, m.rows};
}

void GrayOurs(benchmark::State& state) {
  cv::Mat in = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat out(kHeight, kWidth, CV_8UC1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(kernels::ToGray8u(ViewOf(in), 4, {0, 1, 2}, ViewOf(out)));
  }
}

void GrayOpenCv(benchmark::State& state) {
  const cv::Mat in = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat out(kHeight, kWidth, CV_8UC1);
  for (auto _ : state) {
    cv::cvtColor(in, out, cv::COLOR_BGRA2GRAY);
    benchmark::DoNotOptimize(out.data);
  }
}

void Yuy2Ours(benchmark::State& state) {
  cv::Mat in(kHeight, kWidth, CV_8UC2);
  cv::randu(in, 0, 256);
  cv::Mat out(kHeight, kWidth, CV_8UC4);
  const kernels::ConstImageView src{in.data, static_cast<ptrdiff_t>(in.step[0]), kWidth, kHeight};
  for (auto _ : state)
    benchmark::DoNotOptimize(kernels::YUY2ToBGRA(src, ViewOf(out), 255));
}

void Yuy2OpenCv(benchmark::State& state) {
  cv::Mat in(kHeight, kWidth, CV_8UC2);
  cv::randu(in, 0, 256);
  cv::Mat out(kHeight, kWidth, CV_8UC4);
  for (auto _ : state) {
    cv::cvtColor(in, out, cv::COLOR_YUV2BGRA_YUY2);
    benchmark::DoNotOptimize(out.data);
  }
}

constexpr float kTwist[3][4] = {
    {0.9f, 0.05f, 0.05f, 0.01f}, {0.1f, 0.8f, 0.1f, -0.02f}, {0.0f, 0.2f, 0.8f, 0.03f}};

void TwistOurs(benchmark::State& state) {
  cv::Mat in = TestPicture(kWidth, kHeight, CV_32FC4);
  cv::Mat out(kHeight, kWidth, CV_32FC4);
  for (auto _ : state) {
    benchmark::DoNotOptimize(kernels::ColorTwist32f_C4(ViewOf(in), ViewOf(out), kTwist, 0));
  }
}

void TwistOpenCv(benchmark::State& state) {
  const cv::Mat in = TestPicture(kWidth, kHeight, CV_32FC4);
  cv::Mat out(kHeight, kWidth, CV_32FC4);
  // Four output channels, alpha passed through; the fifth column is the offset.
  cv::Mat m = cv::Mat::zeros(4, 5, CV_32F);
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c)
      m.at<float>(r, c) = kTwist[r][c];
    m.at<float>(r, 4) = kTwist[r][3];
  }
  m.at<float>(3, 3) = 1.0f;
  for (auto _ : state) {
    cv::transform(in, out, m);
    benchmark::DoNotOptimize(out.data);
  }
}

VITRELLA_BENCH_PAIR(ToGray_8u, GrayOurs, GrayOpenCv);
VITRELLA_BENCH_PAIR(YUY2ToBGRA, Yuy2Ours, Yuy2OpenCv);
VITRELLA_BENCH_PAIR(ColorTwist_32f, TwistOurs, TwistOpenCv);

}  // namespace
}  // namespace vitrella::bench
