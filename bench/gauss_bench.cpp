// The 3x3 Gaussian: ours on a frame with its one-pixel border, OpenCV's GaussianBlur
// with the same 1 2 1 kernel.
#include <opencv2/imgproc.hpp>

#include "bench/bench_common.h"
#include "kernels/filter_gauss.h"

namespace vitrella::bench {
namespace {

template <int kType>
void Ours(benchmark::State& state) {
  cv::Mat bordered;
  cv::copyMakeBorder(TestPicture(kWidth, kHeight, kType), bordered, 1, 1, 1, 1,
                     cv::BORDER_REPLICATE);
  cv::Mat out(kHeight, kWidth, kType);
  const int32_t pixel = static_cast<int32_t>(bordered.elemSize());
  const kernels::ConstImageView src{bordered.data + bordered.step[0] + pixel,
                                    static_cast<ptrdiff_t>(bordered.step[0]), kWidth, kHeight};
  const kernels::ImageView dst{out.data, static_cast<ptrdiff_t>(out.step[0]), kWidth, kHeight};
  for (auto _ : state) {
    const auto status = kType == CV_8UC4 ? kernels::FilterGauss8u_C4(src, dst, kernels::kMask3x3)
                                         : kernels::FilterGauss32f_C4(src, dst, kernels::kMask3x3);
    benchmark::DoNotOptimize(status);
  }
}

template <int kType>
void OpenCv(benchmark::State& state) {
  const cv::Mat in = TestPicture(kWidth, kHeight, kType);
  cv::Mat out(kHeight, kWidth, kType);
  for (auto _ : state) {
    cv::GaussianBlur(in, out, cv::Size(3, 3), 0, 0, cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(out.data);
  }
}

VITRELLA_BENCH_PAIR(Gauss3x3_8u, Ours<CV_8UC4>, OpenCv<CV_8UC4>);
VITRELLA_BENCH_PAIR(Gauss3x3_32f, Ours<CV_32FC4>, OpenCv<CV_32FC4>);

}  // namespace
}  // namespace vitrella::bench
