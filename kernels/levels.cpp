#include "kernels/levels.h"

#include <array>
#include <cstring>

#include "kernels/dispatch.h"
#include "kernels/levels_hwy.h"

namespace vitrella::kernels {
namespace {

int32_t AlphaOf(ColourPositions at) {
  return 6 - at.blue - at.green - at.red;
}

// Four sets of counts, one for each of four neighbouring pixels: neighbours of a smooth
// picture often share a value, and one set each keeps their increments from waiting on
// each other.
struct SplitCounts {
  static constexpr int kSets = vector::kCountSets;
  // One bucket past the last takes what is not counted, so that vector code needs no
  // branch for it.
  uint32_t counts[kSets][3][vector::kCountBuckets] = {};

  void SumInto(RgbHistogram* out) const {
    for (int32_t k = 0; k < kLevelBuckets; ++k) {
      out->red[k] = out->green[k] = out->blue[k] = 0;
      for (const auto& set : counts) {
        out->red[k] += set[0][k];
        out->green[k] += set[1][k];
        out->blue[k] += set[2][k];
      }
    }
  }
};

// The float boundaries as the buckets define them, k * step rounded to float.
std::array<float, kLevelBuckets + 1> FloatBoundaries() {
  std::array<float, kLevelBuckets + 1> b{};
  for (int32_t k = 0; k <= kLevelBuckets; ++k)
    b[static_cast<size_t>(k)] = static_cast<float>(k) * kFloatLevelStep;
  return b;
}

}  // namespace

Status HistogramRgb8u_C4(ConstImageView src, ColourPositions at, RgbHistogram* out) {
  if (out == nullptr) return kNullPointer;
  if (Status s = CheckView(src); s != kOk) return s;
  if (!AreThreeChannels(at)) return kBadChannel;
  SplitCounts split;
  const uint32_t redShift = 8 * static_cast<uint32_t>(at.red);
  const uint32_t greenShift = 8 * static_cast<uint32_t>(at.green);
  const uint32_t blueShift = 8 * static_cast<uint32_t>(at.blue);
  const auto count = [&](auto& set, uint32_t px) {
    ++set[0][(px >> redShift) & 0xFF];
    ++set[1][(px >> greenShift) & 0xFF];
    ++set[2][(px >> blueShift) & 0xFF];
  };
  for (int32_t y = 0; y < src.height; ++y) {
    const uint8_t* row = src.Row(y);
    int32_t x = 0;
    for (; x + SplitCounts::kSets <= src.width; x += SplitCounts::kSets) {
      uint32_t p[SplitCounts::kSets];
      std::memcpy(p, row + 4 * x, sizeof(p));
      for (int i = 0; i < SplitCounts::kSets; ++i)
        count(split.counts[i], p[i]);
    }
    for (; x < src.width; ++x) {
      uint32_t p;
      std::memcpy(&p, row + 4 * x, 4);
      count(split.counts[0], p);
    }
  }
  split.SumInto(out);
  return kOk;
}

Status HistogramRgb32f_C4(ConstImageView src, ColourPositions at, RgbHistogram* out) {
  if (out == nullptr) return kNullPointer;
  if (Status s = CheckView(src); s != kOk) return s;
  if (!AreThreeChannels(at)) return kBadChannel;
  static const std::array<float, kLevelBuckets + 1> kBounds = FloatBoundaries();
  const float top = kBounds[kLevelBuckets];
  SplitCounts split;
  // The estimate from 257 per unit is off by at most one bucket; the boundaries settle it.
  const auto count = [&](uint32_t* counts, float v) {
    if (!(v >= 0.0f && v < top)) return;
    int32_t k = static_cast<int32_t>(v * 257.0f);
    k = k < kLevelBuckets - 1 ? k : kLevelBuckets - 1;
    if (v < kBounds[static_cast<size_t>(k)]) {
      --k;
    } else if (v >= kBounds[static_cast<size_t>(k) + 1]) {
      ++k;
    }
    ++counts[k];
  };
  const int32_t at3[3] = {at.red, at.green, at.blue};
  const bool vectors = !UseReferenceKernels();
  for (int32_t y = 0; y < src.height; ++y) {
    const auto* row = src.Row<const float>(y);
    const int32_t done =
        vectors ? vector::CountRow32f_C4(row, src.width, at3, top, split.counts) : 0;
    for (int32_t x = done; x < src.width; ++x) {
      const float* px = row + 4 * x;
      auto& set = split.counts[x & (SplitCounts::kSets - 1)];
      count(set[0], px[at.red]);
      count(set[1], px[at.green]);
      count(set[2], px[at.blue]);
    }
  }
  split.SumInto(out);
  return kOk;
}

Status StretchLevels8u_C4(ConstImageView src, ColourPositions srcAt, ImageView dst,
                          ColourPositions dstAt, const ByteLevels& levels) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!AreThreeChannels(srcAt) || !AreThreeChannels(dstAt)) return kBadChannel;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t srcAlpha = AlphaOf(srcAt);
  const int32_t dstAlpha = AlphaOf(dstAt);
  if (!UseReferenceKernels()) {
    const int32_t inShifts[4] = {8 * srcAt.red, 8 * srcAt.green, 8 * srcAt.blue, 8 * srcAlpha};
    const int32_t outShifts[4] = {8 * dstAt.red, 8 * dstAt.green, 8 * dstAt.blue, 8 * dstAlpha};
    for (int32_t y = 0; y < size.height; ++y)
      vector::StretchRow8u_C4(src.Row(y), dst.Row(y), size.width, inShifts, outShifts, levels);
    return kOk;
  }
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* in = src.Row(y);
    uint8_t* out = dst.Row(y);
    for (int32_t x = 0; x < size.width; ++x, in += 4, out += 4) {
      const int32_t rgb[3] = {in[srcAt.red], in[srcAt.green], in[srcAt.blue]};
      int32_t result[3];
      StretchPixel8u(rgb, result, levels);
      const uint8_t alpha = in[srcAlpha];
      out[dstAt.red] = static_cast<uint8_t>(result[0]);
      out[dstAt.green] = static_cast<uint8_t>(result[1]);
      out[dstAt.blue] = static_cast<uint8_t>(result[2]);
      out[dstAlpha] = alpha;
    }
  }
  return kOk;
}

Status StretchLevels32f_C4(ConstImageView src, ColourPositions srcAt, ImageView dst,
                           ColourPositions dstAt, const FloatLevels& levels) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!AreThreeChannels(srcAt) || !AreThreeChannels(dstAt)) return kBadChannel;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t srcAlpha = AlphaOf(srcAt);
  const int32_t dstAlpha = AlphaOf(dstAt);
  // The vector rows know the two orders of the host's formats.
  const auto order = [](ColourPositions at, bool* alphaFirst) {
    if (at.blue == 0 && at.green == 1 && at.red == 2) {
      *alphaFirst = false;
      return true;
    }
    *alphaFirst = true;
    return at.red == 1 && at.green == 2 && at.blue == 3;
  };
  bool srcFirst = false;
  bool dstFirst = false;
  const bool vectors = !UseReferenceKernels() && order(srcAt, &srcFirst) && order(dstAt, &dstFirst);
  for (int32_t y = 0; y < size.height; ++y) {
    const auto* in = src.Row<const float>(y);
    auto* out = dst.Row<float>(y);
    const int32_t done =
        vectors ? vector::StretchRow32f_C4(in, out, size.width, srcFirst, dstFirst, levels) : 0;
    in += 4 * done;
    out += 4 * done;
    for (int32_t x = done; x < size.width; ++x, in += 4, out += 4) {
      const float rgb[3] = {in[srcAt.red], in[srcAt.green], in[srcAt.blue]};
      float result[3];
      StretchPixel32f(rgb, result, levels);
      const float alpha = in[srcAlpha];
      out[dstAt.red] = result[0];
      out[dstAt.green] = result[1];
      out[dstAt.blue] = result[2];
      out[dstAlpha] = alpha;
    }
  }
  return kOk;
}

}  // namespace vitrella::kernels
