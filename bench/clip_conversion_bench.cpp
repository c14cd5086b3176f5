// The host's conversions between decoded or encoded YUV 4:2:0 and the BGRA frames effects
// take, beside OpenCV's (which repeats each chroma sample over its block) and swscale's,
// which the host would otherwise call.
#include <array>

extern "C" {
#include <libswscale/swscale.h>
}

#include <opencv2/imgproc.hpp>

#include "bench/bench_common.h"
#include "host/bgra_from_yuv420.h"
#include "host/yuv420_from_bgra.h"

namespace vitrella::bench {
namespace {

constexpr int kBt709 = 1;

// A 1080p frame as I420: its three planes one after the other, as OpenCV takes them.
cv::Mat I420Frame() {
  const cv::Mat picture = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat planes(kHeight * 3 / 2, kWidth, CV_8UC1);
  uint8_t* const u = planes.data + kWidth * kHeight;
  uint8_t* const v = u + kWidth * kHeight / 4;
  host::Yuv420FromBgra(picture.data, static_cast<ptrdiff_t>(picture.step[0]), kWidth, kHeight,
                       *host::YuvMatrixOf(kBt709), false,
                       {planes.data, u, v, kWidth, kWidth / 2, kWidth / 2});
  return planes;
}

host::Yuv420Source SourceOf(const cv::Mat& planes) {
  const uint8_t* u = planes.data + kWidth * kHeight;
  return {planes.data, u, u + kWidth * kHeight / 4, kWidth, kWidth / 2, kWidth / 2};
}

void ToBgraOurs(benchmark::State& state) {
  const cv::Mat planes = I420Frame();
  cv::Mat out(kHeight, kWidth, CV_8UC4);
  for (auto _ : state) {
    host::BgraFromYuv420(SourceOf(planes), kWidth, kHeight, *host::YuvMatrixOf(kBt709), false,
                         host::ChromaSiting::kLeft, out.data, static_cast<ptrdiff_t>(out.step[0]));
    benchmark::DoNotOptimize(out.data);
  }
}

void ToBgraOpenCv(benchmark::State& state) {
  const cv::Mat planes = I420Frame();
  cv::Mat out(kHeight, kWidth, CV_8UC4);
  for (auto _ : state) {
    cv::cvtColor(planes, out, cv::COLOR_YUV2BGRA_I420);
    benchmark::DoNotOptimize(out.data);
  }
}

void ToBgraSwscale(benchmark::State& state) {
  const cv::Mat planes = I420Frame();
  cv::Mat out(kHeight, kWidth, CV_8UC4);
  SwsContext* context = sws_getContext(kWidth, kHeight, AV_PIX_FMT_YUV420P, kWidth, kHeight,
                                       AV_PIX_FMT_BGRA, SWS_BICUBIC, nullptr, nullptr, nullptr);
  sws_setColorspaceDetails(context, sws_getCoefficients(SWS_CS_ITU709), 0,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  const host::Yuv420Source source = SourceOf(planes);
  const std::array<const uint8_t*, 3> in = {source.y, source.u, source.v};
  const std::array<int, 3> inPitches = {kWidth, kWidth / 2, kWidth / 2};
  uint8_t* const outPlanes[1] = {out.data};
  const int outPitches[1] = {static_cast<int>(out.step[0])};
  for (auto _ : state) {
    sws_scale(context, in.data(), inPitches.data(), 0, kHeight, outPlanes, outPitches);
    benchmark::DoNotOptimize(out.data);
  }
  sws_freeContext(context);
}

void FromBgraOurs(benchmark::State& state) {
  const cv::Mat picture = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat planes(kHeight * 3 / 2, kWidth, CV_8UC1);
  uint8_t* const u = planes.data + kWidth * kHeight;
  const host::Yuv420Planes out{planes.data, u,          u + kWidth * kHeight / 4,
                               kWidth,      kWidth / 2, kWidth / 2};
  for (auto _ : state) {
    host::Yuv420FromBgra(picture.data, static_cast<ptrdiff_t>(picture.step[0]), kWidth, kHeight,
                         *host::YuvMatrixOf(kBt709), false, out);
    benchmark::DoNotOptimize(planes.data);
  }
}

void FromBgraOpenCv(benchmark::State& state) {
  const cv::Mat picture = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat planes(kHeight * 3 / 2, kWidth, CV_8UC1);
  for (auto _ : state) {
    cv::cvtColor(picture, planes, cv::COLOR_BGRA2YUV_I420);
    benchmark::DoNotOptimize(planes.data);
  }
}

VITRELLA_BENCH_PAIR(ClipYuv420ToBgra, ToBgraOurs, ToBgraOpenCv);
VITRELLA_BENCH_PAIR(ClipBgraToYuv420, FromBgraOurs, FromBgraOpenCv);
[[maybe_unused]] const bool kSwscaleRegistered = [] {
  benchmark::RegisterBenchmark("ClipYuv420ToBgra/swscale", ToBgraSwscale)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
  return true;
}();

}  // namespace
}  // namespace vitrella::bench
