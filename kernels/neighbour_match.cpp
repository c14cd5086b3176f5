#include "kernels/neighbour_match.h"

#include <cmath>
#include <cstdlib>

#include "kernels/dispatch.h"
#include "kernels/neighbour_match_hwy.h"

namespace vitrella::kernels {
namespace {

bool ValidPositions(ColourPositions at) {
  const auto valid = [](int32_t c) { return c >= 0 && c <= 3; };
  return valid(at.blue) && valid(at.green) && valid(at.red) && at.blue != at.green &&
         at.blue != at.red && at.green != at.red;
}

template <typename T, typename Tolerance>
uint16_t MaskOf(const uint8_t* centre, ptrdiff_t pitch, ColourPositions at, Tolerance tolerance) {
  const auto pixel = [&](int32_t dx, int32_t dy) {
    return reinterpret_cast<const T*>(centre + dy * pitch) + 4 * dx;
  };
  const auto distance = [](T a, T b) {
    if constexpr (std::is_same_v<T, uint8_t>) {
      return std::abs(int32_t{a} - int32_t{b});
    } else {
      return std::fabs(a - b);
    }
  };
  const int32_t channels[3] = {at.blue, at.green, at.red};
  // How many of the three channels lie within the tolerance.
  const auto within = [&](int32_t dx, int32_t dy) {
    const T* a = pixel(0, 0);
    const T* b = pixel(dx, dy);
    int32_t count = 0;
    for (const int32_t c : channels)
      count += distance(a[c], b[c]) <= tolerance ? 1 : 0;
    return count;
  };
  uint32_t mask = 0;
  for (int32_t i = 0; i < kNeighbourOffsets; ++i) {
    if (within(kNeighbourDx[i], kNeighbourDy[i]) == 3) mask |= 1U << i;
  }
  if (within(1, 0) == 0) mask |= 1U << kDiffersRightBit;
  if (within(0, 1) == 0) mask |= 1U << kDiffersBelowBit;
  return static_cast<uint16_t>(mask);
}

template <typename T, typename Tolerance>
Status Matches(ConstImageView picture, ColourPositions at, Tolerance tolerance, uint16_t* masks,
               ptrdiff_t maskPitch) {
  if (Status s = CheckView(picture); s != kOk) return s;
  if (masks == nullptr) return kNullPointer;
  if (!ValidPositions(at)) return kBadChannel;
  const ptrdiff_t pixel = 4 * static_cast<ptrdiff_t>(sizeof(T));
  for (int32_t y = 0; y < picture.height; ++y) {
    const uint8_t* row = picture.Row(y);
    uint16_t* out = masks + y * maskPitch;
    int32_t x = 0;
    if constexpr (std::is_same_v<T, uint8_t>) {
      if (!UseReferenceKernels()) {
        const uint32_t colourBytes =
            (0xFFu << (8 * at.blue)) | (0xFFu << (8 * at.green)) | (0xFFu << (8 * at.red));
        vector::NeighbourMatchRow8u(row, picture.pitch, picture.width, colourBytes, tolerance, out);
        x = picture.width;
      }
    }
    for (; x < picture.width; ++x)
      out[x] = MaskOf<T>(row + x * pixel, picture.pitch, at, tolerance);
  }
  return kOk;
}

}  // namespace

Status NeighbourMatches8u_C4(ConstImageView picture, ColourPositions at, int32_t tolerance,
                             uint16_t* masks, ptrdiff_t maskPitch) {
  return Matches<uint8_t>(picture, at, tolerance, masks, maskPitch);
}

Status NeighbourMatches32f_C4(ConstImageView picture, ColourPositions at, float tolerance,
                              uint16_t* masks, ptrdiff_t maskPitch) {
  return Matches<float>(picture, at, tolerance, masks, maskPitch);
}

}  // namespace vitrella::kernels
