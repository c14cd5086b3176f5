// The triangular blur: ours through FrameBlur on a four-channel 8-bit or float frame, OpenCV's
// sepFilter2D with the same triangle as a normalised CV_32F kernel, edges replicated; and
// the row filter alone on a frame with its border, beside OpenCV's row-only filter.
//
// FrameBlur takes its scratch frames from a host that keeps freed images for the next
// render, as a host's pool does: memory that comes fresh from the system costs its first
// touch as well (about 6 ms for the 16 MB of FrameBlur3, far more than the blur), and
// whether it does depends on the state of the C library's allocator.
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

// A host that lends an allocator which reuses freed images of the same request.
class PoolHost final : public IEffectHost, public IHostAllocator {
 public:
  PoolHost() = default;
  PoolHost(const PoolHost&) = delete;
  PoolHost& operator=(const PoolHost&) = delete;
  ~PoolHost() {
    for (auto& image : free_)
      std::free(image.data);
  }

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    if (iid == kIID_IHostAllocator) {
      *out = static_cast<IHostAllocator*>(this);
      return kOk;
    }
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  int32_t VITRELLA_CALL GetParamValue(uint32_t, void*, ParamKind) override { return 0; }
  void* VITRELLA_CALL GetFrame(const RenderInfo*, HostFrame*) override { return nullptr; }
  int32_t VITRELLA_CALL ReleaseFrame(void*, HostFrame*) override { return 0; }
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override {
    std::memset(info, 0, sizeof(HostInfo));
    return info;
  }

  void VITRELLA_CALL AllocateImage(uint8_t** data, int32_t width, int32_t height,
                                   int32_t pixelBytes, int32_t* pitch) override {
    const int32_t rowPitch = (width * pixelBytes + 63) / 64 * 64;
    const size_t bytes = static_cast<size_t>(rowPitch) * height + 64;
    *pitch = rowPitch;
    for (size_t i = 0; i < free_.size(); ++i) {
      if (free_[i].bytes == bytes) {
        *data = free_[i].data;
        free_.erase(free_.begin() + static_cast<ptrdiff_t>(i));
        used_.push_back({*data, bytes});
        return;
      }
    }
    *data = static_cast<uint8_t*>(std::aligned_alloc(64, bytes));
    if (*data != nullptr) used_.push_back({*data, bytes});
  }
  void VITRELLA_CALL FreeImage(void* data) override {
    for (size_t i = 0; i < used_.size(); ++i) {
      if (used_[i].data == data) {
        free_.push_back(used_[i]);
        used_.erase(used_.begin() + static_cast<ptrdiff_t>(i));
        return;
      }
    }
  }

 private:
  struct Image {
    uint8_t* data;
    size_t bytes;
  };
  std::vector<Image> used_;
  std::vector<Image> free_;
};

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
  PoolHost host;
  MemoryAllocator memory(&host);
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
