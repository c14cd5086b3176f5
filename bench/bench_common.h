// Shared pieces of the benchmarks: frames at 1920x1080 filled with a picture that has
// edges and gradients, and the registration of an operation's two sides.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <opencv2/core.hpp>

#include "core/frame_buffer.h"

namespace vitrella::bench {

inline constexpr int32_t kWidth = 1920;
inline constexpr int32_t kHeight = 1080;

// A deterministic picture with smooth gradients, hard edges and noise, so that no
// kernel meets only a trivial input.
cv::Mat TestPicture(int32_t width, int32_t height, int cvType);

// A FrameBuffer view of a Mat's pixels (the Mat keeps the memory).
void AttachMat(FrameBuffer& frame, cv::Mat& mat, PixelFormat format);

// Registers Operation/ours and Operation/opencv with the same settings.
void RegisterPair(const char* operation, void (*ours)(benchmark::State&),
                  void (*opencv)(benchmark::State&));

}  // namespace vitrella::bench

// VITRELLA_BENCH_PAIR(Gauss3x3_8u, OursFn, OpenCvFn) at namespace scope.
#define VITRELLA_BENCH_PAIR(operation, ours, opencv)               \
  [[maybe_unused]] static const bool operation##_registered = [] { \
    ::vitrella::bench::RegisterPair(#operation, ours, opencv);     \
    return true;                                                   \
  }()
