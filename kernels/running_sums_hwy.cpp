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

// Values per strip of the column running sums: their state stays on the stack and the
// rows that the window spans stay in the cache.
constexpr int32_t kByteStrip = 2048;
constexpr int32_t kFloatStrip = 1024;
// How far ahead the column sums fetch the rows that their window will reach.
constexpr int32_t kPrefetchLines = 4;

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

// The running state of a block of vectors: the short box, the total T and its change D.
// Wide column strips keep it in arrays; the short lines of the row sums keep it in
// registers, where a step need not wait for the last one's stores.
template <class DA>
struct ArrayState {
  using A = hn::TFromD<DA>;
  A* box;
  A* total;
  A* diff;
  size_t lanes;

  HWY_INLINE hn::Vec<DA> Box(DA da, int32_t i) const { return hn::Load(da, box + i * lanes); }
  HWY_INLINE hn::Vec<DA> Total(DA da, int32_t i) const { return hn::Load(da, total + i * lanes); }
  HWY_INLINE hn::Vec<DA> Diff(DA da, int32_t i) const { return hn::Load(da, diff + i * lanes); }
  HWY_INLINE void SetBox(DA da, int32_t i, hn::Vec<DA> v) { hn::Store(v, da, box + i * lanes); }
  HWY_INLINE void SetTotal(DA da, int32_t i, hn::Vec<DA> v) { hn::Store(v, da, total + i * lanes); }
  HWY_INLINE void SetDiff(DA da, int32_t i, hn::Vec<DA> v) { hn::Store(v, da, diff + i * lanes); }
};

template <class DA, int32_t kGroups>
struct RegisterState {
  hn::Vec<DA> box[kGroups];
  hn::Vec<DA> total[kGroups];
  hn::Vec<DA> diff[kGroups];

  HWY_INLINE hn::Vec<DA> Box(DA, int32_t i) const { return box[i]; }
  HWY_INLINE hn::Vec<DA> Total(DA, int32_t i) const { return total[i]; }
  HWY_INLINE hn::Vec<DA> Diff(DA, int32_t i) const { return diff[i]; }
  HWY_INLINE void SetBox(DA, int32_t i, hn::Vec<DA> v) { box[i] = v; }
  HWY_INLINE void SetTotal(DA, int32_t i, hn::Vec<DA> v) { total[i] = v; }
  HWY_INLINE void SetDiff(DA, int32_t i, hn::Vec<DA> v) { diff[i] = v; }
};

// `groups` vectors of values down all output lines. The source gives input lines: Ready(p)
// before lines up to p are read, Line(p) their addresses, Early(p) an address to fetch
// early or null; the sink gives the addresses of output lines.
template <class DA, class Sums, class Source, class Sink, class State>
HWY_INLINE void RunBlock(DA da, const Sums& sums, const Trapezoid& shape, int32_t lines,
                         int32_t groups, Source& source, Sink& sink, State& state) {
  const int32_t a = shape.shortBox;
  const int32_t b = shape.longBox;
  const int32_t n = shape.Length();
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(da));
  const auto load = [&](int32_t p, int32_t i) { return sums.Load(da, source.Line(p) + i * lanes); };
  const auto finish = sums.Finish(da);
  source.Ready(lines < 2 ? n - 1 : n);
  for (int32_t i = 0; i < groups; ++i) {
    auto sum = load(0, i);
    for (int32_t j = 1; j < a; ++j)
      sum = hn::Add(sum, load(j, i));
    state.SetBox(da, i, sum);
    state.SetDiff(da, i, hn::Neg(sum));  // D(1) = last box - first box
    state.SetTotal(da, i, sums.Start(da));
  }
  for (int32_t p = 0; p < b; ++p) {
    for (int32_t i = 0; i < groups; ++i) {
      const auto box = state.Box(da, i);
      state.SetTotal(da, i, hn::Add(state.Total(da, i), box));
      if (p + 1 < b) state.SetBox(da, i, hn::Sub(hn::Add(box, load(p + a, i)), load(p, i)));
    }
  }
  auto* first = sink.Line(0);
  for (int32_t i = 0; i < groups; ++i)
    finish.Store(da, state.Total(da, i), first + i * lanes);
  if (lines < 2) return;
  auto* second = sink.Line(1);
  for (int32_t i = 0; i < groups; ++i) {
    const auto last = hn::Sub(hn::Add(state.Box(da, i), load(n, i)), load(b - 1, i));
    const auto d = hn::Add(state.Diff(da, i), last);
    const auto t = hn::Add(state.Total(da, i), d);
    state.SetDiff(da, i, d);
    state.SetTotal(da, i, t);
    finish.Store(da, t, second + i * lanes);
  }
  for (int32_t k = 2; k < lines; ++k) {
    source.Ready(k + n - 1);
    const auto* lead = source.Line(k + n - 1);
    const auto* lagLong = source.Line(k + b - 2);
    const auto* lagShort = source.Line(k + a - 2);
    const auto* tail = source.Line(k - 2);
    const auto* early = source.Early(k + n - 1 + kPrefetchLines);
    auto* to = sink.Line(k);
    for (int32_t i = 0; i < groups; ++i) {
      const int32_t v = i * lanes;
      if (early != nullptr) hwy::Prefetch(early + v);
      const auto rise = hn::Sub(sums.Load(da, lead + v), sums.Load(da, lagLong + v));
      const auto change =
          hn::Add(hn::Sub(rise, sums.Load(da, lagShort + v)), sums.Load(da, tail + v));
      const auto d = hn::Add(state.Diff(da, i), change);
      const auto t = hn::Add(state.Total(da, i), d);
      state.SetDiff(da, i, d);
      state.SetTotal(da, i, t);
      finish.Store(da, t, to + v);
    }
  }
}

// Columns: the values of a row side by side, in strips; the rows of a strip lie a pitch
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

template <typename T, typename A, int32_t kStrip, class Sums>
void RunColumns(const Sums& sums, const T* in, ptrdiff_t inPitch, T* out, ptrdiff_t outPitch,
                int32_t values, int32_t rows, const Trapezoid& shape) {
  const hn::ScalableTag<A> da;
  const hn::CappedTag<A, 1> d1;
  HWY_ALIGN A box[kStrip];
  HWY_ALIGN A total[kStrip];
  HWY_ALIGN A diff[kStrip];
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(da));
  const int32_t inputRows = rows + shape.Length() - 1;
  for (int32_t v0 = 0; v0 < values; v0 += kStrip) {
    const int32_t width = std::min(kStrip, values - v0);
    const int32_t whole = width / lanes;
    const auto strip = [&](auto d, int32_t first, int32_t groups) {
      RowLines<T> source{in + v0 + first, inPitch, inputRows};
      RowSink<T> sink{out + v0 + first, outPitch};
      ArrayState<decltype(d)> state{box + first, total + first, diff + first, hn::Lanes(d)};
      RunBlock(d, sums, shape, rows, groups, source, sink, state);
    };
    strip(da, 0, whole);
    strip(d1, whole * lanes, width - whole * lanes);
  }
}

void TrapezoidColumns8u(const uint8_t* in, ptrdiff_t inPitch, uint8_t* out, ptrdiff_t outPitch,
                        int32_t values, int32_t rows, const Trapezoid& shape, int32_t scale,
                        const ByteDivision& division) {
  WithByteSums(scale, division, [&](const auto& sums) {
    RunColumns<uint8_t, int32_t, kByteStrip>(sums, in, inPitch, out, outPitch, values, rows, shape);
  });
}

void TrapezoidColumns32f(const float* in, ptrdiff_t inPitch, float* out, ptrdiff_t outPitch,
                         int32_t values, int32_t rows, const Trapezoid& shape, double scale) {
  RunColumns<float, double, kFloatStrip>(FloatSums{scale}, in, inPitch, out, outPitch, values, rows,
                                         shape);
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
  RegisterState<decltype(da), kGroups> state;
  RunBlock(da, sums, shape, count, kGroups, source, sink, state);
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
