#include "kernels/lane_match.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "kernels/dispatch.h"
#include "kernels/lane_match_hwy.h"

namespace vitrella::kernels {
namespace {

// How two pixels compare: bit 0 when they match, bit 1 when they differ in all channels.
template <typename T, typename Tolerance>
uint32_t Compare(const T* a, const T* b, ColourPositions at, Tolerance tolerance) {
  int32_t within = 0;
  int32_t beyond = 0;
  for (const int32_t c : {at.blue, at.green, at.red}) {
    if constexpr (std::is_same_v<T, uint8_t>) {
      const int32_t distance = std::abs(int32_t{a[c]} - int32_t{b[c]});
      within += distance <= tolerance ? 1 : 0;
      beyond += distance > tolerance ? 1 : 0;
    } else {
      const float distance = std::fabs(a[c] - b[c]);
      within += distance <= tolerance ? 1 : 0;
      beyond += distance > tolerance ? 1 : 0;
    }
  }
  return (within == 3 ? 1U : 0U) | (beyond == 3 ? 2U : 0U);
}

template <typename T, typename Tolerance>
void PlainMatches(const T* before, const T* centre, const T* after, int32_t count,
                  ColourPositions at, Tolerance tolerance, uint64_t* planes, ptrdiff_t pitch) {
  const T* sides[2] = {before, after};
  const auto pixel = [](const T* lane, ptrdiff_t p) { return lane + 4 * p; };
  for (int32_t p = 0; p < count; ++p) {
    const T* c = pixel(centre, p);
    const auto set = [&](int32_t plane, bool on) {
      planes[plane * pitch + (p >> 6)] |= static_cast<uint64_t>(on ? 1 : 0) << (p & 63);
    };
    set(kCentreSelf, (Compare(c, c, at, tolerance) & 1U) != 0);
    set(kCentreBack1, (Compare(c, c - 4, at, tolerance) & 1U) != 0);
    set(kCentreBack2, (Compare(c, c - 8, at, tolerance) & 1U) != 0);
    set(kCentreBack3, (Compare(c, c - 12, at, tolerance) & 1U) != 0);
    for (int32_t side = 0; side < 2; ++side) {
      for (int32_t dp = -2; dp <= 2; ++dp) {
        const uint32_t relation = Compare(pixel(sides[side], p + dp), c, at, tolerance);
        set(SideMatchPlane(side, dp), (relation & 1U) != 0);
        if (dp == 0 || dp == 1) set(SideDiffersPlane(side, dp), (relation & 2U) != 0);
      }
    }
  }
}

template <typename T>
Status CheckArguments(const T* before, const T* centre, const T* after, int32_t count,
                      ColourPositions at, const uint64_t* planes, ptrdiff_t planePitch) {
  if (before == nullptr || centre == nullptr || after == nullptr || planes == nullptr) {
    return kNullPointer;
  }
  if (count < 0) return kBadSize;
  if (planePitch < LaneWords(count)) return kBadPitch;
  return AreThreeChannels(at) ? kOk : kBadChannel;
}

void ClearPlanes(uint64_t* planes, ptrdiff_t planePitch, int32_t count) {
  for (int32_t k = 0; k < kLanePlanes; ++k)
    std::memset(planes + k * planePitch, 0, sizeof(uint64_t) * LaneWords(count));
}

}  // namespace

Status LaneMatches8u_C4(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                        int32_t count, ColourPositions at, int32_t tolerance, uint64_t* planes,
                        ptrdiff_t planePitch) {
  if (Status s = CheckArguments(before, centre, after, count, at, planes, planePitch); s != kOk) {
    return s;
  }
  tolerance = tolerance < 0 ? 0 : tolerance > 255 ? 255 : tolerance;
  ClearPlanes(planes, planePitch, count);
  if (!UseReferenceKernels()) {
    const uint32_t colourBytes =
        (0xFFu << (8 * at.blue)) | (0xFFu << (8 * at.green)) | (0xFFu << (8 * at.red));
    if (vector::LaneMatches8u(before, centre, after, count, colourBytes, tolerance, planes,
                              planePitch) == count) {
      return kOk;
    }
  }
  PlainMatches(before, centre, after, count, at, tolerance, planes, planePitch);
  return kOk;
}

Status LaneMatches32f_C4(const float* before, const float* centre, const float* after,
                         int32_t count, ColourPositions at, float tolerance, uint64_t* planes,
                         ptrdiff_t planePitch) {
  if (Status s = CheckArguments(before, centre, after, count, at, planes, planePitch); s != kOk) {
    return s;
  }
  ClearPlanes(planes, planePitch, count);
  if (!UseReferenceKernels()) {
    uint32_t colourLanes[4] = {};
    colourLanes[at.blue] = colourLanes[at.green] = colourLanes[at.red] = ~0U;
    if (vector::LaneMatches32f(before, centre, after, count, colourLanes, tolerance, planes,
                               planePitch) == count) {
      return kOk;
    }
  }
  PlainMatches(before, centre, after, count, at, tolerance, planes, planePitch);
  return kOk;
}

}  // namespace vitrella::kernels
