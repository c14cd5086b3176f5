// The triangular blur: ours through FrameBlur on a four-channel 8-bit or float frame, OpenCV's
// sepFilter2D with the same triangle as a normalised CV_32F kernel, edges replicated; and
// the row filter alone on a frame with its border, beside OpenCV's row-only filter.
//
// FrameBlur takes its scratch frames from the kernels' pool, as a render through a host
// without an allocator does: after the first frame they come back warm.
#include <cstdlib>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

#include "bench/bench_common.h"
#include "core/frame_blur.h"
#include "kernels/linear_filter.h"

namespace vitrella::bench {
namespace {

std::vector<int32_t> Triangle(int32_t n) {
  std::vector<int32_t> weights(n);
  for (int32_t i = 0; i < n; ++i)
    weights[i] = std::min(i + 1, n - i);
  return weights;
}

cv::Mat NormalisedTriangle(int32_t n) {
  const std::vector<int32_t> weights = Triangle(n);
  cv::Mat kernel(1, n, CV_32F);
  double sum = 0;
  for (int32_t w : weights)
    sum += w;
  for (int32_t i = 0; i < n; ++i)
    kernel.at<float>(i) = static_cast<float>(weights[i] / sum);
  return kernel;
}

// Four-channel bytes by default; floats with kType CV_32FC4.
template <int kSize, int kType = CV_8UC4>
void OursBlur(benchmark::State& state) {
  cv::Mat in = TestPicture(kWidth, kHeight, kType);
  cv::Mat out(kHeight, kWidth, kType);
  const PixelFormat format = kType == CV_8UC4 ? PixelFormat8BGRA : PixelFormat32FBGRA;
  FrameBuffer src;
  FrameBuffer dst;
  AttachMat(src, in, format);
  AttachMat(dst, out, format);
  MemoryAllocator memory(nullptr);
  for (auto _ : state) {
    const bool ok = FrameBlur(src, dst, kSize, kSize, &memory, 1);
    benchmark::DoNotOptimize(ok);
  }
}

template <int kSize, int kType = CV_8UC4>
void OpenCvBlur(benchmark::State& state) {
  const cv::Mat in = TestPicture(kWidth, kHeight, kType);
  cv::Mat out(kHeight, kWidth, kType);
  const cv::Mat kernel = NormalisedTriangle(kSize);
  for (auto _ : state) {
    cv::sepFilter2D(in, out, CV_MAT_DEPTH(kType), kernel, kernel, cv::Point(-1, -1), 0,
                    cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(out.data);
  }
}

template <int kSize>
void OursRows(benchmark::State& state) {
  constexpr int kHalf = kSize / 2;
  cv::Mat bordered;
  cv::copyMakeBorder(TestPicture(kWidth, kHeight, CV_8UC4), bordered, 0, 0, kHalf, kHalf,
                     cv::BORDER_REPLICATE);
  cv::Mat out(kHeight, kWidth, CV_8UC4);
  const std::vector<int32_t> kernel = Triangle(kSize);
  int32_t sum = 0;
  for (int32_t w : kernel)
    sum += w;
  const kernels::ConstImageView src{bordered.data + kHalf * 4,
                                    static_cast<ptrdiff_t>(bordered.step[0]), kWidth, kHeight};
  const kernels::ImageView dst{out.data, static_cast<ptrdiff_t>(out.step[0]), kWidth, kHeight};
  for (auto _ : state) {
    const auto status = kernels::RowFilter8u_C4(src, dst, kernel.data(), kSize, kHalf, sum,
                                                kernels::kFilterAllChannels);
    benchmark::DoNotOptimize(status);
  }
}

template <int kSize>
void OpenCvRows(benchmark::State& state) {
  const cv::Mat in = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat out(kHeight, kWidth, CV_8UC4);
  const cv::Mat kernel = NormalisedTriangle(kSize);
  const cv::Mat one = cv::Mat::ones(1, 1, CV_32F);
  for (auto _ : state) {
    cv::sepFilter2D(in, out, CV_8U, kernel, one, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(out.data);
  }
}

VITRELLA_BENCH_PAIR(FrameBlur3_8u, OursBlur<3>, OpenCvBlur<3>);
VITRELLA_BENCH_PAIR(FrameBlur31_8u, OursBlur<31>, OpenCvBlur<31>);
VITRELLA_BENCH_PAIR(FrameBlur301_8u, OursBlur<301>, OpenCvBlur<301>);
VITRELLA_BENCH_PAIR(FrameBlur3_32f, (OursBlur<3, CV_32FC4>), (OpenCvBlur<3, CV_32FC4>));
VITRELLA_BENCH_PAIR(FrameBlur301_32f, (OursBlur<301, CV_32FC4>), (OpenCvBlur<301, CV_32FC4>));
VITRELLA_BENCH_PAIR(RowFilter31_8u, OursRows<31>, OpenCvRows<31>);

}  // namespace
}  // namespace vitrella::bench
