// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/running_sums_hwy.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "kernels/byte_division-inl.h"
#include "kernels/running_sums_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// How far ahead the column sums fetch the rows that their window will reach.
constexpr int32_t kPrefetchLines = 16;

// Output line k is the trapezoid over input lines k .. k + n - 1, with
// n = a + b - 1 for boxes of a and b. T(0) is summed from the short box's running sum;
// D(1) = T(1) - T(0) is the difference of two of its values; after that
//   D(k) = D(k-1) + line(k+n-1) - line(k+b-2) - line(k+a-2) + line(k-2),  T(k) = T(k-1) + D(k)
// reads four lines per output line, all inside the windows of k - 1 and k. The plain loops in
// linear_filter.cpp do the same in the same order.

// Per-type pieces: bytes sum in int32 and divide at the end; floats sum in double, since
// long float sums drift.
template <class Divider, bool kScaled>
struct ByteSums {
  int32_t scale;
  const ByteDivision& division;

  // Unscaled totals start at the half, which rounds them.
  template <class DA>
  HWY_INLINE hn::Vec<DA> Start(DA da) const {
    return hn::Set(da, kScaled ? 0 : division.half);
  }
  template <class DA>
  HWY_INLINE hn::Vec<DA> Load(DA da, const uint8_t* p) const {
    return LoadBytes(da, p);
  }
  // What turns totals into bytes, with its constants in registers.
  template <class DA>
  struct Finisher {
    Finisher(DA da, const ByteSums& sums)
        : constants(da, sums.division),
          scale(hn::Set(da, sums.scale)),
          half(hn::Set(da, sums.division.half)) {}
    HWY_INLINE void Store(DA da, hn::Vec<DA> total, uint8_t* to) const {
      if constexpr (kScaled) total = hn::Add(hn::Mul(total, scale), half);
      hn::StoreU(Divider()(da, total, constants), hn::Rebind<uint8_t, DA>(), to);
    }
    DivisionVectors<DA> constants;
    hn::Vec<DA> scale, half;
  };
  template <class DA>
  HWY_INLINE Finisher<DA> Finish(DA da) const {
    return Finisher<DA>(da, *this);
  }
};

// Runs `run` with the ByteSums that fit the divisor, the kernel and the scale.
template <class Run>
HWY_INLINE void WithByteSums(int32_t scale, const ByteDivision& division, const Run& run) {
  WithDivision(division, [&](const auto& divide) {
    using Divider = std::decay_t<decltype(divide)>;
    if (scale == 1) return run(ByteSums<Divider, false>{scale, division});
    return run(ByteSums<Divider, true>{scale, division});
  });
}

struct FloatSums {
  double scale;

  template <class DA>
  struct Finisher {
    HWY_INLINE void Store(DA, hn::Vec<DA> total, float* to) const {
      const hn::Rebind<float, DA> df;
      hn::StoreU(hn::DemoteTo(df, hn::Mul(total, scale)), df, to);
    }
    hn::Vec<DA> scale;
  };
  template <class DA>
  HWY_INLINE Finisher<DA> Finish(DA da) const {
    return {hn::Set(da, scale)};
  }

  template <class DA>
  HWY_INLINE hn::Vec<DA> Start(DA da) const {
    return hn::Zero(da);
  }
  template <class DA>
  HWY_INLINE hn::Vec<DA> Load(DA da, const float* p) const {
    return hn::PromoteTo(da, hn::LoadU(hn::Rebind<float, DA>(), p));
  }
};

// kGroups vectors of values down all output lines. The source gives input lines: Ready(p)
// before lines up to p are read, Line(p) their addresses, Early(p) an address to fetch
// early or null; the sink gives the addresses of output lines. The running state (the
// short box, the total T and its change D) stays in registers, where a step need not wait
// for the last one's stores: the group loops unroll completely, so that the compiler can
// keep each vector of the state apart.
template <int32_t kGroups, class DA, class Sums, class Source, class Sink>
HWY_INLINE void RunBlock(DA da, const Sums& sums, const Trapezoid& shape, int32_t lines,
                         Source& source, Sink& sink) {
  const int32_t a = shape.shortBox;
  const int32_t b = shape.longBox;
  const int32_t n = shape.Length();
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(da));
  const auto load = [&](int32_t p, int32_t i) { return sums.Load(da, source.Line(p) + i * lanes); };
  const auto finish = sums.Finish(da);
  hn::Vec<DA> box[kGroups];
  hn::Vec<DA> total[kGroups];
  hn::Vec<DA> diff[kGroups];
  source.Ready(lines < 2 ? n - 1 : n);
  HWY_UNROLL(16)
  for (int32_t i = 0; i < kGroups; ++i) {
    box[i] = load(0, i);
    for (int32_t j = 1; j < a; ++j)
      box[i] = hn::Add(box[i], load(j, i));
    diff[i] = hn::Neg(box[i]);  // D(1) = last box - first box
    total[i] = sums.Start(da);
  }
  for (int32_t p = 0; p < b; ++p) {
    HWY_UNROLL(16)
    for (int32_t i = 0; i < kGroups; ++i) {
      total[i] = hn::Add(total[i], box[i]);
      if (p + 1 < b) box[i] = hn::Sub(hn::Add(box[i], load(p + a, i)), load(p, i));
    }
  }
  auto* first = sink.Line(0);
  HWY_UNROLL(16)
  for (int32_t i = 0; i < kGroups; ++i)
    finish.Store(da, total[i], first + i * lanes);
  if (lines < 2) return;
  auto* second = sink.Line(1);
  HWY_UNROLL(16)
  for (int32_t i = 0; i < kGroups; ++i) {
    const auto last = hn::Sub(hn::Add(box[i], load(n, i)), load(b - 1, i));
    diff[i] = hn::Add(diff[i], last);
    total[i] = hn::Add(total[i], diff[i]);
    finish.Store(da, total[i], second + i * lanes);
  }
  for (int32_t k = 2; k < lines; ++k) {
    source.Ready(k + n - 1);
    const auto* lead = source.Line(k + n - 1);
    const auto* lagLong = source.Line(k + b - 2);
    const auto* lagShort = source.Line(k + a - 2);
    const auto* tail = source.Line(k - 2);
    const auto* early = source.Early(k + n - 1 + kPrefetchLines);
    auto* to = sink.Line(k);
    if (early != nullptr) {
      hwy::Prefetch(early);
      hwy::Prefetch(early + kGroups * lanes - 1);
    }
    HWY_UNROLL(16)
    for (int32_t i = 0; i < kGroups; ++i) {
      const int32_t v = i * lanes;
      const auto rise = hn::Sub(sums.Load(da, lead + v), sums.Load(da, lagLong + v));
      const auto change =
          hn::Add(hn::Sub(rise, sums.Load(da, lagShort + v)), sums.Load(da, tail + v));
      diff[i] = hn::Add(diff[i], change);
      total[i] = hn::Add(total[i], diff[i]);
      finish.Store(da, total[i], to + v);
    }
  }
}

// Columns: the values of a row side by side, in blocks; the rows of a block lie a pitch
// apart, too far for the processor to fetch them early itself.
template <typename T>
struct RowLines {
  const T* first;
  ptrdiff_t pitch;
  int32_t count;
  HWY_INLINE void Ready(int32_t) const {}
  HWY_INLINE const T* Line(int32_t p) const { return Advance(first, p * pitch); }
  HWY_INLINE const T* Early(int32_t p) const { return p < count ? Line(p) : nullptr; }
};

template <typename T>
struct RowSink {
  T* first;
  ptrdiff_t pitch;
  HWY_INLINE T* Line(int32_t k) const {
    return reinterpret_cast<T*>(reinterpret_cast<uint8_t*>(first) + k * pitch);
  }
};

// Columns go down the frame in blocks a few vectors wide, their state in registers: the
// window's rows of a block stay in the first-level cache, and a step never waits for the
// last one's stores.
template <typename T, typename A, class Sums>
void RunColumns(const Sums& sums, const T* in, ptrdiff_t inPitch, T* out, ptrdiff_t outPitch,
                int32_t values, int32_t rows, const Trapezoid& shape) {
  constexpr int32_t kGroups = 4;
  const hn::ScalableTag<A> da;
  const hn::CappedTag<A, 1> d1;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(da));
  const int32_t inputRows = rows + shape.Length() - 1;
  const auto block = [&](auto d, int32_t first, auto groups) {
    RowLines<T> source{in + first, inPitch, inputRows};
    RowSink<T> sink{out + first, outPitch};
    RunBlock<groups()>(d, sums, shape, rows, source, sink);
  };
  int32_t v = 0;
  for (; v + kGroups * lanes <= values; v += kGroups * lanes)
    block(da, v, std::integral_constant<int32_t, kGroups>());
  for (; v + lanes <= values; v += lanes)
    block(da, v, std::integral_constant<int32_t, 1>());
  for (; v < values; ++v)
    block(d1, v, std::integral_constant<int32_t, 1>());
}

void TrapezoidColumns8u(const uint8_t* in, ptrdiff_t inPitch, uint8_t* out, ptrdiff_t outPitch,
                        int32_t values, int32_t rows, const Trapezoid& shape, int32_t scale,
                        const ByteDivision& division) {
  WithByteSums(scale, division, [&](const auto& sums) {
    RunColumns<uint8_t, int32_t>(sums, in, inPitch, out, outPitch, values, rows, shape);
  });
}

void TrapezoidColumns32f(const float* in, ptrdiff_t inPitch, float* out, ptrdiff_t outPitch,
                         int32_t values, int32_t rows, const Trapezoid& shape, double scale) {
  RunColumns<float, double>(FloatSums{scale}, in, inPitch, out, outPitch, values, rows, shape);
}

// Columns of four-byte pixels written transposed: the input rows come from a table, so
// that repeated rows stand for margins, and output line k of the pixels x .. x + N - 1
// lands at pixel k of rows x .. x + N - 1. Filtering rows then is filtering the columns
// of the transposed picture, with no gathering of pixels, and transposing that result
// again restores the picture's orientation.
template <typename T>
struct TableLines {
  const uint8_t* const* rows;
  ptrdiff_t offset;  // bytes
  int32_t count;
  HWY_INLINE void Ready(int32_t) const {}
  HWY_INLINE const T* Line(int32_t p) const { return reinterpret_cast<const T*>(rows[p] + offset); }
  HWY_INLINE const T* Early(int32_t p) const { return p < count ? Line(p) : nullptr; }
};

// One channel of the output taken from an input row instead of filtered: output line k
// takes it from rows[k] (the rows already advanced by the anchor).
struct KeptChannel {
  const uint8_t* const* rows;  // null when every channel is filtered
  uint32_t mask;
};

KeptChannel MakeKeptChannel(const uint8_t* const* rows, int32_t anchor, int32_t channel) {
  if (channel < 0) return {nullptr, 0};
  uint8_t bytes[4] = {};
  bytes[channel] = 0xFF;
  uint32_t mask;
  std::memcpy(&mask, bytes, sizeof(mask));
  return {rows + anchor, mask};
}

#if HWY_TARGET != HWY_SCALAR
// Turns the rows of an N x N tile of 32-bit values into its columns, N the lanes of a
// vector: each round splits even and odd lanes, and log2(N) rounds move every row index
// bit into the column index.
template <class DU>
HWY_INLINE void Transpose(DU du, hn::Vec<DU>* v) {
  constexpr size_t kN = hn::MaxLanes(du);
  for (size_t round = 1; round < kN; round *= 2) {
    hn::Vec<DU> split[kN];
    for (size_t i = 0; i < kN / 2; ++i) {
      split[i] = hn::ConcatEven(du, v[2 * i + 1], v[2 * i]);
      split[kN / 2 + i] = hn::ConcatOdd(du, v[2 * i + 1], v[2 * i]);
    }
    for (size_t i = 0; i < kN; ++i)
      v[i] = split[i];
  }
}

// Collects N output lines of N pixels in a tile and writes the tile transposed.
template <class DU>
class TransposeSink {
 public:
  static constexpr int32_t kN = static_cast<int32_t>(hn::MaxLanes(DU()));
  TransposeSink(uint8_t* out, ptrdiff_t pitch, const KeptChannel& kept, ptrdiff_t offset)
      : out_(out), pitch_(pitch), kept_(kept), offset_(offset) {}
  ~TransposeSink() {
    if (pending_ >= 0) Flush(pending_ - pending_ % kN, pending_ % kN + 1);
  }
  TransposeSink(const TransposeSink&) = delete;
  TransposeSink& operator=(const TransposeSink&) = delete;

  HWY_INLINE uint8_t* Line(int32_t k) {
    if (k > 0 && k % kN == 0) Flush(k - kN, kN);
    pending_ = k;
    return reinterpret_cast<uint8_t*>(tile_ + (k % kN) * kN);
  }

 private:
  // Out of line: the transpose needs every vector register, and inlined it would push the
  // running state out of them for every line, not just every N-th.
  HWY_NOINLINE void Flush(int32_t first, int32_t count) {
    const DU du;
    const hn::Repartition<uint8_t, DU> d8;
    hn::Vec<DU> v[kN];
    for (int32_t r = 0; r < kN; ++r)
      v[r] = hn::Load(du, tile_ + r * kN);
    if (kept_.rows != nullptr) {
      const auto mask = hn::Set(du, kept_.mask);
      for (int32_t r = 0; r < count; ++r) {
        const auto from = hn::BitCast(du, hn::LoadU(d8, kept_.rows[first + r] + offset_));
        v[r] = hn::IfVecThenElse(mask, from, v[r]);
      }
    }
    Transpose(du, v);
    for (int32_t j = 0; j < kN; ++j) {
      uint8_t* to = out_ + j * pitch_ + ptrdiff_t{4} * first;
      if (count == kN) {
        hn::StoreU(hn::BitCast(d8, v[j]), d8, to);
      } else {
        HWY_ALIGN uint32_t lanes[kN];
        hn::Store(v[j], du, lanes);
        std::memcpy(to, lanes, sizeof(uint32_t) * static_cast<size_t>(count));
      }
    }
  }

  uint8_t* out_;
  ptrdiff_t pitch_;
  KeptChannel kept_;
  ptrdiff_t offset_;
  int32_t pending_ = -1;
  HWY_ALIGN uint32_t tile_[kN * kN] = {};
};

#endif

// Output lines of a few four-channel pixels, each pixel stored into its own row: pixel j
// of line k lands at pixel k of row j. Four-float pixels are whole 16-byte pieces and need
// no tile; pixels of bytes go this way where fewer than a tile's width are left.
template <typename T, int32_t kMaxPixels>
class PixelScatterSink {
 public:
  PixelScatterSink(uint8_t* out, ptrdiff_t pitch, int32_t pixels, int32_t keptChannel,
                   const uint8_t* const* keptRows, ptrdiff_t offset)
      : out_(out),
        pitch_(pitch),
        pixels_(pixels),
        keptChannel_(keptChannel),
        keptRows_(keptRows),
        offset_(offset) {}
  ~PixelScatterSink() { Flush(); }
  PixelScatterSink(const PixelScatterSink&) = delete;
  PixelScatterSink& operator=(const PixelScatterSink&) = delete;

  HWY_INLINE T* Line(int32_t k) {
    Flush();
    pending_ = k;
    return staged_;
  }

 private:
  HWY_INLINE void Flush() {
    if (pending_ < 0) return;
    constexpr ptrdiff_t kPixel = 4 * sizeof(T);
    if (keptChannel_ >= 0) {
      const uint8_t* from = keptRows_[pending_] + offset_;
      for (int32_t j = 0; j < pixels_; ++j) {
        const int32_t value = 4 * j + keptChannel_;
        std::memcpy(staged_ + value, from + value * sizeof(T), sizeof(T));
      }
    }
    for (int32_t j = 0; j < pixels_; ++j)
      std::memcpy(out_ + j * pitch_ + pending_ * kPixel, staged_ + 4 * j, kPixel);
  }

  uint8_t* out_;
  ptrdiff_t pitch_;
  int32_t pixels_;
  int32_t keptChannel_;
  const uint8_t* const* keptRows_;  // advanced by the anchor
  ptrdiff_t offset_;
  int32_t pending_ = -1;
  // At least 16 values: more than the narrowest group stores at once.
  HWY_ALIGN T staged_[4 * kMaxPixels < 16 ? 16 : 4 * kMaxPixels] = {};
};

void TrapezoidColumnsTransposed8u(const uint8_t* const* rows, int32_t width, int32_t height,
                                  uint8_t* out, ptrdiff_t outPitch, const Trapezoid& shape,
                                  int32_t scale, const ByteDivision& division, int32_t anchor,
                                  int32_t keptChannel) {
  const int32_t inputRows = height + shape.Length() - 1;
  WithByteSums(scale, division, [&](const auto& sums) {
    int32_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const KeptChannel kept = MakeKeptChannel(rows, anchor, keptChannel);
    // Four vectors of 32-bit sums hold the four channels of N pixels.
    const hn::ScalableTag<int32_t> da;
    const hn::RebindToUnsigned<decltype(da)> du;
    constexpr int32_t kN = TransposeSink<decltype(du)>::kN;
    for (; x + kN <= width; x += kN) {
      TableLines<uint8_t> source{rows, ptrdiff_t{4} * x, inputRows};
      TransposeSink<decltype(du)> sink(out + x * outPitch, outPitch, kept, ptrdiff_t{4} * x);
      RunBlock<4>(da, sums, shape, height, source, sink);
    }
#endif
    const hn::CappedTag<int32_t, 4> d4;
    constexpr int32_t kPixelGroups = static_cast<int32_t>(4 / hn::MaxLanes(d4));
    for (; x < width; ++x) {
      TableLines<uint8_t> source{rows, ptrdiff_t{4} * x, inputRows};
      PixelScatterSink<uint8_t, 1> sink(out + x * outPitch, outPitch, 1, keptChannel, rows + anchor,
                                        ptrdiff_t{4} * x);
      RunBlock<kPixelGroups>(d4, sums, shape, height, source, sink);
    }
  });
}

void TrapezoidColumnsTransposed32f(const uint8_t* const* rows, int32_t width, int32_t height,
                                   uint8_t* out, ptrdiff_t outPitch, const Trapezoid& shape,
                                   double scale, int32_t anchor, int32_t keptChannel) {
  const int32_t inputRows = height + shape.Length() - 1;
  const FloatSums sums{scale};
  // Four vectors of double sums hold the four channels of a few pixels.
  constexpr int32_t kGroups = 4;
  const hn::ScalableTag<double> da;
  constexpr int32_t kMaxPixels = static_cast<int32_t>(hn::MaxLanes(da));
  const int32_t pixels = static_cast<int32_t>(hn::Lanes(da));
  const ptrdiff_t pixelBytes = 4 * sizeof(float);
  int32_t x = 0;
  if (pixels > 1) {
    for (; x + pixels <= width; x += pixels) {
      TableLines<float> source{rows, pixelBytes * x, inputRows};
      PixelScatterSink<float, kMaxPixels> sink(out + x * outPitch, outPitch, pixels, keptChannel,
                                               rows + anchor, pixelBytes * x);
      RunBlock<kGroups>(da, sums, shape, height, source, sink);
    }
  }
  const hn::CappedTag<double, 4> d4;
  constexpr int32_t kPixelGroups = static_cast<int32_t>(4 / hn::MaxLanes(d4));
  for (; x < width; ++x) {
    TableLines<float> source{rows, pixelBytes * x, inputRows};
    PixelScatterSink<float, 1> sink(out + x * outPitch, outPitch, 1, keptChannel, rows + anchor,
                                    pixelBytes * x);
    RunBlock<kPixelGroups>(d4, sums, shape, height, source, sink);
  }
}

// Rows: pixel x of every row of the group, all channels, is one line of kLine values in a
// ring of recent lines; each line is gathered once, a few lines before the window reaches
// it (a vector load right after the narrow stores that assemble it would wait for them to
// reach the cache), and the results are scattered back to the rows.
template <typename T, int32_t kLine, int32_t kChannels>
class RingLines {
 public:
  static constexpr int32_t kRows = kLine / kChannels;
  RingLines(const T* const* rows, int32_t count) : rows_(rows), count_(count) {}

  // Locals, not members, in the loop: stores of bytes could alias the members.
  HWY_INLINE void Ready(int32_t p) {
    const int32_t until = std::min(p + kGatherAhead, count_ - 1);
    const T* const* rows = rows_;
    for (int32_t x = gathered_ + 1; x <= until; ++x) {
      T* line = Slot(x);
      for (int32_t r = 0; r < kRows; ++r) {
        std::memcpy(line + r * kChannels, rows[r] + x * kChannels, sizeof(T) * kChannels);
      }
    }
    gathered_ = std::max(gathered_, until);
  }
  HWY_INLINE const T* Line(int32_t p) { return Slot(p); }
  HWY_INLINE const T* Early(int32_t) const { return nullptr; }

 private:
  HWY_INLINE T* Slot(int32_t p) { return ring_ + (p & (kRingLines - 1)) * kLine; }

  const T* const* rows_;
  int32_t count_;  // pixels of each row
  int32_t gathered_ = -1;
  HWY_ALIGN T ring_[kRingLines * kLine];
};

template <typename T, int32_t kLine, int32_t kChannels>
class ScatterSink {
 public:
  static constexpr int32_t kRows = kLine / kChannels;
  explicit ScatterSink(T* const* rows) : rows_(rows) {}
  ~ScatterSink() { Flush(); }
  ScatterSink(const ScatterSink&) = delete;
  ScatterSink& operator=(const ScatterSink&) = delete;

  // The output line waits in `staged_` until the next one begins.
  HWY_INLINE T* Line(int32_t k) {
    Flush();
    pending_ = k;
    return staged_;
  }

 private:
  HWY_INLINE void Flush() {
    if (pending_ < 0) return;
    for (int32_t r = 0; r < kRows; ++r) {
      std::memcpy(rows_[r] + pending_ * kChannels, staged_ + r * kChannels, sizeof(T) * kChannels);
    }
  }

  T* const* rows_;
  int32_t pending_ = -1;
  HWY_ALIGN T staged_[kLine] = {};
};

template <typename T, typename A, int32_t kLine, int32_t kChannels, class Sums>
void RunRows(const Sums& sums, const T* const* in, T* const* out, int32_t count,
             const Trapezoid& shape) {
  const hn::CappedTag<A, kLine> da;
  constexpr int32_t kGroups = static_cast<int32_t>(kLine / hn::MaxLanes(da));
  RingLines<T, kLine, kChannels> source(in, count + shape.Length() - 1);
  ScatterSink<T, kLine, kChannels> sink(out);
  RunBlock<kGroups>(da, sums, shape, count, source, sink);
}

template <int32_t kChannels>
void TrapezoidRows8uT(const uint8_t* const* in, uint8_t* const* out, int32_t count,
                      const Trapezoid& shape, int32_t scale, const ByteDivision& division) {
  WithByteSums(scale, division, [&](const auto& sums) {
    RunRows<uint8_t, int32_t, kByteRowLine, kChannels>(sums, in, out, count, shape);
  });
}

void TrapezoidRows8u(const uint8_t* const* in, uint8_t* const* out, int32_t channels, int32_t count,
                     const Trapezoid& shape, int32_t scale, const ByteDivision& division) {
  if (channels == 4) {
    TrapezoidRows8uT<4>(in, out, count, shape, scale, division);
  } else {
    TrapezoidRows8uT<1>(in, out, count, shape, scale, division);
  }
}

void TrapezoidRows32f(const float* const* in, float* const* out, int32_t channels, int32_t count,
                      const Trapezoid& shape, double scale) {
  if (channels == 4) {
    RunRows<float, double, kFloatRowLine, 4>(FloatSums{scale}, in, out, count, shape);
  } else {
    RunRows<float, double, kFloatRowLine, 1>(FloatSums{scale}, in, out, count, shape);
  }
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(TrapezoidColumns8u);
HWY_EXPORT(TrapezoidColumns32f);
HWY_EXPORT(TrapezoidColumnsTransposed8u);
HWY_EXPORT(TrapezoidColumnsTransposed32f);
HWY_EXPORT(TrapezoidRows8u);
HWY_EXPORT(TrapezoidRows32f);

void TrapezoidColumns8u(const uint8_t* in, ptrdiff_t inPitch, uint8_t* out, ptrdiff_t outPitch,
                        int32_t values, int32_t rows, const Trapezoid& shape, int32_t scale,
                        const ByteDivision& division) {
  HWY_DYNAMIC_DISPATCH(TrapezoidColumns8u)
  (in, inPitch, out, outPitch, values, rows, shape, scale, division);
}

void TrapezoidColumns32f(const float* in, ptrdiff_t inPitch, float* out, ptrdiff_t outPitch,
                         int32_t values, int32_t rows, const Trapezoid& shape, double scale) {
  HWY_DYNAMIC_DISPATCH(TrapezoidColumns32f)(in, inPitch, out, outPitch, values, rows, shape, scale);
}

void TrapezoidColumnsTransposed8u(const uint8_t* const* rows, int32_t width, int32_t height,
                                  uint8_t* out, ptrdiff_t outPitch, const Trapezoid& shape,
                                  int32_t scale, const ByteDivision& division, int32_t anchor,
                                  int32_t keptChannel) {
  HWY_DYNAMIC_DISPATCH(TrapezoidColumnsTransposed8u)
  (rows, width, height, out, outPitch, shape, scale, division, anchor, keptChannel);
}

void TrapezoidColumnsTransposed32f(const uint8_t* const* rows, int32_t width, int32_t height,
                                   uint8_t* out, ptrdiff_t outPitch, const Trapezoid& shape,
                                   double scale, int32_t anchor, int32_t keptChannel) {
  HWY_DYNAMIC_DISPATCH(TrapezoidColumnsTransposed32f)
  (rows, width, height, out, outPitch, shape, scale, anchor, keptChannel);
}

void TrapezoidRows8u(const uint8_t* const* in, uint8_t* const* out, int32_t channels, int32_t count,
                     const Trapezoid& shape, int32_t scale, const ByteDivision& division) {
  HWY_DYNAMIC_DISPATCH(TrapezoidRows8u)(in, out, channels, count, shape, scale, division);
}

void TrapezoidRows32f(const float* const* in, float* const* out, int32_t channels, int32_t count,
                      const Trapezoid& shape, double scale) {
  HWY_DYNAMIC_DISPATCH(TrapezoidRows32f)(in, out, channels, count, shape, scale);
}

}  // namespace vitrella::kernels::vector
#endif
