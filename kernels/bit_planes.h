// Rows of bits, one per pixel, as a search keeps its findings: several of them turned into
// bytes per pixel by table and gathered back, and a whole matrix of them turned over, so
// that what a walk down the columns found can join what one along the rows did. Between
// the two, a walk moves through the bytes as jumps, two at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Four table lookups per position, side by side: byte 4p + s of `out` gets tables[s][n],
// where n holds bit p of own[s] as its bit 0, of own[4 + s] as its bit 1, and of shared[0]
// and shared[1] as its bits 2 and 3. A walk through a line then finds its next move in any
// of four states with one read. 256 * words bytes.
Status LookupBitNibbles(const uint64_t* const own[8], const uint64_t* const shared[2],
                        const uint8_t tables[4][16], ptrdiff_t words, uint8_t* out);

// Bit p of planes[s] gets bit 7 of byte 4p + s of `bytes`, for the 64 * words positions:
// what a walk noted in the top bits of LookupBitNibbles' bytes, as rows of bits again. A
// null plane is skipped.
Status GatherHighBits4(const uint8_t* bytes, ptrdiff_t words, uint64_t* const planes[4]);

// Two jumps as one: byte n of `pairs` gets j + jumps[n + j], as a byte, for j = jumps[n]
// below 0x40, and j itself where it is 0x40 or more, for the `count` bytes from 0. A walk
// that moves by the jumps takes two with one read, and a pair of 0x40 or more says that
// one of its jumps stops it. Jumps below 0x40 are at most 32, and `jumps` is readable up
// to count + 64.
Status PairJumps(const uint8_t* jumps, ptrdiff_t count, uint8_t* pairs);

// Sets bit r of row c of dst wherever bit c of row r of src is set, for the `rows` rows and
// `columns` columns of src; rows lie srcPitch and dstPitch words apart. Bits of src past
// `columns` are ignored.
Status OrTransposedBits(const uint64_t* src, ptrdiff_t srcPitch, int32_t rows, int32_t columns,
                        uint64_t* dst, ptrdiff_t dstPitch);

}  // namespace vitrella::kernels
