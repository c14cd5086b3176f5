// A frame's histogram counted on the card: the one thing a fragment program cannot make
// by itself. Two ways, chosen by what the context offers:
//
// - scatter: the picture is read into a pixel-pack buffer and drawn from it as points,
//   one per byte, each placed on the pixel of its value in a 256-by-1 float target and
//   added up by blending. Three draws of the picture's size; the counts stay on the card.
// - query: the picture is drawn once per bucket and plane through a program that drops
//   what lies outside the bucket, and occlusion queries count what is left. 768 draws;
//   the counts come to the CPU.
//
// Both have 256 buckets per plane. A byte picture's texel of value v falls in bucket v; a
// float texel is clamped to 0..1 and falls in round(value × 255).
#pragma once

#include <array>
#include <cstdint>

#include "gpu/gpu_helper.h"

namespace vitrella {

// The query way's counts of one bucket, by plane of the source texture. The fourth plane
// is never counted and stays as the caller left it.
struct HistogramBucket {
  int32_t plane[4];
};
using QueryCounts = std::array<HistogramBucket, 256>;

class GPUHistogramHelper {
 public:
  static constexpr int kBuckets = 256;
  // Points per draw of the scatter way; drivers cope better with bounded draws.
  static constexpr int32_t kScatterBatch = 100000;

  // Works through the helper's services, context and extension table, which must be those
  // of the GPU call in progress.
  explicit GPUHistogramHelper(GPUHelper& helper) : helper_(helper) {}

  // Whether the context offers what each way needs and its programs can be made. Nothing
  // is made when the table already says no.
  bool HasScatterHistogram();
  bool HasQueryHistogram();

  // Counts red, green and blue of the source into the target, which must be 256 by 1
  // and of float format 3: the count of plane c of bucket i lands in channel c of pixel i.
  // The target is cleared first. False, with nothing counted, for a null or invalid
  // texture, an empty source, a wrong target, a context without the way, or a failure
  // of the host or of OpenGL on the way.
  bool ScatterHistogram(const GPUTextureRef* source, const GPUTextureRef* target);

  // Counts planes 0, 1 and 2 of the source into `counts`. False, with `counts` undefined
  // where it was meant to be written, on the same conditions as the scatter way or a null
  // `counts`.
  bool QueryHistogram(const GPUTextureRef* source, QueryCounts* counts);

 private:
  bool ScatterEntriesThere() const;
  bool QueryEntriesThere() const;

  GPUHelper& helper_;
};

}  // namespace vitrella
