#include "effects/step_search.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <vector>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define VITRELLA_STEP_FOUR_AT_ONCE 1
#endif

#include "core/vector_clones.h"
#include "kernels/bit_planes.h"
#include "kernels/colour_run.h"
#include "kernels/copy.h"
#include "kernels/lane_match.h"

namespace vitrella {
namespace {

constexpr int32_t kBorder = 2;

// Planes drawn from the lane matches, one bit per position i of a line. Those ending in
// 1 to 4 hold when the running colour is the centre lane's pixel at i - 1 to i - 4: where
// the walk last moved by one pixel, jumped past a step along its own line, or met a run
// of two or three pixels of the colour. Softening at i asks about the side lanes at i,
// which the lane matches know for i - 1 and i - 2 only: the third and fourth colours
// serve only where lines are not softened.
enum Derived : int32_t {
  kMatch1,  // the pixel at i matches the running colour
  kMatch2,
  kMatch3,
  kMatch4,
  kStep1,  // runs both ahead and behind: a stair-step
  kStep2,
  kStep3,
  kStep4,
  kUpTwo1,  // the run behind reaches two pixels
  kUpThree1,
  kUpTwo2,
  kUpThree2,
  kUpTwo3,
  kUpThree3,
  kUpTwo4,
  kUpThree4,
  kDownOne,  // the run ahead reaches one, two, three pixels; it never asks for the
  kDownTwo,  // running colour
  kDownThree,
  kSoften1,  // no test stops the softening of a straight line
  kSoften2,
  kDerivedPlanes
};

// A pixel's outcome for one running colour as one byte, as the comparisons give it.
enum CodeBit : uint32_t {
  kMatchBit = 1,
  kStepBit = 2,
  kDownTwoBit = 4,
  kDownThreeBit = 8,
  kDownOneBit = 16,
  kUpTwoBit = 32,
  kUpThreeBit = 64,
  kSoftenBit = 128,
};
// Running colours the planes follow: the pixel 1 to 4 behind on the centre lane.
constexpr int32_t kCodeSets = 4;

// What the walk does at a pixel that does not match the running colour, by its code.
struct Move {
  uint8_t centre;  // marks on the centre lane, bit k for inner - 3 + k
  uint8_t soften;  // 1 to mark the three lanes at inner - 1
  int8_t advance;
  int8_t behind;  // where the planes hold the new running colour: 1, 2, or 0 for nowhere
  int8_t lane;    // the new running colour is on line outer + lane ...
  int8_t offset;  // ... at inner + offset
};

std::array<Move, 128> Moves(bool alongRows, bool softenLines) {
  std::array<Move, 128> moves{};
  for (uint32_t index = 0; index < 128; ++index) {
    const uint32_t code = index << 1;
    Move& m = moves[index];
    if ((code & kStepBit) == 0) {
      m = {0, static_cast<uint8_t>(softenLines && (code & kSoftenBit) != 0 ? 1 : 0), 1, 1, 0, 0};
      continue;
    }
    const int32_t up = 1 + ((code & kUpTwoBit) != 0 ? 1 : 0) + ((code & kUpThreeBit) != 0 ? 1 : 0);
    const int32_t down =
        1 + ((code & kDownTwoBit) != 0 ? 1 : 0) + ((code & kDownThreeBit) != 0 ? 1 : 0);
    m.centre = static_cast<uint8_t>(((1U << (up + down)) - 1) << (3 - up));
    m.advance = static_cast<int8_t>(down + 1);
    // The new running colour lies along the image row in both passes, to the right of
    // the pixel: along the walk in the row pass, on a later line in the column pass,
    // where at the last column but one it reaches one column past the frame and the
    // bordered copy repeats the edge pixel.
    m.behind = static_cast<int8_t>(alongRows || down == 1 ? 2 : 0);
    m.lane = static_cast<int8_t>(alongRows ? 0 : down - 1);
    m.offset = static_cast<int8_t>(alongRows ? down - 1 : 0);
  }
  return moves;
}

// Asks for a line's pixels ahead of need. Where most pixels match the running colour, the
// walk scans the centre lane in order, which the processor foresees, but reads the lane
// after it only at scattered pixels, each of which would otherwise wait for memory.
inline void PrefetchLine(const void* start, size_t bytes) {
#if defined(__GNUC__)
  const auto* p = static_cast<const char*>(start);
  for (size_t at = 0; at < bytes; at += 64)
    __builtin_prefetch(p + at, 0, 2);
#else
  static_cast<void>(start);
  static_cast<void>(bytes);
#endif
}

// Where the planes know the running colour, the walk's move at a pixel follows from
// whether it matches the colour and whether it is a step, for the colour s + 1 behind
// in state s, and from how far the run ahead reaches. Each pixel gets one byte per state,
// position p's four at 4p: the walk is at 4p + s, and the byte is what it adds to get to
// the next pixel it reaches in the state there. A move to where the planes no longer know
// the colour ends the walk through the bytes: its byte holds kLostColour and how far it
// moves. The walk marks in a byte's top bit that it passed there. A matching pixel moves
// the walk on by one, with the colour a pixel further behind; `states` states know it.
constexpr uint8_t kLostColour = 0x40;
constexpr uint8_t kPassed = 0x80;
struct HopTables {
  uint8_t bytes[kCodeSets][16];
};

// The byte of each state by the nibble of LookupBitNibbles: match, step, and runs ahead
// of two and three.
HopTables Hops(bool alongRows, int32_t states) {
  HopTables tables{};
  for (int32_t state = 0; state < kCodeSets; ++state) {
    for (uint32_t nibble = 0; nibble < 16; ++nibble) {
      const int32_t down = 1 + static_cast<int32_t>((nibble >> 2 & 1U) + (nibble >> 3 & 1U));
      int32_t advance = 1;
      int32_t next = 0;
      bool lost = false;
      if ((nibble & 1U) != 0) {
        next = state + 1;
        lost = next >= states;
      } else if ((nibble & 2U) != 0) {
        // A step down the columns that reaches past one pixel takes the colour from
        // another line.
        advance = down + 1;
        next = 1;
        lost = !alongRows && down > 1;
      }
      tables.bytes[state][nibble] = lost ? static_cast<uint8_t>(kLostColour | advance)
                                         : static_cast<uint8_t>(4 * advance + next - state);
    }
  }
  return tables;
}

// Sets up to 8 bits of a row of bits from position pos on.
inline void OrBits(uint64_t* row, int32_t pos, uint64_t bits) {
  const int32_t shift = pos & 63;
  row[pos >> 6] |= bits << shift;
  row[(pos >> 6) + 1] |= (bits >> 1) >> (63 - shift);
}

// Words of bits, one at a time or, where the compiler has vector types, two or four: the
// rules below are the same bitwise operations on any of them.
#if defined(__GNUC__)
// The helpers that pass four words by value are inlined wherever they are used, so no
// call between differently built code ever carries one.
#pragma GCC diagnostic ignored "-Wpsabi"
using WordQuad = uint64_t __attribute__((vector_size(32)));
using WordPair = uint64_t __attribute__((vector_size(16)));
#else
using WordQuad = uint64_t;
using WordPair = uint64_t;
#endif

template <typename V>
[[gnu::always_inline]] inline V LoadWords(const uint64_t* p) {
  V v;
  std::memcpy(&v, p, sizeof(V));
  return v;
}

// Bits of positions 64 w + s onwards: a plane's bits at an offset s from i.
template <int32_t kShift, typename V>
[[gnu::always_inline]] inline V Offset(const uint64_t* plane, ptrdiff_t w) {
  if constexpr (kShift > 0) {
    return (LoadWords<V>(plane + w) >> kShift) | (LoadWords<V>(plane + w + 1) << (64 - kShift));
  } else if constexpr (kShift < 0) {
    return (LoadWords<V>(plane + w) << -kShift) | (LoadWords<V>(plane + w - 1) >> (64 + kShift));
  } else {
    return LoadWords<V>(plane + w);
  }
}

// The planes of Derived at words w onwards from the lane matches of a line, `pitch` words
// apart, each with a clear word on either side.
template <typename V>
[[gnu::always_inline]] inline void DeriveWords(const uint64_t* matches, ptrdiff_t pitch,
                                               ptrdiff_t w, uint64_t* derived) {
  using kernels::kCentreBack1;
  using kernels::kCentreBack2;
  using kernels::kCentreBack3;
  using kernels::kCentreSelf;
  using kernels::SideDiffersPlane;
  using kernels::SideMatchBack3Plane;
  using kernels::SideMatchPlane;
  const auto at = [&](int32_t k) { return matches + k * pitch; };
  const uint64_t* self = at(kCentreSelf);
  const uint64_t* back1 = at(kCentreBack1);
  const uint64_t* back2 = at(kCentreBack2);
  const uint64_t* back3 = at(kCentreBack3);
  V down[3] = {};
  V up1[3] = {};
  V up2[3] = {};
  V up3[3] = {};
  V up4[3] = {};
  V stops1 = {};
  V stops2 = {};
  for (int32_t side = 0; side < 2; ++side) {
    const auto matching = [&](int32_t d) { return at(SideMatchPlane(side, d)); };
    // Counting on while the centre lane matches its reference and the side lane does not:
    // ahead of i against the pixel at i, behind it against the running colour.
    const V a0 = Offset<0, V>(self, w) & ~Offset<0, V>(matching(0), w);
    const V a1 = a0 & Offset<1, V>(back1, w) & ~Offset<0, V>(matching(1), w);
    const V a2 = a1 & Offset<2, V>(back2, w) & ~Offset<0, V>(matching(2), w);
    const V b0 = Offset<-1, V>(self, w) & ~Offset<-1, V>(matching(0), w);  // colour at i - 1
    const V b1 = b0 & Offset<-1, V>(back1, w) & ~Offset<-1, V>(matching(-1), w);
    const V b2 = b1 & Offset<-1, V>(back2, w) & ~Offset<-1, V>(matching(-2), w);
    const V c0 = Offset<-1, V>(back1, w) & ~Offset<-2, V>(matching(1), w);  // colour at i - 2
    const V c1 = c0 & Offset<-2, V>(self, w) & ~Offset<-2, V>(matching(0), w);
    const V c2 = c1 & Offset<-2, V>(back1, w) & ~Offset<-2, V>(matching(-1), w);
    const V d0 = Offset<-1, V>(back2, w) & ~Offset<-3, V>(matching(2), w);  // colour at i - 3
    const V d1 = d0 & Offset<-2, V>(back1, w) & ~Offset<-3, V>(matching(1), w);
    const V d2 = d1 & Offset<-3, V>(self, w) & ~Offset<-3, V>(matching(0), w);
    const V e0 =
        Offset<-1, V>(back3, w) & ~Offset<-1, V>(at(SideMatchBack3Plane(side)), w);  // i - 4
    const V e1 = e0 & Offset<-2, V>(back2, w) & ~Offset<-4, V>(matching(2), w);
    const V e2 = e1 & Offset<-3, V>(back1, w) & ~Offset<-4, V>(matching(1), w);
    down[0] |= a0;
    down[1] |= a1;
    down[2] |= a2;
    up1[0] |= b0;
    up1[1] |= b1;
    up1[2] |= b2;
    up2[0] |= c0;
    up2[1] |= c1;
    up2[2] |= c2;
    up3[0] |= d0;
    up3[1] |= d1;
    up3[2] |= d2;
    up4[0] |= e0;
    up4[1] |= e1;
    up4[2] |= e2;
    // The side pixel at i matches the running colour, or the one before i differs from it
    // in all channels.
    stops1 |= Offset<-1, V>(matching(1), w) | Offset<-1, V>(at(SideDiffersPlane(side, 0)), w);
    stops2 |= Offset<-2, V>(matching(2), w) | Offset<-2, V>(at(SideDiffersPlane(side, 1)), w);
  }
  const auto put = [&](int32_t k, V v) { std::memcpy(derived + k * pitch + w, &v, sizeof(V)); };
  put(kMatch1, Offset<0, V>(back1, w));
  put(kMatch2, Offset<0, V>(back2, w));
  put(kMatch3, Offset<0, V>(back3, w));
  put(kMatch4, Offset<0, V>(at(kernels::kCentreBack4), w));
  put(kStep1, up1[0] & down[0]);
  put(kStep2, up2[0] & down[0]);
  put(kStep3, up3[0] & down[0]);
  put(kStep4, up4[0] & down[0]);
  put(kUpTwo1, up1[1]);
  put(kUpThree1, up1[2]);
  put(kUpTwo2, up2[1]);
  put(kUpThree2, up2[2]);
  put(kUpTwo3, up3[1]);
  put(kUpThree3, up3[2]);
  put(kUpTwo4, up4[1]);
  put(kUpThree4, up4[2]);
  put(kDownOne, down[0]);
  put(kDownTwo, down[1]);
  put(kDownThree, down[2]);
  put(kSoften1, ~stops1);
  put(kSoften2, ~stops2);
}

VITRELLA_VECTOR_CLONES void DerivePlanes(const uint64_t* matches, ptrdiff_t pitch, ptrdiff_t words,
                                         uint64_t* derived) {
  constexpr auto kQuad = static_cast<ptrdiff_t>(sizeof(WordQuad) / sizeof(uint64_t));
  constexpr auto kPair = static_cast<ptrdiff_t>(sizeof(WordPair) / sizeof(uint64_t));
  ptrdiff_t w = 0;
  for (; w + kQuad <= words; w += kQuad)
    DeriveWords<WordQuad>(matches, pitch, w, derived);
  for (; w + kPair <= words; w += kPair)
    DeriveWords<WordPair>(matches, pitch, w, derived);
  for (; w < words; ++w)
    DeriveWords<uint64_t>(matches, pitch, w, derived);
}

// What the walk's moves mark, where it passed with the running colour 1 to 4 behind:
// `visited` holds those four rows of bits, then room for the six parts below, `derived`
// the planes of Derived, all `pitch` words apart with a clear word on either side. A step
// marks `up` pixels behind it and `down` from it on along the line, a softening the three
// lanes one pixel behind; a pixel that matched the running colour only passed the walk on.
// The parts: the steps, those whose runs reach two or three, and the softenings.
enum MarkPart : int32_t {
  kSteps = kCodeSets,
  kStepsUpTwo,
  kStepsUpThree,
  kStepsDownTwo,
  kStepsDownThree,
  kSoftenings
};

template <typename V>
[[gnu::always_inline]] inline void MarkParts(uint64_t* visited, const uint64_t* derived,
                                             ptrdiff_t pitch, ptrdiff_t w, bool soften) {
  const auto at = [&](const uint64_t* planes, int32_t k) {
    return LoadWords<V>(planes + k * pitch + w);
  };
  const auto put = [&](int32_t k, V v) { std::memcpy(visited + k * pitch + w, &v, sizeof(V)); };
  const V passed[kCodeSets] = {
      at(visited, 0) & ~at(derived, kMatch1), at(visited, 1) & ~at(derived, kMatch2),
      at(visited, 2) & ~at(derived, kMatch3), at(visited, 3) & ~at(derived, kMatch4)};
  const V steps1 = passed[0] & at(derived, kStep1);
  const V steps2 = passed[1] & at(derived, kStep2);
  const V steps3 = passed[2] & at(derived, kStep3);
  const V steps4 = passed[3] & at(derived, kStep4);
  const V steps = steps1 | steps2 | steps3 | steps4;
  put(kSteps, steps);
  put(kStepsUpTwo, (steps1 & at(derived, kUpTwo1)) | (steps2 & at(derived, kUpTwo2)) |
                       (steps3 & at(derived, kUpTwo3)) | (steps4 & at(derived, kUpTwo4)));
  put(kStepsUpThree, (steps1 & at(derived, kUpThree1)) | (steps2 & at(derived, kUpThree2)) |
                         (steps3 & at(derived, kUpThree3)) | (steps4 & at(derived, kUpThree4)));
  put(kStepsDownTwo, steps & at(derived, kDownTwo));
  put(kStepsDownThree, steps & at(derived, kDownThree));
  V softenings{};
  if (soften) {
    softenings = (passed[0] & ~at(derived, kStep1) & at(derived, kSoften1)) |
                 (passed[1] & ~at(derived, kStep2) & at(derived, kSoften2));
  }
  put(kSoftenings, softenings);
}

template <typename V>
[[gnu::always_inline]] inline void MarkWords(const uint64_t* parts, ptrdiff_t pitch, ptrdiff_t w,
                                             uint64_t* const markRows[3]) {
  const auto part = [&](int32_t k) { return parts + k * pitch; };
  const V soften = Offset<1, V>(part(kSoftenings), w);
  const V centre = soften | Offset<0, V>(part(kSteps), w) | Offset<-1, V>(part(kStepsDownTwo), w) |
                   Offset<-2, V>(part(kStepsDownThree), w) | Offset<1, V>(part(kSteps), w) |
                   Offset<2, V>(part(kStepsUpTwo), w) | Offset<3, V>(part(kStepsUpThree), w);
  const auto orInto = [&](uint64_t* row, V v) {
    v |= LoadWords<V>(row + w);
    std::memcpy(row + w, &v, sizeof(V));
  };
  orInto(markRows[0], soften);
  orInto(markRows[1], centre);
  orInto(markRows[2], soften);
}

VITRELLA_VECTOR_CLONES void MarkPassed(uint64_t* visited, const uint64_t* derived, ptrdiff_t pitch,
                                       ptrdiff_t words, bool soften, uint64_t* const markRows[3]) {
  constexpr auto kQuad = static_cast<ptrdiff_t>(sizeof(WordQuad) / sizeof(uint64_t));
  ptrdiff_t w = 0;
  for (; w + kQuad <= words; w += kQuad)
    MarkParts<WordQuad>(visited, derived, pitch, w, soften);
  for (; w < words; ++w)
    MarkParts<uint64_t>(visited, derived, pitch, w, soften);
  // Bits k positions on, or back, across words: each part has a clear word either side,
  // the one after it cleared here of what a longer line of the other pass left there.
  for (int32_t k = kSteps; k <= kSoftenings; ++k)
    visited[k * pitch + words] = 0;
  for (w = 0; w + kQuad <= words; w += kQuad)
    MarkWords<WordQuad>(visited, pitch, w, markRows);
  for (; w < words; ++w)
    MarkWords<uint64_t>(visited, pitch, w, markRows);
}

// Lengths of the runs of set bits in three flags: from bit 2 down, and from bit 0 up.
constexpr int32_t kRunFromTop[8] = {0, 0, 0, 0, 1, 1, 2, 3};
constexpr int32_t kRunFromBottom[8] = {0, 1, 0, 2, 0, 1, 0, 3};

#if defined(VITRELLA_STEP_FOUR_AT_ONCE)
// How four byte pixels from px stand to one colour, bit k for pixel k: where all three
// colour channels lie within the tolerance of the colour's, and where all lie beyond it.
struct FourRelations {
  uint32_t matches;
  uint32_t differ;
};
// `channels` holds all ones in the colour bytes of each pixel. A pixel matches where its
// bytes within the tolerance, with the other byte counted in, make a whole word of ones;
// it differs in all where no colour byte is within.
inline FourRelations RelateFour(const uint8_t* px, __m128i colour, __m128i tolerance,
                                __m128i channels) {
  const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(px));
  const __m128i distance =
      _mm_or_si128(_mm_subs_epu8(pixels, colour), _mm_subs_epu8(colour, pixels));
  const __m128i zero = _mm_setzero_si128();
  const __m128i within = _mm_cmpeq_epi8(_mm_subs_epu8(distance, tolerance), zero);
  const __m128i ones = _mm_cmpeq_epi32(zero, zero);
  const __m128i matches =
      _mm_cmpeq_epi32(_mm_or_si128(within, _mm_andnot_si128(channels, ones)), ones);
  const __m128i differ = _mm_cmpeq_epi32(_mm_and_si128(within, channels), zero);
  return {static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(matches))),
          static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(differ)))};
}

inline __m128i BroadcastPixel(const uint8_t* px) {
  int32_t word;
  std::memcpy(&word, px, sizeof(word));
  return _mm_set1_epi32(word);
}
#endif

template <typename T>
class StepSearch {
 public:
  using Tolerance = std::conditional_t<std::is_same_v<T, uint8_t>, int32_t, float>;

  StepSearch(const StepSource& source, Tolerance tolerance, bool softenLines, bool planes,
             const StepMarks& marks)
      : source_(source),
        at_{source.blue, source.green, source.red},
        tolerance_(tolerance),
        softenLines_(softenLines),
        marks_(marks),
        words_(kernels::LaneWords(std::max(source.width, source.height))) {
#if defined(VITRELLA_STEP_FOUR_AT_ONCE)
    if constexpr (std::is_same_v<T, uint8_t>) {
      fourAtOnce_ = tolerance >= 0 && tolerance <= 255;
      fourTolerance_ = _mm_set1_epi8(static_cast<char>(std::clamp(tolerance, 0, 255)));
      uint32_t channels = 0;
      for (const int32_t c : {at_.blue, at_.green, at_.red})
        channels |= 0xFFU << (8 * c);
      fourChannels_ = _mm_set1_epi32(static_cast<int32_t>(channels));
    }
#endif
    if (planes) {
      planes_.assign(static_cast<size_t>(words_ + 2) * (kernels::kLanePlanes + kDerivedPlanes), 0);
      codeSets_ = softenLines ? 2 : kCodeSets;
      // The pairs read the bytes up to 64 past a line's; one more takes the notes that a
      // walk makes nowhere.
      hopBytes_.assign(static_cast<size_t>(256 * words_ + 65), 0);
      pairBytes_.assign(static_cast<size_t>(256 * words_), 0);
      visited_.assign(static_cast<size_t>(words_ + 2) * (kCodeSets + 6), 0);
    }
  }

  bool Run() {
    // The running colour starts black once per frame and is never reset: not at a new
    // line, and not between the two passes.
    running_ = kBlack;
    return Walk<false>() && Walk<true>();
  }

 private:
  static constexpr T kBlack[4] = {};

  static Tolerance Distance(T a, T b) {
    if constexpr (std::is_same_v<T, uint8_t>) {
      return std::abs(int32_t{a} - int32_t{b});
    } else {
      return std::fabs(a - b);
    }
  }
  // Within the tolerance in each of the three channels, without a branch per channel:
  // which of them settles a comparison is as good as random.
  bool Matches(const T* a, const T* b) const {
    return static_cast<bool>(static_cast<int>(Distance(a[at_.blue], b[at_.blue]) <= tolerance_) &
                             static_cast<int>(Distance(a[at_.green], b[at_.green]) <= tolerance_) &
                             static_cast<int>(Distance(a[at_.red], b[at_.red]) <= tolerance_));
  }
  // Beyond the tolerance in all three channels at once.
  bool DiffersInAll(const T* a, const T* b) const {
    return static_cast<bool>(static_cast<int>(Distance(a[at_.blue], b[at_.blue]) > tolerance_) &
                             static_cast<int>(Distance(a[at_.green], b[at_.green]) > tolerance_) &
                             static_cast<int>(Distance(a[at_.red], b[at_.red]) > tolerance_));
  }
  // How many of the count pixels from px match the running colour.
  int32_t RunLength(const T* px, int32_t count) const {
    if (count < 1) return 0;
#if defined(VITRELLA_STEP_FOUR_AT_ONCE)
    // Where most pixels differ, most runs end within a few pixels: four compared at once
    // settle those, which the lanes' borders leave room to read.
    if constexpr (std::is_same_v<T, uint8_t>) {
      if (fourAtOnce_) {
        const uint32_t matches = Relate(px, BroadcastPixel(running_)).matches;
        const int32_t run = std::countr_one(matches);
        if (run < 4 || count <= 4) return std::min(run, count);
        return 4 + ScanRun(px + 16, count - 4);
      }
    }
#endif
    // Where most pixels differ, most runs end at once: the first pixel needs no scan.
    if (!Matches(px, running_)) return 0;
    return ScanRun(px, count);
  }
  int32_t ScanRun(const T* px, int32_t count) const {
    if constexpr (std::is_same_v<T, uint8_t>) {
      kernels::RunColour8u colour{{}, tolerance_};
      for (const int32_t c : {at_.blue, at_.green, at_.red})
        colour.channels[c] = running_[c];
      return kernels::ColourRunLength8u_C4(px, count, at_, colour);
    } else {
      kernels::RunColour32f colour{{}, tolerance_};
      for (const int32_t c : {at_.blue, at_.green, at_.red})
        colour.channels[c] = running_[c];
      return kernels::ColourRunLength32f_C4(px, count, at_, colour);
    }
  }

  // The planes of one line, each with a clear word on either side.
  uint64_t* Plane(int32_t k) {
    return planes_.data() + static_cast<ptrdiff_t>(k) * (words_ + 2) + 1;
  }
  uint64_t* DerivedPlane(int32_t k) {
    return Plane(kernels::kLanePlanes + k);
  }
  // How far the run ahead of a pixel reaches, which the planes know for any running
  // colour, as code bits.
  uint32_t KnownAhead(int32_t inner) const {
    const auto bit = [&](int32_t k) {
      const ptrdiff_t at = (kernels::kLanePlanes + k) * (words_ + 2) + 1 + (inner >> 6);
      return static_cast<uint32_t>(planes_[static_cast<size_t>(at)] >> (inner & 63)) & 1U;
    };
    return (bit(kDownOne) * kDownOneBit) | (bit(kDownTwo) * kDownTwoBit) |
           (bit(kDownThree) * kDownThreeBit);
  }
  bool FillPlanes(const T* const lane[3], int32_t count, bool follows, const HopTables& hops);
  uint32_t CodeByComparing(const T* const lane[3], int32_t inner, bool planes) const;
  uint32_t CodeOfFours(const uint8_t* const lane[3], int32_t inner, bool planes) const;
  // Rows of bits for one line: where the walk moved with the running colour 1 to 4
  // behind, then the parts of its marks; each with a clear word on either side.
  uint64_t* Visited(int32_t k) {
    return visited_.data() + static_cast<ptrdiff_t>(k) * (words_ + 2) + 1;
  }
  bool MarkFromPlanes(uint64_t* const markRows[3], ptrdiff_t words);

  template <bool kAlongRows>
  bool Walk();
  bool NextStrip(int32_t from, int32_t& first, int32_t& held);

  const StepSource& source_;
  kernels::ColourPositions at_;
  Tolerance tolerance_;
  bool softenLines_;
  StepMarks marks_;
  ptrdiff_t words_;
#if defined(VITRELLA_STEP_FOUR_AT_ONCE)
  FourRelations Relate(const uint8_t* px, __m128i colour) const {
    return RelateFour(px, colour, fourTolerance_, fourChannels_);
  }
  bool fourAtOnce_ = false;  // the tolerance is a byte's
  __m128i fourTolerance_{};
  __m128i fourChannels_{};  // all ones in each pixel's colour bytes
#endif
  std::vector<uint64_t> planes_;
  std::vector<uint8_t> hopBytes_;   // four bytes per position, one for each state
  std::vector<uint8_t> pairBytes_;  // each of those bytes' move and the next one's as one
  // Running colours the planes follow: the third and fourth only where lines are not
  // softened.
  int32_t codeSets_ = 2;
  std::vector<uint64_t> visited_;
  const T* running_ = kBlack;  // a source pixel, or black at the start
  T carried_[4] = {};          // the running colour while the strip under it changes
};

// With `follows`, the planes hold the line before in the same pass, from which the lane
// before's relations follow.
template <typename T>
bool StepSearch<T>::FillPlanes(const T* const lane[3], int32_t count, bool follows,
                               const HopTables& hops) {
  kernels::Status status;
  if constexpr (std::is_same_v<T, uint8_t>) {
    status = (follows ? kernels::NextLaneMatches8u_C4 : kernels::LaneMatches8u_C4)(
        lane[0], lane[1], lane[2], count, at_, tolerance_, Plane(0), words_ + 2, softenLines_);
  } else {
    status = (follows ? kernels::NextLaneMatches32f_C4 : kernels::LaneMatches32f_C4)(
        lane[0], lane[1], lane[2], count, at_, tolerance_, Plane(0), words_ + 2, softenLines_);
  }
  if (status != kernels::kOk) return false;
  const ptrdiff_t words = kernels::LaneWords(count);
  for (int32_t k = 0; k < kernels::kLanePlanes; ++k)
    Plane(k)[words] = 0;  // a longer line of the other pass may have left bits there
  DerivePlanes(Plane(0), words_ + 2, words, DerivedPlane(0));
  const uint64_t* own[8] = {DerivedPlane(kMatch1), DerivedPlane(kMatch2), DerivedPlane(kMatch3),
                            DerivedPlane(kMatch4), DerivedPlane(kStep1),  DerivedPlane(kStep2),
                            DerivedPlane(kStep3),  DerivedPlane(kStep4)};
  const uint64_t* shared[2] = {DerivedPlane(kDownTwo), DerivedPlane(kDownThree)};
  return kernels::LookupBitNibbles(own, shared, hops.bytes, words, hopBytes_.data()) ==
             kernels::kOk &&
         kernels::PairJumps(hopBytes_.data(), 256 * words, pairBytes_.data()) == kernels::kOk;
}

// The code of a pixel that does not match the running colour, from its colours: the
// pattern's flags are set where a pixel differs from its reference, the running colour
// for the three cells before `inner` and this pixel from it on, and are asked for only
// as the runs reach them. The runs ahead never ask for the running colour: the planes,
// where there are any, know them.
template <typename T>
uint32_t StepSearch<T>::CodeByComparing(const T* const lane[3], int32_t inner, bool planes) const {
#if defined(VITRELLA_STEP_FOUR_AT_ONCE)
  // Bytes compare four pixels of a lane at once, with no branch on what they hold.
  if constexpr (std::is_same_v<T, uint8_t>) {
    if (fourAtOnce_) return CodeOfFours(lane, inner, planes);
  }
#endif
  const auto pixel = [&](int32_t l, int32_t i) { return lane[l] + 4 * static_cast<ptrdiff_t>(i); };
  const T* here = pixel(1, inner);
  const auto differs = [&](int32_t l, int32_t i) {
    return !Matches(pixel(l, inner - 3 + i), i < 3 ? running_ : here);
  };
  // Counts from `first` towards `last` while the centre lane matches its reference and
  // the side lane does not.
  const auto run = [&](int32_t side, int32_t first, int32_t last) {
    const int32_t step = first < last ? 1 : -1;
    int32_t count = 0;
    for (int32_t i = first;; i += step) {
      if (differs(1, i) || !differs(side, i)) break;
      ++count;
      if (i == last) break;
    }
    return count;
  };
  // With planes the run ahead comes for nothing, and without it no step can be.
  const uint32_t known = planes ? KnownAhead(inner) : uint32_t{kDownOneBit};
  const int32_t up = (known & kDownOneBit) != 0 ? std::max(run(0, 2, 0), run(2, 2, 0)) : 0;
  int32_t down = 0;
  if (up != 0) {
    if (planes) {
      down = 1 + ((known & kDownTwoBit) != 0 ? 1 : 0) + ((known & kDownThreeBit) != 0 ? 1 : 0);
    } else {
      down = std::max(run(0, 3, 5), run(2, 3, 5));
    }
  }
  if (down != 0) {
    return kStepBit | (up >= 2 ? kUpTwoBit : 0U) | (up >= 3 ? kUpThreeBit : 0U) |
           (down >= 2 ? kDownTwoBit : 0U) | (down >= 3 ? kDownThreeBit : 0U);
  }
  const bool soften = softenLines_ && !Matches(pixel(0, inner), running_) &&
                      !DiffersInAll(pixel(0, inner - 1), running_) &&
                      !Matches(pixel(2, inner), running_) &&
                      !DiffersInAll(pixel(2, inner - 1), running_);
  return soften ? kSoftenBit : 0U;
}

// The code of CodeByComparing, from all the pattern's comparisons made four pixels at a
// time: those of the three cells before `inner` with the running colour, and where the
// planes do not know the runs ahead, those from `inner` on with the pixel there.
template <typename T>
uint32_t StepSearch<T>::CodeOfFours(const uint8_t* const lane[3], int32_t inner,
                                    bool planes) const {
#if defined(VITRELLA_STEP_FOUR_AT_ONCE)
  const auto relate = [&](int32_t l, int32_t from, __m128i colour) {
    return Relate(lane[l] + 4 * static_cast<ptrdiff_t>(from), colour);
  };
  const __m128i running = BroadcastPixel(running_);
  // Bits 0 to 2 for the cells inner - 3 to inner - 1, bit 3 for inner itself.
  const FourRelations behind[3] = {relate(0, inner - 3, running), relate(1, inner - 3, running),
                                   relate(2, inner - 3, running)};
  const auto upTo = [&](int32_t side) {
    return kRunFromTop[behind[1].matches & ~behind[side].matches & 7U];
  };
  const uint32_t known = planes ? KnownAhead(inner) : uint32_t{kDownOneBit};
  const int32_t up = (known & kDownOneBit) != 0 ? std::max(upTo(0), upTo(2)) : 0;
  int32_t down = 0;
  if (up != 0) {
    if (planes) {
      down = 1 + ((known & kDownTwoBit) != 0 ? 1 : 0) + ((known & kDownThreeBit) != 0 ? 1 : 0);
    } else {
      // Bits 0 to 2 for the cells inner to inner + 2.
      const __m128i here = BroadcastPixel(lane[1] + 4 * static_cast<ptrdiff_t>(inner));
      const uint32_t centre = relate(1, inner, here).matches;
      const auto downTo = [&](int32_t side) {
        return kRunFromBottom[centre & ~relate(side, inner, here).matches & 7U];
      };
      down = std::max(downTo(0), downTo(2));
    }
  }
  if (down != 0) {
    return kStepBit | (up >= 2 ? kUpTwoBit : 0U) | (up >= 3 ? kUpThreeBit : 0U) |
           (down >= 2 ? kDownTwoBit : 0U) | (down >= 3 ? kDownThreeBit : 0U);
  }
  const uint32_t stops = (behind[0].matches >> 3) | (behind[0].differ >> 2) |
                         (behind[2].matches >> 3) | (behind[2].differ >> 2);
  return softenLines_ && (stops & 1U) == 0 ? kSoftenBit : 0U;
#else
  static_cast<void>(lane);
  static_cast<void>(inner);
  static_cast<void>(planes);
  return 0;
#endif
}

// Marks a line's moves made where the planes knew the running colour, from the bytes in
// which the walk noted where it passed in which state.
template <typename T>
bool StepSearch<T>::MarkFromPlanes(uint64_t* const markRows[3], ptrdiff_t words) {
  uint64_t* const passed[kCodeSets] = {Visited(0), Visited(1), Visited(2), Visited(3)};
  if (kernels::GatherHighBits4(hopBytes_.data(), words, passed) != kernels::kOk) return false;
  MarkPassed(Visited(0), DerivedPlane(0), words_ + 2, words, softenLines_, markRows);
  return true;
}

// Makes the strip hold the columns of the bordered copy from image column `from` on, as
// many as it holds or the border still has. The lines it holds already from there on move
// to its top, and only the columns after them are transposed, ending where a cache line
// of the bordered copy does, so that each line of the copy is read once and the
// transposition runs in whole vector blocks. The running colour may lie in the strip's
// old contents, so it is carried over by value.
template <typename T>
bool StepSearch<T>::NextStrip(int32_t from, int32_t& first, int32_t& held) {
  std::copy_n(running_, 4, carried_);
  running_ = carried_;
  const FrameBuffer& bordered = *source_.bordered;
  FrameBuffer& strip = *source_.strip;
  constexpr int32_t kPixelBytes = 4 * static_cast<int32_t>(sizeof(T));
  const int32_t length = source_.height + 2 * kBorder;
  if (strip.width < length) return false;
  const int32_t kept = std::clamp(first + held - from, 0, held);
  for (int32_t k = 0; k < kept; ++k) {
    std::memcpy(strip.Row<T>(k), strip.Row<const T>(from - first + k),
                static_cast<size_t>(length) * kPixelBytes);
  }
  const int32_t start = from + kept;
  const int32_t left = source_.width + kBorder - start;  // columns the border still has
  int32_t count = std::min(strip.height - kept, left);
  const auto end =
      reinterpret_cast<uintptr_t>(bordered.Row<const T>(0) + 4 * (start + kBorder + count));
  const auto past = static_cast<int32_t>(end % 64) / kPixelBytes;
  if (count < left && count - past >= 4) count -= past;
  first = from;
  held = kept + count;
  if (held < 4 || count < 1) return false;
  return kernels::TransposePixels(
             bordered.View().Sub(start + kBorder, 0, count, length, kPixelBytes),
             strip.View().Sub(0, kept, length, count, kPixelBytes), kPixelBytes) == kernels::kOk;
}

// One pass. Its lines are the rows of `bordered` along the rows, of `columns` down the
// columns; the pattern's three lanes are the lines outer - 1, outer and outer + 1, and
// run from inner - 3 to inner + 2. Marks go to rows of bits in the same order.
template <typename T>
template <bool kAlongRows>
bool StepSearch<T>::Walk() {
  const int32_t outerExtent = kAlongRows ? source_.height : source_.width;
  const int32_t innerExtent = kAlongRows ? source_.width : source_.height;
  const int32_t end = innerExtent - 3;
  // Down the columns, the lines come from the strip: `held` transposed columns of the
  // bordered copy from image column `first` on.
  const FrameBuffer& lines = kAlongRows ? *source_.bordered : *source_.strip;
  int32_t first = -kBorder;
  int32_t held = kAlongRows ? outerExtent + 2 * kBorder : 0;
  const auto line = [&](int32_t outer) { return lines.Row<const T>(outer - first) + 4 * kBorder; };
  uint64_t* const marks = kAlongRows ? marks_.rows : marks_.columns;
  const ptrdiff_t markPitch = kAlongRows ? marks_.rowPitch : marks_.columnPitch;
  const std::array<Move, 128> moves = Moves(kAlongRows, softenLines_);
  const HopTables hops = Hops(kAlongRows, codeSets_);
  const bool planes = !planes_.empty() && end > 3;
  const ptrdiff_t words = kernels::LaneWords(innerExtent);
  for (int32_t outer = 1; outer <= outerExtent - 2; ++outer) {
    if (!kAlongRows && outer + 2 >= first + held && !NextStrip(outer - 1, first, held))
      return false;
    const T* const lane[3] = {line(outer - 1), line(outer), line(outer + 1)};
    const T* const ahead[3] = {lane[1], lane[2], line(outer + 2)};
    uint64_t* const markRows[3] = {marks + (outer - 1) * markPitch, marks + outer * markPitch,
                                   marks + (outer + 1) * markPitch};
    if (planes) {
      if (!FillPlanes(lane, innerExtent, outer > 1, hops)) return false;
    } else if constexpr (kAlongRows) {
      // The line that becomes the lanes' last two lines on, which gives memory a whole
      // line's walk to deliver it; near the end it lies in the border. The strip down the
      // columns is in the cache already.
      PrefetchLine(line(outer + 3) - 4 * kBorder,
                   static_cast<size_t>(innerExtent + 2 * kBorder) * 4 * sizeof(T));
    }
    // Where the planes know the running colour, the walk notes only where it passed, and
    // marks from the planes once the line is done; elsewhere it marks as it goes. `behind`
    // is how far behind the pixel the centre lane holds the running colour: 1 to 3 where
    // the planes know, 0 where it must be compared.
    int32_t behind = 0;
    uint8_t* const hopBytes = hopBytes_.data();
    const auto nowhere = static_cast<ptrdiff_t>(hopBytes_.size()) - 1;
    const uint8_t* const pairBytes = pairBytes_.data();
    const ptrdiff_t stop = 4 * static_cast<ptrdiff_t>(end);
    for (int32_t inner = 3; inner < end;) {
      if (behind != 0) {
        // Where the planes know the running colour, each move is one read of the pixel's
        // byte for the state, with no branch on what the pixel holds, and one read of the
        // pair's byte takes two: the loop waits on one load per two moves, and notes both
        // where the walk passed, the second only where the first kept within the line. The
        // loop leaves where the planes lose the colour: after a run of it longer than they
        // follow, or a step down the columns that takes it to another line.
        ptrdiff_t at = 4 * static_cast<ptrdiff_t>(inner) + behind - 1;
        ptrdiff_t from = at;
        uint8_t pair = 0;
        do {
          from = at;
          const uint8_t move = hopBytes[from];
          pair = pairBytes[from];
          hopBytes[from] = move | kPassed;
          // The second move's byte is what the pair adds to the first; a lost first move
          // or one that leaves the line notes its second nowhere.
          const ptrdiff_t next = from + move;
          hopBytes[move < kLostColour && next < stop ? next : nowhere] =
              static_cast<uint8_t>((pair - move) | kPassed);
          at = from + pair;
        } while (pair < kLostColour && at < stop);
        // Which of the two moves ended the walk through the bytes.
        auto hop = static_cast<uint8_t>(hopBytes[from] & (kPassed - 1));
        if (hop < kLostColour) {
          at = from + hop;
          if (at < stop) {
            from = at;
            hop = static_cast<uint8_t>(hopBytes[from] & (kPassed - 1));
            at += hop;
          }
        }
        const auto left = static_cast<int32_t>(from >> 2);
        behind = 0;
        if (hop < kLostColour) {
          inner = static_cast<int32_t>(at >> 2);
          behind = static_cast<int32_t>(at & 3) + 1;
          running_ = lane[1] + 4 * static_cast<ptrdiff_t>(inner - behind);
          continue;
        }
        inner = left + (hop & (kLostColour - 1));
        if (inner == left + 1) {
          // The colour matched once more than the planes follow.
          running_ = lane[1] + 4 * static_cast<ptrdiff_t>(left - 1 - (from & 3));
        } else {
          running_ = ahead[inner - left - 2] + 4 * static_cast<ptrdiff_t>(left);
        }
        continue;
      }
      // Most pixels match the running colour, which changes only where one does not: the
      // lane's scan finds the next that does not, and the pattern is read there.
      inner += RunLength(lane[1] + 4 * static_cast<ptrdiff_t>(inner), end - inner);
      if (inner >= end) break;
      const uint32_t code = CodeByComparing(lane, inner, planes);
      const Move& move = moves[code >> 1];
      OrBits(markRows[1], inner - 3, move.centre);
      // Where a line runs straight through here, the three cells before it soften.
      if (move.soften != 0) {
        for (uint64_t* row : markRows)
          OrBits(row, inner - 1, 1);
      }
      running_ = ahead[move.lane] + 4 * static_cast<ptrdiff_t>(inner + move.offset);
      behind = planes ? move.behind : 0;
      inner += move.advance;
    }
    if (planes && !MarkFromPlanes(markRows, words)) return false;
  }
  return true;
}

}  // namespace

int32_t StepStripRows(int32_t height, int32_t pixelBytes) {
  // About a third of a typical second-level cache: the 3 lines a strip keeps of the one
  // before, and whole vector blocks of new ones.
  constexpr int64_t kBytes = 192 * 1024;
  constexpr int32_t kKept = 3;
  constexpr int32_t kBlock = 16;
  const int64_t rowBytes = (static_cast<int64_t>(height) + 2 * kBorder) * pixelBytes;
  const auto rows =
      static_cast<int32_t>(std::clamp<int64_t>(kBytes / std::max<int64_t>(rowBytes, 1), 16, 64));
  return kKept + kBlock * std::max(1, (rows - kKept + kBlock / 2) / kBlock);
}

bool SearchSteps8u(const StepSource& source, int32_t tolerance, bool softenLines, bool planes,
                   const StepMarks& marks) {
  return StepSearch<uint8_t>(source, tolerance, softenLines, planes, marks).Run();
}

bool SearchSteps32f(const StepSource& source, float tolerance, bool softenLines, bool planes,
                    const StepMarks& marks) {
  return StepSearch<float>(source, tolerance, softenLines, planes, marks).Run();
}

}  // namespace vitrella
