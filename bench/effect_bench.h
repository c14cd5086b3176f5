// The rows every effect has, at 1920x1080 on one thread, each with the page faults of a
// frame after the first:
//   <Effect>Defaults_8u, <Effect>Defaults_32f, <Effect><Preset>_8u, <Effect><Preset>_32f
//     /ours        the CPU render through a host that lends no allocator, as many do
//     /opencv      an OpenCV-built pipeline of the same work, where OpenCV has the parts
//     /gpu         a GPU effect's frame as a host pays for it: upload, render, read-back
//     /gpu_render  the GPU render alone, its textures already on the card
//   <Effect>EveryPreset_8u/ours  every built-in preset in turn; the slowest is named
// An effect joins with one RegisterEffectBench at namespace scope in its bench file.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <set>
#include <string>
#include <vector>

#include "vitrella/effect.h"

namespace vitrella::bench {

// The camera's move in pixels between the frame before and the rendered frame.
inline constexpr int32_t kBenchPan = 4;

// The rendered frame (shift 0) or the frame before it (shift kBenchPan) of the rows, in
// bytes (CV_8UC4) or floats (CV_32FC4), blue, green, red, alpha.
cv::Mat BenchPicture(bool isFloat, int32_t shift);

// A row's parameter values, found by their labels (within a group where labels repeat).
class BenchValues {
 public:
  BenchValues(IVideoEffect* effect, std::vector<ParamValue> values);
  ParamValue Get(const char* label, const char* group = nullptr) const;
  float Slider(const char* label, const char* group = nullptr) const {
    return Get(label, group).slider;
  }

 private:
  std::vector<ParamInfo> params_;
  std::vector<ParamValue> values_;
};

struct EffectBench {
  const char* name;  // the rows' prefix, without blanks
  IVideoEffect* (*make)();
  const char* heaviest;    // the preset of the heavy rows
  const char* heavyLabel;  // its name in the rows, without blanks
  // The same work in OpenCV: from a picture of the row's depth (CV_8UC4 or CV_32FC4,
  // blue, green, red, alpha) into dst, with the row's parameter values. Null where OpenCV
  // has not the parts.
  void (*opencv)(const cv::Mat& src, cv::Mat& dst, const BenchValues& values);
  // The effect reads the frame before through GetFrame: the host serves a pan.
  bool readsEarlierFrame = false;
};

void RegisterEffectBench(const EffectBench& bench);

// The operations registered through RegisterEffectBench, for the table of frames per
// second.
const std::set<std::string>& EffectOperations();

}  // namespace vitrella::bench

// VITRELLA_EFFECT_BENCH({...}) at namespace scope.
#define VITRELLA_EFFECT_BENCH(...)                                                       \
  [[maybe_unused]] static const bool effect_bench_registered = [] {                      \
    ::vitrella::bench::RegisterEffectBench(::vitrella::bench::EffectBench{__VA_ARGS__}); \
    return true;                                                                         \
  }()
