// 8-bit YUV 4:2:0 planes into 8-bit BGRA, as decoded H.264, MPEG and Motion JPEG frames
// come. swscale's own path costs about 2 ms a 1080p frame and repeats each chroma sample
// over its 2x2 block; this one interpolates chroma from where the stream says its samples
// lie, in a fraction of the time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "yuv_matrix.h"

namespace vitrella::host {

// Where chroma samples lie against the luma grid, as FFmpeg's AVChromaLocation numbers it.
// MPEG-2, H.264 and HEVC put them level with the left pixel of each pair, half way between
// the two rows (`kLeft`, also what an untagged stream means); JPEG in the middle of each
// 2x2 block (`kCenter`); the others level with a row.
enum class ChromaSiting : int {
  kUnspecified = 0,
  kLeft = 1,
  kCenter = 2,
  kTopLeft = 3,
  kTop = 4,
  kBottomLeft = 5,
  kBottom = 6,
};

struct Yuv420Source {
  const uint8_t* y = nullptr;
  const uint8_t* u = nullptr;
  const uint8_t* v = nullptr;
  ptrdiff_t yPitch = 0;
  ptrdiff_t uPitch = 0;
  ptrdiff_t vPitch = 0;
};

// Limited range (Y 16 to 235, chroma 16 to 240) unless fullRange; alpha is 255. The planes
// hold width x height luma and (width+1)/2 x (height+1)/2 chroma samples. Chroma is
// interpolated linearly between its samples, with the edge samples repeated. A null
// picture or plane, or an empty size, writes nothing.
void BgraFromYuv420(const Yuv420Source& planes, int width, int height, const YuvMatrix& matrix,
                    bool fullRange, ChromaSiting siting, uint8_t* bgra, ptrdiff_t pitch);

}  // namespace vitrella::host
