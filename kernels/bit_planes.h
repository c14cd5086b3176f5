// Rows of bits, one per pixel, as a search keeps its findings: several of them packed side
// by side into one byte per pixel, and a whole matrix of them turned over, so that what a
// walk down the columns found can join what one along the rows did.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Byte p of `bytes` gets bit p of planes[k] as its bit k, for up to 8 planes of `words`
// 64-bit words each, bit p of a plane at bit p % 64 of word p / 64: 64 * words bytes.
Status PackBitPlanes(const uint64_t* const* planes, int32_t planeCount, ptrdiff_t words,
                     uint8_t* bytes);

// Sets bit r of row c of dst wherever bit c of row r of src is set, for the `rows` rows and
// `columns` columns of src; rows lie srcPitch and dstPitch words apart. Bits of src past
// `columns` are ignored.
Status OrTransposedBits(const uint64_t* src, ptrdiff_t srcPitch, int32_t rows, int32_t columns,
                        uint64_t* dst, ptrdiff_t dstPitch);

}  // namespace vitrella::kernels
