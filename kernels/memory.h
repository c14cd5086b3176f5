// Aligned image memory for the kernels, from a pool that keeps freed images for the next
// render: a steady render then asks the system for no memory after its first frame, and
// touches no freshly mapped page.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::kernels {

// Rows start on this boundary, so that a kernel can read a whole row with vectors.
inline constexpr int32_t kRowAlignment = 64;

// An image of width by height pixels of pixelBytes (1, 2, 3, 4 or 16) with a pitch
// rounded up to kRowAlignment; null on failure, with *pitch set to 0. Its contents are
// whatever the memory held.
uint8_t* AllocImage(int32_t width, int32_t height, int32_t pixelBytes, int32_t* pitch);
// Gives an image of AllocImage back; null does nothing.
void FreeImage(void* image);

// A freed image waits in the pool for an image of its size (or up to an eighth smaller).
// The pool holds at most kImagePoolRenders times as many bytes as were ever handed out at
// once, what a few renders of differing needs (presets that blur by different lengths,
// say) take in turn, never more than kImagePoolMostBytes, and gives back to the system
// what has lain unused for kImagePoolIdleMilliseconds, when it is next called.
inline constexpr size_t kImagePoolRenders = 3;
inline constexpr size_t kImagePoolMostBytes = size_t{1} << 30;
inline constexpr uint32_t kImagePoolIdleMilliseconds = 5000;

// The pool's clock in milliseconds, compared by unsigned difference; null restores the
// steady clock. Tests drive their own.
using ImagePoolClock = uint32_t (*)();
void SetImagePoolClock(ImagePoolClock clock);

struct ImagePoolState {
  size_t pooledBytes = 0;  // freed, waiting for reuse
  size_t pooledImages = 0;
  size_t liveBytes = 0;  // handed out and not yet freed
  size_t mostLiveBytes = 0;
  uint64_t systemAllocations = 0;  // images that had to come from the system
};
ImagePoolState ImagePoolNow();

// Gives every waiting image back to the system, and from then on measures its bound
// afresh from what is handed out.
void EmptyImagePool();

}  // namespace vitrella::kernels
