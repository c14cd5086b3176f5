// Edge Smoother's search for stair-steps: a walk down the columns and then one along the
// rows, which mark the pixels that the effect then replaces with their blurred colour.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/frame_buffer.h"

namespace vitrella {

// The pixels the search reads. `bordered` is the source with a margin of two pixels that
// repeat its edge: image pixel (x, y) at (x + 2, y + 2). `strip` is scratch of at least 4
// rows of height + 4 pixels, into which the walk down the columns transposes a few columns
// at a time, so that it reads them along memory while they stay in the cache. Channel
// indices of red, green and blue.
struct StepSource {
  const FrameBuffer* bordered;
  FrameBuffer* strip;
  int32_t width;
  int32_t height;
  int32_t red;
  int32_t green;
  int32_t blue;
};

// Rows for `strip` that keep a strip of columns of this many pixels within a core's cache.
int32_t StepStripRows(int32_t height, int32_t pixelBytes);

// What the search marks, as rows of bits: pixel (x, y) at bit x of row y where the walk
// along the rows marks it, at bit y of row x where the walk down the columns does. A row
// holds StepMarkWords(pixels) words, `pitch` words apart, and starts clear.
struct StepMarks {
  uint64_t* rows;
  ptrdiff_t rowPitch;
  uint64_t* columns;
  ptrdiff_t columnPitch;
};
constexpr ptrdiff_t StepMarkWords(int32_t pixels) {
  return (static_cast<ptrdiff_t>(pixels) + 63) / 64 + 1;
}

// Runs the search. With `planes`, it first compares each line with the lines beside it as
// rows of bits, which pays where most pixels differ from the running colour; else it
// compares pixel by pixel as it goes. Both give the same marks. False if a comparison
// failed, which only odd frames can cause.
bool SearchSteps8u(const StepSource& source, int32_t tolerance, bool softenLines, bool planes,
                   const StepMarks& marks);
bool SearchSteps32f(const StepSource& source, float tolerance, bool softenLines, bool planes,
                    const StepMarks& marks);

}  // namespace vitrella
