#include "kernels/memory.h"

#include <cstdlib>
#include <limits>

namespace vitrella::kernels {

uint8_t* AllocImage(int32_t width, int32_t height, int32_t pixelBytes, int32_t* pitch) {
  if (pitch == nullptr) return nullptr;
  *pitch = 0;
  const bool sizeKnown =
      pixelBytes == 1 || pixelBytes == 2 || pixelBytes == 3 || pixelBytes == 4 || pixelBytes == 16;
  if (!sizeKnown || width < 1 || height < 1) return nullptr;
  const int64_t rowBytes = int64_t{width} * pixelBytes;
  const int64_t rounded = (rowBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  if (rounded > std::numeric_limits<int32_t>::max()) return nullptr;
  // One spare row of alignment lets a vector kernel read a little past the last pixel.
  const int64_t bytes = rounded * height + kRowAlignment;
  void* image = std::aligned_alloc(kRowAlignment, static_cast<size_t>(bytes));
  if (image == nullptr) return nullptr;
  *pitch = static_cast<int32_t>(rounded);
  return static_cast<uint8_t*>(image);
}

void FreeImage(void* image) {
  std::free(image);
}

}  // namespace vitrella::kernels
