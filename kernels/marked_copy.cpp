#include "kernels/marked_copy.h"

#include "kernels/dispatch.h"
#include "kernels/marked_copy_hwy.h"

namespace vitrella::kernels {
namespace {

Status Check(const void* marks, const void* from, const void* to, int32_t count,
             ColourPositions at) {
  if (marks == nullptr || from == nullptr || to == nullptr) return kNullPointer;
  if (count < 0) return kBadSize;
  return AreThreeChannels(at) ? kOk : kBadChannel;
}

template <typename T>
void PlainCopy(const uint64_t* marks, const T* from, T* to, int32_t x, int32_t count,
               ColourPositions at) {
  for (; x < count; ++x) {
    if (((marks[x >> 6] >> (x & 63)) & 1U) == 0) continue;
    for (const int32_t c : {at.blue, at.green, at.red})
      to[4 * x + c] = from[4 * x + c];
  }
}

}  // namespace

Status CopyMarked8u_C4(const uint64_t* marks, const uint8_t* from, uint8_t* to, int32_t count,
                       ColourPositions at) {
  if (Status s = Check(marks, from, to, count, at); s != kOk) return s;
  int32_t x = 0;
  if (!UseReferenceKernels()) {
    const uint32_t colourBytes =
        (0xFFu << (8 * at.blue)) | (0xFFu << (8 * at.green)) | (0xFFu << (8 * at.red));
    x = vector::CopyMarked8u(marks, from, to, count, colourBytes);
  }
  PlainCopy(marks, from, to, x, count, at);
  return kOk;
}

Status CopyMarked32f_C4(const uint64_t* marks, const float* from, float* to, int32_t count,
                        ColourPositions at) {
  if (Status s = Check(marks, from, to, count, at); s != kOk) return s;
  int32_t x = 0;
  if (!UseReferenceKernels()) {
    uint32_t colourLanes[4] = {};
    colourLanes[at.blue] = colourLanes[at.green] = colourLanes[at.red] = ~0U;
    x = vector::CopyMarked32f(marks, from, to, count, colourLanes);
  }
  PlainCopy(marks, from, to, x, count, at);
  return kOk;
}

}  // namespace vitrella::kernels
