#include "bench/bench_common.h"

#include <opencv2/imgproc.hpp>

namespace vitrella::bench {

cv::Mat TestPicture(int32_t width, int32_t height, int cvType) {
  cv::Mat bytes(height, width, CV_8UC4);
  cv::RNG random(12345);
  for (int32_t y = 0; y < height; ++y) {
    auto* row = bytes.ptr<cv::Vec4b>(y);
    for (int32_t x = 0; x < width; ++x) {
      const int band = (x / 97 + y / 61) % 3;  // hard edges between bands
      const int noise = random.uniform(-12, 13);
      row[x] = cv::Vec4b(cv::saturate_cast<uchar>(x * 255 / width + noise),
                         cv::saturate_cast<uchar>(y * 255 / height + band * 60),
                         cv::saturate_cast<uchar>(band * 100 + noise), 255 - (x + y) % 64);
    }
  }
  if (cvType == CV_8UC4) return bytes;
  cv::Mat converted;
  if (CV_MAT_DEPTH(cvType) == CV_32F) {
    bytes.convertTo(converted, CV_32FC4, 1.0 / 255.0);
  } else {
    converted = bytes;
  }
  if (CV_MAT_CN(cvType) == 1) {
    cv::Mat gray;
    cv::cvtColor(converted, gray, cv::COLOR_BGRA2GRAY);
    return gray;
  }
  return converted;
}

void AttachMat(FrameBuffer& frame, cv::Mat& mat, PixelFormat format) {
  frame.Attach(mat.data, mat.cols, mat.rows, static_cast<int32_t>(mat.step[0]),
               static_cast<int32_t>(mat.elemSize()), format, false);
}

void RegisterPair(const char* operation, void (*ours)(benchmark::State&),
                  void (*opencv)(benchmark::State&)) {
  const std::string name(operation);
  benchmark::RegisterBenchmark((name + "/ours").c_str(), ours)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
  benchmark::RegisterBenchmark((name + "/opencv").c_str(), opencv)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

}  // namespace vitrella::bench
