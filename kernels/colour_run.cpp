#include "kernels/colour_run.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "kernels/colour_run_hwy.h"
#include "kernels/dispatch.h"

namespace vitrella::kernels {
namespace {

template <typename T, typename Colour>
int32_t PlainRun(const T* pixels, int32_t count, ColourPositions at, const Colour& colour) {
  const int32_t channels[3] = {at.blue, at.green, at.red};
  for (int32_t i = 0; i < count; ++i) {
    const T* px = pixels + 4 * static_cast<ptrdiff_t>(i);
    for (const int32_t c : channels) {
      if constexpr (std::is_same_v<T, uint8_t>) {
        if (!(std::abs(int32_t{px[c]} - int32_t{colour.channels[c]}) <= colour.tolerance)) return i;
      } else {
        if (!(std::fabs(px[c] - colour.channels[c]) <= colour.tolerance)) return i;
      }
    }
  }
  return count;
}

}  // namespace

int32_t ColourRunLength8u_C4(const uint8_t* pixels, int32_t count, ColourPositions at,
                             const RunColour8u& colour) {
  if (pixels == nullptr || count < 1 || !AreThreeChannels(at)) return 0;
  // A negative tolerance matches nothing, which bytes cannot say; 255 everything.
  if (colour.tolerance < 0) return 0;
  if (colour.tolerance >= 255) return count;
  if (UseReferenceKernels()) return PlainRun(pixels, count, at, colour);
  uint32_t packed;
  std::memcpy(&packed, colour.channels, sizeof(packed));
  const uint32_t lanes =
      (0xFFu << (8 * at.blue)) | (0xFFu << (8 * at.green)) | (0xFFu << (8 * at.red));
  return vector::ColourRun8u(pixels, count, packed, lanes, colour.tolerance);
}

int32_t ColourRunLength32f_C4(const float* pixels, int32_t count, ColourPositions at,
                              const RunColour32f& colour) {
  if (pixels == nullptr || count < 1 || !AreThreeChannels(at)) return 0;
  if (UseReferenceKernels()) return PlainRun(pixels, count, at, colour);
  uint32_t lanes[4] = {};
  lanes[at.blue] = lanes[at.green] = lanes[at.red] = ~0u;
  return vector::ColourRun32f(pixels, count, colour.channels, lanes, colour.tolerance);
}

}  // namespace vitrella::kernels
